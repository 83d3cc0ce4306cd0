// The rows that a comparison finds otherwise, as a layer: a map of the change.
#pragma once

#include "host/geodatabase/base/workspace_options.h"
#include "host/geodatabase/row_table.h"
#include "tools/reports/document.h"
#include "tools/workbench/difference.h"

#include <string>

namespace cxml {

/// A GeoPackage with the layer cxml_diff.
class DiffRows {
public:
    /// \param replaces whether a file that is there gives way. \throws HostError
    DiffRows(const std::string& file, bool replaces);

    /// \param first null when there is one document only. \throws HostError
    void add(const std::string& layer, ObjectId row, const ChangeGroup& change, bool isInside, const Document* first,
             const Document& second);
    /// Gives the rows their shapes, which the dataset has, and the file its name. \throws HostError
    void finish(const std::string& dataset, const embedded_host::WorkspaceOptions& options);

private:
    embedded_host::RowTable table_;
};

}  // namespace cxml
