// The checks, one file each.
#pragma once

#include "document_check.h"
#include "document_model.h"
#include "host/geodatabase/gdal_workspace.h"

namespace cxml {

class S57Catalogue;

/// Rules and conditions that loading discards, operands, and what conditions of type 2 lack.
void checkConditions(const DocumentModel& model, Findings& findings);

/// Whether the Python sources compile and define a Generate that takes the arguments that were found.
void checkExpressions(const DocumentModel& model, Findings& findings);

/// The templates, parameters and fetched fields of query rules.
void checkQueries(const DocumentModel& model, Findings& findings);

/// What rules say without anybody wanting to say it: operands that are read otherwise than they look, conditions that
/// are repeated, symbols of nested conditions that the outer one's always replaces.
void checkMeaning(const DocumentModel& model, Findings& findings);

/// Conditions that have no effect on any row: what they cannot match, and what later ones always replace. After
/// checkMeaning: what is repeated is not said again.
void checkReach(const DocumentModel& model, Findings& findings);

/// Of each two neighbours whether they may change places.
void checkNeighbours(const DocumentModel& model, Findings& findings);

/// Classes and fields whose names are those of S-57: codes and attributes that it does not have.
/// \param dataset may be null. \throws embedded_host::HostError when it cannot be read.
void checkS57(const DocumentModel& model, embedded_host::GdalWorkspace* dataset, const S57Catalogue& catalogue,
              Findings& findings);

/// Names of symbols without a picture.
void checkSymbols(const DocumentModel& model, const CheckedSymbols& symbols, Findings& findings);

/// Qualified names, which only fetch rules supply.
void checkQualifiedNames(const DocumentModel& model, Findings& findings);

/// What the document needs and the dataset does not have.
/// \throws embedded_host::HostError when the dataset cannot be read.
void checkDataset(const DocumentModel& model, const CheckedDataset& dataset, Findings& findings);

}  // namespace cxml
