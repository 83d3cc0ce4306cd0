// Tables, their cursors and their selections.
#include "memhost/table.h"

#include "memhost/query_filter.h"
#include "memhost/workspace.h"

#include <stdexcept>

namespace memhost {

/// Rows of a table in turn, by id.
class Cursor final : public Object<ICursor> {
public:
    Cursor(TableObject* table, std::vector<ObjectId> ids, bool all, FetchedFields fetched)
        : table_(table), ids_(std::move(ids)), all_(all), fetched_(std::move(fetched)) {}

    HRESULT STDMETHODCALLTYPE NextRow(IRow** row) override {
        return call(Op::CursorNextRow, [&] { return next(row); }, [&] { *row = nullptr; });
    }

    HRESULT STDMETHODCALLTYPE UpdateRow(IRow* row) override {
        return call(Op::CursorUpdateRow, [&] {
            auto* mine = dynamic_cast<Row*>(row);
            if (!mine || mine->table() != table_.p) return E_INVALIDARG;
            mine->commit();
            return S_OK;
        });
    }

private:
    HRESULT next(IRow** row) {
        if (!row) return E_POINTER;
        *row = nullptr;
        std::size_t index = 0;
        do {
            if (position_ == (all_ ? table_->rowCount() : ids_.size())) return S_FALSE;
            index = all_ ? position_ : static_cast<std::size_t>(ids_[position_] - 1);
            ++position_;
        } while (index >= table_->rowCount());
        if (row_ && row_->references() == 1)
            row_->moveTo(index);
        else
            row_ = make<Row>(table_.p, index, fetched_);
        return give<IRow>(row, row_.p);
    }

    CComPtr<TableObject> table_;
    std::vector<ObjectId> ids_;
    bool all_;
    FetchedFields fetched_;
    std::size_t position_ = 0;
    CComPtr<Row> row_;
};

class IdEnumerator final : public Object<IEnumIDs> {
public:
    explicit IdEnumerator(std::vector<ObjectId> ids) : ids_(std::move(ids)) {}

    HRESULT STDMETHODCALLTYPE Reset() override {
        return call(Op::IdsReset, [&] {
            position_ = 0;
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Next(ObjectId* id) override {
        return call(
            Op::IdsNext,
            [&] {
                if (!id) return E_POINTER;
                *id = position_ < ids_.size() ? ids_[position_] : -1;
                return position_++ < ids_.size() ? S_OK : S_FALSE;
            },
            [&] { *id = -1; });
    }

private:
    std::vector<ObjectId> ids_;
    std::size_t position_ = 1U << 30U;  // nowhere until Reset, so that callers who forget it are found out
};

class SelectionSet final : public Object<ISelectionSet2> {
public:
    SelectionSet(TableObject* table, std::vector<ObjectId> ids) : table_(table), ids_(std::move(ids)) {}

    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override {
        return call(
            Op::SelectionGetCount,
            [&] {
                if (!count) return E_POINTER;
                *count = static_cast<LONG>(ids_.size());
                return S_OK;
            },
            [&] { *count = 0; });
    }
    HRESULT STDMETHODCALLTYPE get_IDs(IEnumIDs** ids) override {
        return call(
            Op::SelectionGetIds, [&] { return give<IEnumIDs>(ids, make<IdEnumerator>(ids_).p); },
            [&] { *ids = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) override {
        return call(
            Op::SelectionUpdate, [&] { return table_->openCursor(filter, recycling, ids_, true, cursor); },
            [&] { *cursor = nullptr; });
    }

private:
    void* find(REFIID iid) override {
        if (iid == __uuidof(ISelectionSet)) return static_cast<ISelectionSet*>(this);
        return Object::find(iid);
    }

    CComPtr<TableObject> table_;
    std::vector<ObjectId> ids_;
};

TableObject::TableObject(Definition definition)
    : definition_(std::move(definition)),
      nameText_(bstr(definition_.name)),
      aliasText_(bstr(definition_.alias)),
      fields_(make<Fields>(definition_.fields)),
      ownWorkspace_(make<Workspace>(workspaceFileSystem).p),
      workspace_(ownWorkspace_) {}

TableObject::~TableObject() = default;

void* TableObject::find(REFIID iid) {
    if (iid == __uuidof(IObjectClass)) return static_cast<IObjectClass*>(this);
    return Object::find(iid);
}

HRESULT TableObject::FindField(BSTR name, LONG* index) {
    return call(
        Op::ClassFindField,
        [&] {
            if (!index) return E_POINTER;
            *index = fields_->position(WideView(name, SysStringLen(name)));
            return S_OK;
        },
        [&] { *index = -1; });
}

HRESULT TableObject::get_AliasName(BSTR* name) {
    return call(Op::ClassGetAliasName, [&] { return give(name, aliasText_); }, [&] { *name = nullptr; });
}

HRESULT TableObject::get_Fields(IFields** fields) {
    return call(Op::TableGetFields, [&] { return give<IFields>(fields, fields_.p); }, [&] { *fields = nullptr; });
}

HRESULT TableObject::GetRow(ObjectId id, IRow** row) {
    return call(
        Op::TableGetRow,
        [&] {
            if (!row) return E_POINTER;
            *row = nullptr;
            if (id < 1 || static_cast<std::size_t>(id) > rowCount()) return E_INVALIDARG;
            return give<IRow>(row, this->row(static_cast<std::size_t>(id - 1)).p);
        },
        [&] { *row = nullptr; });
}

HRESULT TableObject::Select(IQueryFilter* filter, SelectionType type, SelectionOption option, IWorkspace* /*place*/,
                            ISelectionSet** selection) {
    return call(
        Op::TableSelect,
        [&] {
            if (!selection) return E_POINTER;
            *selection = nullptr;
            if (type != selectionIdSet) return E_NOTIMPL;
            FilterContent content;
            const HRESULT hr = filter ? readFilter(filter, content) : S_OK;
            if (FAILED(hr)) return hr;
            selects.push_back({content.fields, content.where, filter != nullptr, option});
            if (!content.where.empty() && !answerWhere) return E_NOTIMPL;
            std::vector<ObjectId> ids;
            if (content.where.empty())
                for (std::size_t i = 0; i < rowCount(); ++i) ids.push_back(static_cast<ObjectId>(i + 1));
            else
                ids = answerWhere(content.where);
            if (option == selectionOnlyOne && ids.size() > 1) ids.erase(ids.begin() + 1, ids.end());
            return give<ISelectionSet>(selection, select(std::move(ids)).p);
        },
        [&] { *selection = nullptr; });
}

HRESULT TableObject::Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) {
    return call(
        Op::TableUpdate, [&] { return openCursor(filter, recycling, {}, false, cursor); }, [&] { *cursor = nullptr; });
}

HRESULT TableObject::openCursor(IQueryFilter* filter, VARIANT_BOOL recycling, std::vector<ObjectId> ids,
                                bool ofSelection, ICursor** cursor) {
    if (!cursor) return E_POINTER;
    *cursor = nullptr;
    FilterContent content;
    FetchedFields fetched;
    if (filter) {
        const HRESULT hr = readFilter(filter, content);
        if (FAILED(hr)) return hr;
        if (!content.where.empty()) return E_NOTIMPL;
        std::vector<bool> wanted(definition_.fields.size(), content.fields.empty());
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const std::string field = utf8(definition_.fields[i].name);
            // As geodatabases do, the subtype field comes along whether it was asked for or not.
            if (field == definition_.subtypeField) wanted[i] = true;
            for (const std::string& asked : content.fields)
                if (field == asked) wanted[i] = true;
        }
        fetched = std::make_shared<const std::vector<bool>>(std::move(wanted));
    }
    lastRequest = {content.fields, content.where, filter != nullptr, recycling != VARIANT_FALSE, ofSelection};
    return give<ICursor>(cursor, make<Cursor>(this, std::move(ids), !ofSelection, std::move(fetched)).p);
}

HRESULT TableObject::get_Name(BSTR* name) {
    return call(Op::DatasetGetName, [&] { return give(name, nameText_); }, [&] { *name = nullptr; });
}

HRESULT TableObject::get_Workspace(IWorkspace** workspace) {
    return call(Op::DatasetGetWorkspace, [&] { return give(workspace, workspace_); }, [&] { *workspace = nullptr; });
}

HRESULT TableObject::get_HasSubtype(VARIANT_BOOL* has) {
    return call(
        Op::SubtypesGetHasSubtype,
        [&] {
            if (!has) return E_POINTER;
            *has = definition_.subtypeField.empty() ? VARIANT_FALSE : VARIANT_TRUE;
            return S_OK;
        },
        [&] { *has = VARIANT_FALSE; });
}

HRESULT TableObject::get_SubtypeFieldName(BSTR* name) {
    return call(
        Op::SubtypesGetFieldName, [&] { return give(name, bstr(definition_.subtypeField)); }, [&] { *name = nullptr; });
}

HRESULT TableObject::get_SubtypeFieldIndex(LONG* index) {
    return call(
        Op::SubtypesGetFieldIndex,
        [&] {
            if (!index) return E_POINTER;
            *index = definition_.subtypeField.empty() ? -1 : position(definition_.subtypeField);
            return S_OK;
        },
        [&] { *index = -1; });
}

const CComVariant& TableObject::value(std::size_t row, std::string_view field) const {
    return definition_.rows.at(row)[static_cast<std::size_t>(position(field))];
}

CComPtr<Row> TableObject::row(std::size_t index) {
    return make<Row>(this, index, FetchedFields());
}

CComPtr<ISelectionSet2> TableObject::select(std::vector<ObjectId> ids) {
    return make<SelectionSet>(this, std::move(ids)).p;
}

void TableObject::addField(std::string_view name, VARTYPE type) {
    definition_.fields.push_back({bstr(name), type});
    for (std::vector<CComVariant>& row : definition_.rows) row.push_back(Cell(nullptr).value);
    fields_ = make<Fields>(definition_.fields);
}

void TableObject::moveTo(Workspace* workspace) {
    ownWorkspace_.Release();
    workspace_ = workspace;
}

Table& Table::row(const std::vector<Cell>& cells) {
    if (cells.size() > definition_.fields.size()) throw std::logic_error("A row has more values than fields");
    std::vector<CComVariant>& row = definition_.rows.emplace_back();
    for (const Cell& cell : cells) row.push_back(cell.value);
    row.resize(definition_.fields.size(), Cell(nullptr).value);
    return *this;
}

CComPtr<TableObject> Table::build() {
    return make<TableObject>(definition_);
}

}  // namespace memhost
