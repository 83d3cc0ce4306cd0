// A table of any other dataset, read through GDAL's features and written with SQL.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/gdal/gdal_dataset.h"

#include <memory>
#include <string>

class OGRFeature;
struct sqlite3;

namespace embedded_host {

/// Reads in blocks of object ids that were settled first, so that nothing else that uses the layer can disturb a
/// reader.
class OgrTable final : public Table {
public:
    OgrTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer);

    void refresh() override;
    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) override;
    std::optional<Refusal> whyRefused(const std::string& where) override;
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) override;
    std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) override;
    bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) override;
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) override;

    /// Calls `visit` with the features of a range of ids, in no order; `columns` null reads no field at all.
    template <class Visit>
    void visitBlock(const ObjectId* first, const ObjectId* last, const std::string& where, const ColumnSet* columns,
                    Visit&& visit);
    /// Fills the columns from a feature.
    static void readFeature(const OGRFeature& feature, const TableSchema& schema, const ColumnSet& columns,
                            Cells& cells);

private:
    class Reading;
    std::optional<Refusal> whyRefusedBy(sqlite3* connection, const std::string& where);
    std::string literal(const Column& column, const Cell& cell) const;
    // Column by column, what a statement says of the new value.
    using Say = std::string (*)(const std::string& column, const std::string& value);
    std::string each(const ColumnSet& columns, const Cells& cells, const char* separator, Say say) const;
    bool isStored(ObjectId id, const ColumnSet& columns, const Cells& cells) const;
    // As SQL and GDAL's filters write the key.
    std::string keySql() const;

    GdalDataset& dataset_;  // kept alive by the base
    OGRLayer& layer_;
};

}  // namespace embedded_host
