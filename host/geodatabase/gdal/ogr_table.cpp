// A table of any dataset, read through GDAL's features and written with SQL.
#include "host/geodatabase/gdal/ogr_table.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/feature_values.h"
#include "host/geodatabase/gdal/layer_description.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <ogrsf_frmts.h>

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

namespace embedded_host {

namespace {

constexpr std::size_t blockRows = 500;

std::string idList(const ObjectId* first, const ObjectId* last) {
    std::string list;
    for (; first != last; ++first) {
        if (!list.empty()) list += ',';
        list += std::to_string(*first);
    }
    return list;
}

// Gives a block of rows at a time, in the order of their ids.
class BlockReader final : public RowReader {
public:
    BlockReader(std::shared_ptr<OgrTable> table, ColumnSet columns, SharedIds ids)
        : table_(std::move(table)), schema_(table_->schema()), ids_(std::move(ids)), columns_(std::move(columns)) {}

    bool next(ObjectId& id, Cells& cells) override {
        while (inBlock_ == block_.size()) {
            if (position_ == ids_->size()) return false;
            readBlock();
        }
        const OGRFeature& feature = *block_[inBlock_++];
        OgrTable::readFeature(feature, *schema_, columns_, cells);
        id = feature.GetFID();
        return true;
    }
    void setColumns(const ColumnSet& columns) override {
        // The rest of the block has been read without the new columns.
        if (inBlock_ < block_.size()) {
            const auto rest = std::ranges::lower_bound(*ids_, block_[inBlock_]->GetFID());
            position_ = static_cast<std::size_t>(rest - ids_->begin());
        }
        columns_ = columns;
        block_.clear();
        inBlock_ = 0;
    }

private:
    void readBlock() {
        block_.clear();
        inBlock_ = 0;
        const std::size_t end = std::min(position_ + blockRows, ids_->size());
        table_->visitBlock(ids_->data() + position_, ids_->data() + end, {}, &columns_,
                           [&](OGRFeatureUniquePtr&& feature) { block_.push_back(std::move(feature)); });
        position_ = end;
        std::ranges::sort(block_, [](const auto& left, const auto& right) { return left->GetFID() < right->GetFID(); });
    }

    std::shared_ptr<OgrTable> table_;
    std::shared_ptr<const TableSchema> schema_;
    SharedIds ids_;
    std::size_t position_ = 0;
    ColumnSet columns_;
    std::vector<OGRFeatureUniquePtr> block_;
    std::size_t inBlock_ = 0;
};

}  // namespace

// The layer's filter and ignored fields while one operation reads, as they were before afterwards.
class OgrTable::Reading {
public:
    Reading(const OgrTable& table, const std::string& filter, const ColumnSet* columns)
        : table_(table), clause_(table.dataset_.clauseGuard(), ClauseGuard::Phase::Running) {
        table_.checkClause(filter);
        ignoreUnused(columns, filter);
        if (table.layer_.SetAttributeFilter(filter.empty() ? nullptr : filter.c_str()) != OGRERR_NONE) {
            const std::string why = errors_.text("it is not understood");
            restore();
            table_.fail("where clause \"" + filter + "\": " + why);
        }
        table.layer_.ResetReading();
    }
    ~Reading() { restore(); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    OGRFeatureUniquePtr next() {
        OGRFeatureUniquePtr feature(table_.layer_.GetNextFeature());
        check();
        return feature;
    }
    OGRFeatureUniquePtr get(ObjectId id) {
        OGRFeatureUniquePtr feature(table_.layer_.GetFeature(id));
        if (!feature) return feature;  // some drivers call a missing row an error
        check();
        return feature;
    }

private:
    void check() const {
        if (!errors_.any()) return;
        const std::string text = "cannot be read: " + errors_.text({});
        sqlite3* const connection = table_.dataset_.sqlite();
        if (!connection || !SqliteError(connection).isStatements())
            table_.dataset_.noteFailure(table_.title() + ": " + text);
        table_.fail(text);
    }
    void ignoreUnused(const ColumnSet* columns, const std::string& filter) {
        if (!table_.layer_.TestCapability(OLCIgnoreFields)) return;
        // GDAL's own evaluation of a filter needs the fields that it names.
        const bool filterNeedsFields = !filter.empty() && !table_.dataset_.hasSql();
        const std::shared_ptr<const TableSchema> schema = table_.schema();
        std::vector<const char*> ignored;
        for (std::size_t i = 0; i < schema->fieldCount() && !filterNeedsFields; ++i)
            if (!columns || !std::ranges::binary_search(*columns, i))
                ignored.push_back(schema->columns[i].name.c_str());
        ignored.push_back("OGR_GEOMETRY");
        ignored.push_back("OGR_STYLE");
        ignored.push_back(nullptr);
        table_.layer_.SetIgnoredFields(ignored.data());
    }
    void restore() noexcept {
        table_.layer_.SetAttributeFilter(nullptr);
        if (table_.layer_.TestCapability(OLCIgnoreFields)) table_.layer_.SetIgnoredFields(nullptr);
        table_.layer_.ResetReading();
    }

    GdalErrors errors_;
    const OgrTable& table_;
    ClauseScope clause_;
};

OgrTable::OgrTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer)
    : Table(dataset, describe(layer)), dataset_(*dataset), layer_(layer) {}

void OgrTable::refresh() {
    setSchema(schemaOf(layer_));
}

std::string OgrTable::keySql() const {
    const std::shared_ptr<const TableSchema> current = schema();
    return quotedName(current->columns[current->keyPosition()].name);
}

template <class Visit>
void OgrTable::visitBlock(const ObjectId* first, const ObjectId* last, const std::string& where,
                          const ColumnSet* columns, Visit&& visit) {
    if (!dataset_.hasSql()) {
        Reading reading(*this, {}, columns);
        for (; first != last; ++first)
            if (OGRFeatureUniquePtr feature = reading.get(*first)) visit(std::move(feature));
        return;
    }
    std::string filter = keySql() + " IN (" + idList(first, last) + ")";
    if (!where.empty()) filter = "(" + where + "\n) AND " + filter;
    Reading reading(*this, filter, columns);
    while (OGRFeatureUniquePtr feature = reading.next()) visit(std::move(feature));
}

ObjectIds OgrTable::select(const std::string& where, bool onlyOne, const ColumnSet& /*ahead*/) {
    Reading reading(*this, where, nullptr);
    ObjectIds ids;
    while (const OGRFeatureUniquePtr feature = reading.next()) ids.push_back(feature->GetFID());
    std::ranges::sort(ids);
    if (onlyOne && ids.size() > 1) ids.erase(ids.begin() + 1, ids.end());
    return ids;
}

std::optional<Refusal> OgrTable::whyRefused(const std::string& where) {
    checkClause(where);
    if (where.empty()) return std::nullopt;
    if (sqlite3* const connection = dataset_.sqlite()) return whyRefusedBy(connection, where);
    const GdalErrors errors;
    std::optional<Refusal> refusal;
    if (layer_.SetAttributeFilter(where.c_str()) != OGRERR_NONE) refusal = Refusal{errors.text("it is not understood")};
    layer_.SetAttributeFilter(nullptr);
    layer_.ResetReading();
    return refusal;
}

// What GDAL makes of the layer's filter when rows are read.
std::optional<Refusal> OgrTable::whyRefusedBy(sqlite3* connection, const std::string& where) {
    const GdalErrors errors;
    const ClauseScope clause(dataset_.clauseGuard(), ClauseGuard::Phase::Preparing);
    try {
        const SqliteStatement statement(connection, "SELECT 1 FROM " + quotedName(name()) + " WHERE (" + where + "\n)");
        return std::nullopt;
    } catch (const SqliteError& error) {
        if (error.isStatements()) return Refusal{errors.text(error.what())};
        fail("where clause \"" + where + "\": " + error.what());
    }
}

ObjectIds OgrTable::restrict(const ObjectIds& ids, const std::string& where) {
    ObjectIds kept;
    if (!dataset_.hasSql() && !where.empty()) {
        const ObjectIds matching = select(where, false, {});
        std::ranges::set_intersection(ids, matching, std::back_inserter(kept));
        return kept;
    }
    for (std::size_t at = 0; at < ids.size(); at += blockRows)
        visitBlock(ids.data() + at, ids.data() + std::min(at + blockRows, ids.size()), where, nullptr,
                   [&](const OGRFeatureUniquePtr& feature) { kept.push_back(feature->GetFID()); });
    std::ranges::sort(kept);
    return kept;
}

std::unique_ptr<RowReader> OgrTable::read(const ColumnSet& columns, SharedIds ids) {
    if (!ids) ids = std::make_shared<ObjectIds>(select({}, false, {}));
    return std::make_unique<BlockReader>(std::static_pointer_cast<OgrTable>(shared_from_this()), columns,
                                         std::move(ids));
}

void OgrTable::readFeature(const OGRFeature& feature, const TableSchema& schema, const ColumnSet& columns,
                           Cells& cells) {
    for (const std::size_t column : columns) {
        Cell& cell = cells[column];
        if (column != schema.keyPosition()) {
            readField(feature, static_cast<int>(column), schema.columns[column].type, cell);
        } else {
            cell.state = Cell::State::Value;
            cell.integer = feature.GetFID();
        }
    }
}

bool OgrTable::fetch(ObjectId id, const ColumnSet& columns, Cells& cells) {
    bool found = false;
    const std::shared_ptr<const TableSchema> current = schema();
    visitBlock(&id, &id + 1, {}, &columns, [&](const OGRFeatureUniquePtr& feature) {
        readFeature(*feature, *current, columns, cells);
        found = true;
    });
    return found;
}

std::string OgrTable::literal(const Column& column, const Cell& cell) const {
    if (cell.state == Cell::State::Null) return "NULL";
    switch (column.type) {
        case ColumnType::IntegerList:
        case ColumnType::RealList:
        case ColumnType::TextList:
            fail("field " + column.name + ": lists cannot be written");
        default:
            break;
    }
    switch (partOf(column.type)) {
        case CellPart::Integer:
            return std::to_string(cell.integer);
        case CellPart::Real:
            return realText(cell.real);
        default:
            if (cell.text.find('\0') != std::string::npos)
                fail("field " + column.name + ": the dataset cannot hold a text with a zero character");
            return quotedText(cell.text);
    }
}

std::string OgrTable::each(const ColumnSet& columns, const Cells& cells, const char* separator, Say say) const {
    const std::shared_ptr<const TableSchema> current = schema();
    std::string sql;
    for (const std::size_t column : columns) {
        if (column != columns.front()) sql += separator;
        sql += say(quotedName(current->columns[column].name), literal(current->columns[column], cells[column]));
    }
    return sql;
}

// SQLite compares a value with a column as it would store it there. Other databases are not asked.
bool OgrTable::isStored(ObjectId id, const ColumnSet& columns, const Cells& cells) const {
    if (!dataset_.sqlite()) return false;
    SqliteStatement row(dataset_.sqlite(),
                        "SELECT 1 FROM " + quotedName(name()) + " WHERE " + keySql() + " = " + std::to_string(id) +
                            " AND " +
                            each(columns, cells, " AND ", [](const std::string& column, const std::string& value) {
                                return column + " IS " + value + " COLLATE BINARY";
                            }));
    return row.step();
}

bool OgrTable::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    checkWritable();
    try {
        if (isStored(id, columns, cells)) return false;
        executeSql(dataset_.gdal(), "UPDATE " + quotedName(name()) + " SET " +
                                        each(columns, cells, ", ",
                                             [](const std::string& column, const std::string& value) {
                                                 return column + " = " + value;
                                             }) +
                                        " WHERE " + keySql() + " = " + std::to_string(id));
    } catch (const HostError& error) {
        fail("row " + std::to_string(id) + " cannot be written: " + error.what());
    }
    dataset_.noteChange(name());
    return true;
}

}  // namespace embedded_host
