// A cell as it lies on disk: its base file and the row of its updates.
#pragma once

#include "host/geodatabase/s57/national_change.h"
#include "host/geodatabase/s57/s57_records.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace embedded_host {

/// What a file says of itself (field DSID).
struct CellIdentification {
    bool isBase = false;
    std::string name;  // with its extension, as the file has it
    std::string edition;
    int update = 0;
    std::string applied;  // yyyymmdd, may be empty
    std::string issued;
    std::uint32_t agency = 0;
};

/// A base cell with its updates in order, all of them read and found to fit.
struct CellFiles {
    std::unique_ptr<S57File> base;
    std::vector<std::unique_ptr<S57File>> updates;
    CellIdentification identification;  // the base's name; edition, update and dates after the last update
    std::size_t features = 0;           // after the last update
    std::vector<NationalChange> nationalChanges;

    /// The name without its extension.
    std::string stem() const;
};

/// Reads the base cell and looks for its updates: beside it, or in folders 1, 2, ... beside its folder 0.
/// \throws HostError that names the file and what is wrong with it: not whole, not of this cell or edition, not the
/// next number, or instructions that do not fit the records.
CellFiles readCellFiles(const std::string& path);

}  // namespace embedded_host
