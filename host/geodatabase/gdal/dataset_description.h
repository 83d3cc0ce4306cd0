// What GDAL says of a dataset: which layers it has.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/gdal_errors.h"
#include "host/host_error.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class GDALDataset;
class OGRLayer;
struct sqlite3;

namespace embedded_host {

/// Whatever GDAL or the database says against a question is a failure, of the run too: what cannot be read is not what
/// is not there.
class DatasetDescription {
public:
    /// \param dataset is told of failures. \param connection GDAL's own to the file, null when it is no SQLite file.
    /// All outlive the description.
    DatasetDescription(const Dataset& dataset, GDALDataset& gdal, sqlite3* connection) noexcept
        : dataset_(dataset), gdal_(gdal), connection_(connection) {}

    /// All tables, those that the contents of a GeoPackage name and GDAL does not show last. \throws HostError
    std::vector<Dataset::Entry> entries() const;
    /// The layer, by its exact name first; null when there is none. \throws HostError
    OGRLayer* findLayer(const std::string& layer) const;
    /// \throws HostError
    std::optional<Dataset::Entry> find(const std::string& layer) const;
    /// -1 where there is no such layer, or where it would mean reading everything. \throws HostError
    std::int64_t rowCount(const std::string& layer) const;
    /// Says why there is no layer of this name.
    [[noreturn]] void failForMissing(const std::string& layer) const;
    bool isGeoPackage() const;

    /// The answer of `question`, which asks GDAL. \throws HostError
    template <class Question>
    auto ask(Question&& question) const {
        try {
            const GdalErrors errors;
            forgetLastStatement();
            auto answer = question();
            if (errors.any()) throw HostError(errors.text({}));
            checkLastStatement();
            return answer;
        } catch (const HostError& error) {
            fail(error);
        }
    }

private:
    [[noreturn]] void fail(const HostError& error) const;
    void forgetLastStatement() const noexcept;
    void checkLastStatement() const;
    // Tables that the contents name and GDAL does not show.
    std::vector<Dataset::Entry> hiddenEntries() const;

    const Dataset& dataset_;
    GDALDataset& gdal_;
    sqlite3* connection_;
};

}  // namespace embedded_host
