// The feature class object.
#include "host/geodatabase/objects/feature_class.h"

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/objects/boundary.h"
#include "host/geodatabase/objects/cursor.h"
#include "host/geodatabase/objects/filter_content.h"
#include "host/geodatabase/objects/selection.h"
#include "host/geodatabase/objects/workspace_object.h"

#include <utility>

namespace embedded_host {

namespace {

std::string resolvedSubtypeField(const Table& table, const std::optional<std::string>& requested) {
    const std::string name = requested ? *requested : table.subtypeMetadata();
    if (name.empty()) return {};
    const std::shared_ptr<const TableSchema> schema = table.schema();
    const LONG position = schema->find(toWide(name));
    if (position < 0) throw HostError(table.title() + ": there is no subtype field '" + name + "'");
    return schema->columns[static_cast<std::size_t>(position)].name;
}

}  // namespace

FeatureClass::FeatureClass(std::shared_ptr<Table> table, const std::optional<std::string>& subtypeField)
    : table_(std::move(table)), subtypeField_(resolvedSubtypeField(*table_, subtypeField)) {}
FeatureClass::~FeatureClass() = default;

CComPtr<IFields> FeatureClass::currentFields() {
    // A new collection only after the table's fields have changed: rows and callers keep the one that they have.
    if (!fields_ || fieldsSchema_ != table_->schema()) {
        fieldsSchema_ = table_->schema();
        fields_ = new Fields(fieldsSchema_);
        asked_.reset();
    }
    return fields_;
}

std::shared_ptr<RowSource> FeatureClass::rowSource() {
    auto source = std::make_shared<RowSource>();
    source->table = table_;
    source->schema = table_->schema();
    source->tableObject = static_cast<ITable*>(this);
    source->fields = currentFields();
    return source;
}

CComPtr<ICursor> FeatureClass::openCursor(IQueryFilter* filter, bool recycling, SharedIds ids) {
    if (!table_->dataset().isRehearsal()) table_->dataset().checkWritable();
    const std::shared_ptr<RowSource> source = rowSource();
    source->monitor = table_->dataset().monitor;
    FilterContent content = readFilter(*source->schema, filter);
    // Which rows the cursor gives is settled before the first of them can be changed.
    if (!content.where.empty())
        ids = std::make_shared<ObjectIds>(ids ? table_->restrict(*ids, content.where)
                                              : table_->select(content.where, false, {}));
    return new Cursor(source, std::move(content.columns), std::move(ids), recycling);
}

HRESULT FeatureClass::FindField(BSTR name, LONG* index) {
    if (!index) return E_POINTER;
    *index = -1;
    return atBoundary([&] {
        *index = table_->schema()->find(viewOf(name));
        return S_OK;
    });
}

HRESULT FeatureClass::get_AliasName(BSTR* name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    return atBoundary([&] {
        *name = toBstr(table_->alias());
        return S_OK;
    });
}

HRESULT FeatureClass::get_Fields(IFields** fields) {
    if (!fields) return E_POINTER;
    *fields = nullptr;
    return atBoundary([&] { return currentFields().CopyTo(fields); });
}

HRESULT FeatureClass::GetRow(ObjectId id, IRow** row) {
    if (!row) return E_POINTER;
    *row = nullptr;
    return atBoundary([&] {
        const std::shared_ptr<RowSource> source = rowSource();
        // The first row is read whole, a later one as far as the rows before it were asked for.
        const bool isFirst = !asked_;
        if (isFirst) asked_ = std::make_shared<ColumnSet>();
        source->asked = asked_;
        const CComPtr<Row> found(new Row(source));
        Cells& cells = found->startFilling();
        if (!(isFirst ? table_->fetch(id, allColumns(*source->schema), cells) : table_->fetch(id, *asked_, cells)))
            throw HostError(table_->title() + ": there is no row " + std::to_string(id));
        found->finishFilling(id);
        *row = CComPtr<IRow>(found).Detach();
        return S_OK;
    });
}

HRESULT FeatureClass::Select(IQueryFilter* filter, SelectionType type, SelectionOption option,
                             IWorkspace* /*workspace*/, ISelectionSet** selection) {
    if (!selection) return E_POINTER;
    *selection = nullptr;
    if (type != selectionIdSet || (option != selectionAll && option != selectionOnlyOne)) return E_INVALIDARG;
    return atBoundary([&] {
        // A set of ids has nothing to read; but a filter with fields tells that its rows are going to be got.
        static const ColumnSet none;
        const SelectionRequest request = readSelectionRequest(filter);
        const ColumnSet& ahead = asked_ && request.namesFields ? *asked_ : none;
        auto ids = std::make_shared<ObjectIds>(table_->select(request.where, option == selectionOnlyOne, ahead));
        *selection = CComPtr<ISelectionSet>(new SelectionSet(this, std::move(ids))).Detach();
        return S_OK;
    });
}

HRESULT FeatureClass::Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) {
    if (!cursor) return E_POINTER;
    *cursor = nullptr;
    return atBoundary([&] {
        *cursor = openCursor(filter, recycling != VARIANT_FALSE, nullptr).Detach();
        return S_OK;
    });
}

HRESULT FeatureClass::get_Name(BSTR* name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    return atBoundary([&] {
        *name = toBstr(table_->fullName());
        return S_OK;
    });
}

HRESULT FeatureClass::get_Workspace(IWorkspace** workspace) {
    if (!workspace) return E_POINTER;
    *workspace = nullptr;
    return atBoundary([&] {
        *workspace = workspaceOf(table_->dataset()).Detach();
        return S_OK;
    });
}

HRESULT FeatureClass::get_HasSubtype(VARIANT_BOOL* has) {
    if (!has) return E_POINTER;
    *has = subtypeField_.empty() ? VARIANT_FALSE : VARIANT_TRUE;
    return S_OK;
}

HRESULT FeatureClass::get_SubtypeFieldName(BSTR* name) {
    if (!name) return E_POINTER;
    *name = nullptr;
    return atBoundary([&] {
        *name = toBstr(subtypeField_);
        return S_OK;
    });
}

HRESULT FeatureClass::get_SubtypeFieldIndex(LONG* index) {
    if (!index) return E_POINTER;
    *index = -1;
    return atBoundary([&] {
        if (!subtypeField_.empty()) *index = table_->schema()->find(toWide(subtypeField_));
        return S_OK;
    });
}

}  // namespace embedded_host
