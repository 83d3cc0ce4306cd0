// Tables of the in-memory host: fields, rows, update cursors and selections.
//
//     const auto table = Table("BOYLAT").field("SYMBOL_C", VT_BSTR).field("CATLAM", VT_I4)
//                            .row({nullptr, 1}).row({"BOYLAT01", 2}).build();
//
// Rows cost nothing that they could share: a cursor reuses its row object once nobody else holds it, and reading a
// value copies one VARIANT. Everything here belongs to one thread.
#pragma once

#include "memhost/object.h"
#include "memhost/text.h"
#include "symbology/host_interfaces.h"

#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace memhost {

class TableObject;
class Workspace;

/// One value of a row in a builder: nullptr is NULL, texts are UTF-8, `int` is VT_I4 and `double` VT_R8.
struct Cell {
    Cell(std::nullptr_t) { value.vt = VT_NULL; }          // NOLINT(google-explicit-constructor): literals of rows
    Cell(const char* text) : value(bstr(text)) {}         // NOLINT(google-explicit-constructor)
    Cell(const std::string& text) : value(bstr(text)) {}  // NOLINT(google-explicit-constructor)
    Cell(int number) : value(number) {}                   // NOLINT(google-explicit-constructor)
    Cell(double number) : value(number) {}                // NOLINT(google-explicit-constructor)
    Cell(const VARIANT& other) : value(other) {}          // NOLINT(google-explicit-constructor)
    Cell(CComVariant other) : value(std::move(other)) {}  // NOLINT(google-explicit-constructor)

    CComVariant value;
};

struct FieldDefinition {
    CComBSTR name;
    VARTYPE type;
};

/// Finds names exactly as they are spelt.
class Fields final : public Object<IFields> {
public:
    explicit Fields(std::vector<FieldDefinition> definitions) : definitions_(std::move(definitions)) {}
    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override;

    /// -1 when there is none of that name.
    LONG position(WideView name) const;
    const std::vector<FieldDefinition>& definitions() const noexcept { return definitions_; }

private:
    std::vector<FieldDefinition> definitions_;
};

/// Which fields a cursor's filter asked for, by position; null stands for all.
using FetchedFields = std::shared_ptr<const std::vector<bool>>;

/// A row as its holder sees it: what was put stays here until the row is stored or updated.
class Row final : public Object<IRow> {
public:
    Row(TableObject* table, std::size_t index, FetchedFields fetched);
    ~Row() override;

    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override;
    HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) override;
    HRESULT STDMETHODCALLTYPE get_Table(ITable** table) override;
    HRESULT STDMETHODCALLTYPE Store() override;

    /// The value under a name as the holder would read it now, put ones included.
    const VARIANT& value(std::string_view field) const;
    bool isEdited() const noexcept { return !edits_.empty(); }
    const TableObject* table() const noexcept { return table_; }

    /// Points the object at another row of its table and forgets what was put.
    void moveTo(std::size_t index);
    /// Carries what was put into the table and records it there.
    void commit();

private:
    struct Edit {
        LONG field;
        CComVariant value;
    };

    void* find(REFIID iid) override;
    const VARIANT& current(LONG field) const;

    TableObject* table_;  // counted by hand: the type is not complete here
    std::size_t index_;
    FetchedFields fetched_;
    std::vector<Edit> edits_;
};

/// One row that was updated or stored: what was put, in the order of the first put of each field.
struct Update {
    ObjectId id;
    std::vector<std::pair<std::string, CComVariant>> values;
};

/// What the last Update of a table or of one of its selections was asked for.
struct CursorRequest {
    std::vector<std::string> fields;
    std::string where;
    bool hasFilter = false;
    bool recycling = false;
    bool ofSelection = false;
};

/// What a Select of a table was asked for.
struct SelectRequest {
    std::vector<std::string> fields;
    std::string where;
    bool hasFilter = false;
    SelectionOption option = selectionAll;
};

/// How a cursor answers for a field that its filter did not ask for.
enum class Unfetched { Fails, HasItsValue, IsNull };

class TableObject final : public Object<IFeatureClass, ITable, IDataset, ISubtypes> {
public:
    struct Definition {
        std::string name;
        std::string alias;
        std::vector<FieldDefinition> fields;
        std::vector<std::vector<CComVariant>> rows;
        std::string subtypeField;  // empty: no subtypes
        Unfetched unfetched = Unfetched::Fails;
        bool recordsUpdates = true;
        bool converts = false;
    };

    explicit TableObject(Definition definition);
    ~TableObject() override;

    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override;
    HRESULT STDMETHODCALLTYPE get_AliasName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override;
    HRESULT STDMETHODCALLTYPE GetRow(ObjectId id, IRow** row) override;
    HRESULT STDMETHODCALLTYPE Select(IQueryFilter* filter, SelectionType type, SelectionOption option,
                                     IWorkspace* workspace, ISelectionSet** selection) override;
    HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_Workspace(IWorkspace** workspace) override;
    HRESULT STDMETHODCALLTYPE get_HasSubtype(VARIANT_BOOL* has) override;
    HRESULT STDMETHODCALLTYPE get_SubtypeFieldName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_SubtypeFieldIndex(LONG* index) override;

    IFeatureClass* featureClass() noexcept { return this; }
    ITable* table() noexcept { return this; }
    const std::string& name() const noexcept { return definition_.name; }
    std::size_t rowCount() const noexcept { return definition_.rows.size(); }
    /// The stored value; rows count from 0, their ids from 1.
    const CComVariant& value(std::size_t row, std::string_view field) const;
    const CComVariant& value(std::size_t row, LONG field) const {
        return definition_.rows.at(row).at(static_cast<std::size_t>(field));
    }
    /// The stored value for reading, see describe().
    std::string text(std::size_t row, std::string_view field) const { return describe(value(row, field)); }
    /// A row object of its own, all fields fetched.
    CComPtr<Row> row(std::size_t index);
    /// A selection of rows by id, in this order; ids without a row are skipped by cursors.
    CComPtr<ISelectionSet2> select(std::vector<ObjectId> ids);

    /// Adds a field, NULL in every row; the table hands out another field collection from now on.
    void addField(std::string_view name, VARTYPE type);
    /// The workspace that get_Workspace gives; the table does not count it when it is one that lists the table.
    void moveTo(Workspace* workspace);
    void forgetWorkspace() noexcept { workspace_ = nullptr; }

    std::vector<memhost::Update> updates;  // in order; also of rows stored by their holder
    CursorRequest lastRequest;
    std::vector<SelectRequest> selects;  // in order
    /// The ids of the rows that satisfy a where clause. Without it, clauses are not understood (E_NOTIMPL).
    std::function<std::vector<ObjectId>(const std::string& where)> answerWhere;
    /// Reads a value in place of the row; may leave that to it by answering nothing.
    std::function<std::optional<HRESULT>(std::size_t row, LONG field, VARIANT* value)> answerValue;
    long unfetchedReads = 0;

private:
    friend class Row;
    friend class Cursor;
    friend class SelectionSet;

    void* find(REFIID iid) override;
    HRESULT openCursor(IQueryFilter* filter, VARIANT_BOOL recycling, std::vector<ObjectId> ids, bool ofSelection,
                       ICursor** cursor);
    LONG position(std::string_view field) const;

    Definition definition_;
    CComBSTR nameText_;
    CComBSTR aliasText_;
    CComPtr<Fields> fields_;
    CComPtr<IWorkspace> ownWorkspace_;
    IWorkspace* workspace_ = nullptr;  // not counted: a workspace counts its tables
};

/// Builds a table; see the head of this file.
class Table {
public:
    explicit Table(std::string name) {
        definition_.alias = name;
        definition_.name = std::move(name);
    }
    Table& alias(std::string name) {
        definition_.alias = std::move(name);
        return *this;
    }
    Table& field(std::string_view name, VARTYPE type) {
        definition_.fields.push_back({bstr(name), type});
        return *this;
    }
    /// SYMBOL_C, Xoffset_C, Yoffset_C and Rotate_C, in this order.
    Table& symbologyFields() {
        return field("SYMBOL_C", VT_BSTR).field("Xoffset_C", VT_R8).field("Yoffset_C", VT_R8).field("Rotate_C", VT_R8);
    }
    /// Values in the order of the fields; missing ones at the end are NULL.
    Table& row(std::initializer_list<Cell> cells) { return row(std::vector<Cell>(cells)); }
    Table& row(const std::vector<Cell>& cells);
    Table& subtypes(std::string_view field) {
        definition_.subtypeField = field;
        return *this;
    }
    Table& unfetched(Unfetched answer) {
        definition_.unfetched = answer;
        return *this;
    }
    /// For runs of many rows: updates are made but not kept for reading.
    Table& forgetsUpdates() {
        definition_.recordsUpdates = false;
        return *this;
    }
    /// What is put becomes a value of the field's type, as in databases; what cannot is refused.
    Table& converts() {
        definition_.converts = true;
        return *this;
    }
    /// The table stands alone in a file-system workspace of its own.
    CComPtr<TableObject> build();

private:
    TableObject::Definition definition_;
};

}  // namespace memhost
