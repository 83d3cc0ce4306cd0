// GdalWorkspace: what the tools do with a dataset.
#include "host/geodatabase/gdal_workspace.h"

#include "host/geodatabase/base/sort_unique.h"
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/gdal_dataset.h"
#include "host/geodatabase/objects/cell_variant.h"
#include "host/geodatabase/objects/feature_class.h"
#include "host/geodatabase/objects/selection.h"
#include "host/geodatabase/objects/workspace_object.h"
#include "host/geodatabase/postgres/pg_dataset.h"

#include <algorithm>
#include <utility>

namespace embedded_host {

namespace {

class Workspace final : public GdalWorkspace {
public:
    explicit Workspace(std::shared_ptr<Dataset> dataset) : dataset_(std::move(dataset)) {}
    // A transaction that nobody finished did not happen, even when objects of the dataset live on.
    ~Workspace() override { dataset_->rollback(); }
    Workspace(const Workspace&) = delete;
    Workspace& operator=(const Workspace&) = delete;

    const std::string& name() const override { return dataset_->name(); }
    WorkspaceType type() const override { return dataset_->type(); }

    std::vector<LayerInfo> layers() override {
        std::vector<LayerInfo> infos;
        for (const Dataset::Entry& entry : dataset_->entries())
            infos.push_back({entry.name, entry.alias, entry.spatial, dataset_->rowCount(entry.name)});
        return infos;
    }

    std::string layerName(const std::string& name) override {
        const std::optional<Dataset::Entry> entry = dataset_->server() ? dataset_->find(name) : std::nullopt;
        return entry ? entry->name : name;
    }

    CComPtr<IFeatureClass> openFeatureClass(const std::string& layer,
                                            const std::optional<std::string>& subtypeField) override {
        return new FeatureClass(dataset_->table(layer), subtypeField);
    }

    CComPtr<ISelectionSet> select(const std::string& layer, const std::optional<std::string>& where,
                                  const std::optional<std::vector<ObjectId>>& ids) override {
        const std::shared_ptr<Table> table = dataset_->table(layer);
        const std::string clause = where.value_or(std::string());
        auto selected = std::make_shared<ObjectIds>(ids ? table->restrict(ascending(*ids), clause)
                                                        : table->select(clause, false, {}));
        return new SelectionSet(new FeatureClass(table, usableSubtypeMetadata(*table)), std::move(selected));
    }

    std::optional<Refusal> whyRefused(const std::string& layer, const std::string& where) override {
        return dataset_->table(layer)->whyRefused(where);
    }

    std::vector<std::string> fieldNames(const std::string& layer) override {
        const std::shared_ptr<const TableSchema> schema = dataset_->table(layer)->schema();
        std::vector<std::string> names;
        names.reserve(schema->fieldCount());
        for (std::size_t i = 0; i < schema->fieldCount(); ++i) names.push_back(schema->columns[i].name);
        return names;
    }

    std::optional<VARTYPE> fieldType(const std::string& layer, const std::string& field) override {
        const std::optional<FieldInfo> found = this->field(layer, field);
        return found ? std::optional(found->type) : std::nullopt;
    }

    std::optional<FieldInfo> field(const std::string& layer, const std::string& name) override {
        const std::shared_ptr<const TableSchema> schema = dataset_->table(layer)->schema();
        const LONG found = schema->find(toWide(name));
        if (found < 0) return std::nullopt;
        const auto position = static_cast<std::size_t>(found);
        const Column& column = schema->columns[position];
        return FieldInfo{column, variantTypeOf(column.type), position == schema->keyPosition()};
    }

    void readFields(const std::string& layer, const std::vector<std::string>& fields,
                    const std::function<bool(ObjectId, const std::vector<const Cell*>&)>& visit) override {
        const std::shared_ptr<Table> table = dataset_->table(layer);
        if (!table->hasKey()) return;
        const std::shared_ptr<const TableSchema> schema = table->schema();
        Cells cells(schema->columns.size());
        ColumnSet columns;
        for (const std::string& field : fields) columns.push_back(positionOf(*schema, field));
        const ColumnSet positions = columns;
        sortUnique(columns);
        std::vector<const Cell*> ofFields(fields.size());
        const std::unique_ptr<RowReader> reader = table->read(columns, nullptr);
        for (ObjectId id = 0; reader->next(id, cells);) {
            for (const std::size_t i : columns)
                if (!isReadable(schema->columns[i], cells[i])) cells[i].state = Cell::State::Foreign;
            // A reader may give the row in other storage.
            std::ranges::transform(positions, ofFields.begin(), [&](std::size_t i) { return &cells[i]; });
            if (!visit(id, ofFields)) return;
        }
    }

    std::vector<Column> columns(const std::string& layer) override {
        const std::shared_ptr<const TableSchema> schema = dataset_->table(layer)->schema();
        return {schema->columns.begin(), schema->columns.begin() + static_cast<std::ptrdiff_t>(schema->fieldCount())};
    }

    void readRows(const std::string& layer, const std::function<void(const Cells&)>& visit) override {
        const std::shared_ptr<Table> table = dataset_->table(layer);
        const std::shared_ptr<const TableSchema> schema = table->schema();
        ColumnSet columns;
        for (std::size_t i = 0; i < schema->fieldCount(); ++i)
            if (partOf(schema->columns[i].type) != CellPart::None) columns.push_back(i);
        const std::unique_ptr<RowReader> reader = table->read(columns, nullptr);
        Cells cells(schema->columns.size());
        for (ObjectId id = 0; reader->next(id, cells);) {
            for (const std::size_t i : columns)
                if (!isReadable(schema->columns[i], cells[i])) cells[i].state = Cell::State::Foreign;
            visit(cells);
        }
    }

    std::size_t addFields(const std::string& layer, const std::vector<FieldRequest>& fields) override {
        const std::shared_ptr<Table> table = dataset_->table(layer);
        std::vector<FieldRequest> missing;
        for (const FieldRequest& field : fields) {
            const auto same = [&](const FieldRequest& other) {
                return upperCased(toWide(other.name)) == upperCased(toWide(field.name));
            };
            if (table->schema()->find(toWide(field.name)) < 0 && std::ranges::none_of(missing, same))
                missing.push_back(field);
        }
        if (missing.empty()) return 0;
        dataset_->checkWritable();
        dataset_->addFields(*table, missing);
        return missing.size();
    }

    void expectStyles(bool createTable) override { dataset_->expectStyles(createTable); }

    ShapeValues shapeValues(const std::string& layer, const std::string& field) override {
        return dataset_->shapeValues(layer, field);
    }

    std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) override {
        dataset_->begin();
        try {
            std::vector<KeptDefault> kept = dataset_->writeStyles(layers);
            dataset_->commit();
            return kept;
        } catch (...) {
            dataset_->rollback();
            throw;
        }
    }

    void begin() override { dataset_->begin(); }
    void commit() override { dataset_->commit(); }
    void rollback() noexcept override { dataset_->rollback(); }
    void watch(RunMonitor* monitor) override { dataset_->monitor = monitor; }
    CComPtr<IWorkspace> workspace() override { return workspaceOf(*dataset_); }

private:
    static bool isReadable(const Column& column, const Cell& cell) {
        CComVariant value;
        try {
            toVariant(column, cell, &value);
            return true;
        } catch (const StatusError&) {
            return false;
        }
    }

    static std::size_t positionOf(const TableSchema& schema, const std::string& field) {
        const LONG position = schema.find(toWide(field));
        if (position < 0) throw HostError("there is no field '" + field + "'");
        return static_cast<std::size_t>(position);
    }

    static ObjectIds ascending(ObjectIds ids) {
        sortUnique(ids);
        return ids;
    }

    // A subtype field that the table lacks is for openFeatureClass() to complain about; a selection works without.
    static std::string usableSubtypeMetadata(const Table& table) {
        const bool usable = table.schema()->find(toWide(table.subtypeMetadata())) >= 0;
        return usable ? table.subtypeMetadata() : std::string();
    }

    std::shared_ptr<Dataset> dataset_;
};

// Opens what `name` stands for.
std::shared_ptr<Dataset> openDataset(const std::string& name, Access access, const WorkspaceOptions& options) {
    if (isPostgresName(name)) return std::make_shared<PgDataset>(name, access, options);
    return std::make_shared<GdalDataset>(name, access, options);
}

}  // namespace

std::optional<std::string> whyNotPut(const FieldInfo& field, const CComVariant& value) {
    if (field.isKey) return "field " + field.column.name + ": the key of a row does not change";
    try {
        Cell cell;
        fromVariant(field.column, value, cell);
        return std::nullopt;
    } catch (const StatusError& error) {
        return error.what();
    }
}

std::shared_ptr<GdalWorkspace> GdalWorkspace::open(const std::string& dataset, Access access,
                                                   const WorkspaceOptions& options) {
    return std::make_shared<Workspace>(openDataset(dataset, access, options));
}

}  // namespace embedded_host
