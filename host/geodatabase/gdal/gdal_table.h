// A table of a dataset that GDAL opens: described by its layer.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/gdal/gdal_dataset.h"

#include <memory>
#include <string>

namespace embedded_host {

class GdalTable : public Table {
public:
    GdalTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer);

    GdalDataset& dataset() const noexcept { return dataset_; }
    void refresh() override;

protected:
    OGRLayer& layer() const noexcept { return layer_; }
    /// The key's name in SQL and in GDAL's filters.
    const std::string& keyName() const noexcept { return keyName_; }

private:
    GdalDataset& dataset_;  // kept alive by the base
    OGRLayer& layer_;
    std::string keyName_;
};

/// Whether the layer has a geometry.
bool isSpatial(OGRLayer& layer);

/// The layer's title where it has one, else its name.
std::string aliasOf(OGRLayer& layer);

/// Opens a table in the way that suits its dataset best.
std::shared_ptr<Table> makeTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer);

}  // namespace embedded_host
