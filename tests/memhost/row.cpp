// Fields and rows.
#include "memhost/table.h"

#include <cmath>
#include <stdexcept>

namespace memhost {

namespace {

// As a database takes it: without loss, and no fraction into a whole number.
HRESULT convert(const VARIANT& value, VARTYPE type, CComVariant& converted) {
    if (value.vt == VT_NULL || value.vt == VT_EMPTY) {
        converted.vt = VT_NULL;
        return S_OK;
    }
    auto* const source = const_cast<VARIANT*>(&value);
    if (type == VT_I2 || type == VT_I4 || type == VT_I8) {
        CComVariant number;
        if (const HRESULT hr = VariantChangeTypeEx(&number, source, LOCALE_INVARIANT, 0, VT_R8); FAILED(hr)) return hr;
        if (number.dblVal != std::trunc(number.dblVal)) return DISP_E_TYPEMISMATCH;
    }
    return VariantChangeTypeEx(&converted, source, LOCALE_INVARIANT, VARIANT_NOUSEROVERRIDE, type);
}

}  // namespace

HRESULT Fields::FindField(BSTR name, LONG* index) {
    return call(
        Op::FieldsFindField,
        [&] {
            if (!index) return E_POINTER;
            *index = position(WideView(name, SysStringLen(name)));
            return S_OK;
        },
        [&] { *index = -1; });
}

LONG Fields::position(WideView name) const {
    for (std::size_t i = 0; i < definitions_.size(); ++i)
        if (WideView(definitions_[i].name, definitions_[i].name.Length()) == name) return static_cast<LONG>(i);
    return -1;
}

Row::Row(TableObject* table, std::size_t index, FetchedFields fetched)
    : table_(table), index_(index), fetched_(std::move(fetched)) {
    table_->AddRef();
}

Row::~Row() {
    table_->Release();
}

void* Row::find(REFIID iid) {
    if (iid == __uuidof(IRowBuffer)) return static_cast<IRowBuffer*>(this);
    return Object::find(iid);
}

HRESULT Row::get_Fields(IFields** fields) {
    return call(Op::RowGetFields, [&] { return give<IFields>(fields, table_->fields_.p); }, [&] { *fields = nullptr; });
}

HRESULT Row::get_Table(ITable** table) {
    return call(Op::RowGetTable, [&] { return give(table, table_->table()); }, [&] { *table = nullptr; });
}

const VARIANT& Row::current(LONG field) const {
    for (const Edit& edit : edits_)
        if (edit.field == field) return edit.value;
    return table_->definition_.rows[index_][static_cast<std::size_t>(field)];
}

HRESULT Row::get_Value(LONG index, VARIANT* value) {
    return call(
        Op::RowGetValue,
        [&] {
            if (!value) return E_POINTER;
            // An out value is written without being read: whoever passes one that holds a text loses the text.
            VariantInit(value);
            if (index < 0 || static_cast<std::size_t>(index) >= table_->definition_.fields.size()) return E_INVALIDARG;
            if (fetched_ && !(*fetched_)[static_cast<std::size_t>(index)]) {
                ++table_->unfetchedReads;
                if (table_->definition_.unfetched == Unfetched::IsNull) {
                    value->vt = VT_NULL;
                    return S_OK;
                }
                if (table_->definition_.unfetched == Unfetched::Fails) return E_UNEXPECTED;
            }
            if (table_->answerValue)
                if (const auto answer = table_->answerValue(index_, index, value)) return *answer;
            return VariantCopy(value, const_cast<VARIANT*>(&current(index)));
        },
        [&] { VariantInit(value); });
}

HRESULT Row::put_Value(LONG index, VARIANT value) {
    return call(Op::RowPutValue, [&] {
        if (index < 0 || static_cast<std::size_t>(index) >= table_->definition_.fields.size()) return E_INVALIDARG;
        CComVariant copy;
        const HRESULT hr = table_->definition_.converts
                               ? convert(value, table_->definition_.fields[static_cast<std::size_t>(index)].type, copy)
                               : VariantCopy(&copy, &value);
        if (FAILED(hr)) return hr;
        for (Edit& edit : edits_)
            if (edit.field == index) {
                edit.value = std::move(copy);
                return S_OK;
            }
        edits_.push_back({index, std::move(copy)});
        return S_OK;
    });
}

HRESULT Row::Store() {
    return call(Op::RowStore, [&] {
        commit();
        return S_OK;
    });
}

void Row::commit() {
    Update update{static_cast<ObjectId>(index_ + 1), {}};
    for (Edit& edit : edits_) {
        const auto field = static_cast<std::size_t>(edit.field);
        if (table_->definition_.recordsUpdates)
            update.values.emplace_back(utf8(table_->definition_.fields[field].name), edit.value);
        table_->definition_.rows[index_][field] = std::move(edit.value);
    }
    edits_.clear();
    if (table_->definition_.recordsUpdates) table_->updates.push_back(std::move(update));
}

void Row::moveTo(std::size_t index) {
    index_ = index;
    edits_.clear();
}

const VARIANT& Row::value(std::string_view field) const {
    return current(table_->position(field));
}

LONG TableObject::position(std::string_view field) const {
    for (std::size_t i = 0; i < definition_.fields.size(); ++i)
        if (utf8(definition_.fields[i].name) == field) return static_cast<LONG>(i);
    throw std::logic_error("The table has no field " + std::string(field));
}

}  // namespace memhost
