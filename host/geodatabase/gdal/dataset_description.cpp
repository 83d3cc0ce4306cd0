// Layers, their titles and counts.
#include "host/geodatabase/gdal/dataset_description.h"

#include "host/geodatabase/gdal/layer_description.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace embedded_host {

void DatasetDescription::fail(const HostError& error) const {
    const std::string text = dataset_.name() + ": cannot be read: " + error.what();
    dataset_.noteFailure(text);
    throw HostError(text);
}

void DatasetDescription::forgetLastStatement() const noexcept {
    if (connection_) sqlite3_exec(connection_, "", nullptr, nullptr, nullptr);
}

// GDAL takes metadata that it fails to read for none, and says nothing.
void DatasetDescription::checkLastStatement() const {
    if (!connection_) return;
    constexpr std::array failures{SQLITE_IOERR,    SQLITE_BUSY,    SQLITE_LOCKED,
                                  SQLITE_PROTOCOL, SQLITE_CORRUPT, SQLITE_NOMEM};
    const int status = sqlite3_errcode(connection_) & 0xFF;
    if (std::ranges::find(failures, status) != failures.end()) throw HostError(sqlite3_errmsg(connection_));
}

bool DatasetDescription::isGeoPackage() const {
    return std::string_view(gdal_.GetDriverName()) == "GPKG";
}

OGRLayer* DatasetDescription::findLayer(const std::string& layer) const {
    return ask([&]() -> OGRLayer* {
        for (OGRLayer* candidate : gdal_.GetLayers())
            if (layer == candidate->GetName()) return candidate;
        return layer.empty() ? nullptr : gdal_.GetLayerByName(layer.c_str());
    });
}

std::vector<Dataset::Entry> DatasetDescription::hiddenEntries() const {
    std::vector<Dataset::Entry> hidden;
    if (!isGeoPackage()) return hidden;
    SqliteStatement contents(connection_,
                             "SELECT table_name, coalesce(nullif(identifier, ''), table_name), data_type = 'features' "
                             "FROM gpkg_contents WHERE data_type IN ('features', 'attributes', 'aspatial')");
    while (contents.step()) {
        Cell table;
        Cell title;
        contents.read(0, CellPart::Text, table);
        contents.read(1, CellPart::Text, title);
        bool isShown = false;
        for (OGRLayer* layer : gdal_.GetLayers()) isShown |= sqlite3_stricmp(layer->GetName(), table.text.c_str()) == 0;
        if (!isShown) hidden.push_back({table.text, title.text, contents.integer(2) != 0});
    }
    return hidden;
}

std::vector<Dataset::Entry> DatasetDescription::entries() const {
    return ask([&] {
        std::vector<Dataset::Entry> entries;
        for (OGRLayer* layer : gdal_.GetLayers()) {
            entries.push_back(entryOf(*layer));
            checkLastStatement();
        }
        std::ranges::move(hiddenEntries(), std::back_inserter(entries));
        return entries;
    });
}

std::optional<Dataset::Entry> DatasetDescription::find(const std::string& layer) const {
    OGRLayer* found = findLayer(layer);
    if (!found) return std::nullopt;
    return ask([&] { return std::optional(entryOf(*found)); });
}

std::int64_t DatasetDescription::rowCount(const std::string& layer) const {
    OGRLayer* found = findLayer(layer);
    if (!found) return -1;
    // Not forced: where it would mean reading everything, the answer is -1.
    const GIntBig rows = ask([&] { return found->GetFeatureCount(FALSE); });
    return rows < 0 ? -1 : rows;
}

void DatasetDescription::failForMissing(const std::string& layer) const {
    const std::vector<Dataset::Entry> hidden = ask([&] { return hiddenEntries(); });
    const bool isNamed = std::ranges::any_of(
        hidden, [&](const Dataset::Entry& entry) { return sqlite3_stricmp(entry.name.c_str(), layer.c_str()) == 0; });
    if (isNamed)
        throw HostError(dataset_.name() + ": the contents name a table '" + layer +
                        "' that is gone or cannot be shown as they say");
    throw HostError(dataset_.name() + ": there is no layer '" + layer + "'");
}

}  // namespace embedded_host
