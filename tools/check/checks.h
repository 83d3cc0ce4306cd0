// The checks, one file each.
#pragma once

#include "document_model.h"
#include "host/geodatabase/gdal_workspace.h"

namespace cxml {

/// Rules and conditions that loading discards, operands, and what conditions of type 2 lack.
void checkConditions(const DocumentModel& model, Findings& findings);

/// Whether the Python sources compile and define a Generate that takes the arguments that were found.
void checkExpressions(const DocumentModel& model, Findings& findings);

/// The templates, parameters and fetched fields of query rules.
void checkQueries(const DocumentModel& model, Findings& findings);

/// Conditions that have no effect on any row.
void checkReach(const DocumentModel& model, Findings& findings);

/// What rules say without anybody wanting to say it: operands that are read otherwise than they look, rules that
/// contradict each other, symbols that are always replaced.
void checkMeaning(const DocumentModel& model, Findings& findings);

/// Qualified names, which only fetch rules supply.
void checkQualifiedNames(const DocumentModel& model, Findings& findings);

/// What the document needs and the dataset does not have.
/// \throws embedded_host::HostError when the dataset cannot be read.
void checkDataset(const DocumentModel& model, embedded_host::GdalWorkspace& dataset, const std::string& name,
                  Findings& findings);

}  // namespace cxml
