// Workspaces of the in-memory host: files, local databases, and a database server that was never there.
#pragma once

#include "memhost/table.h"

#include <optional>
#include <string>
#include <vector>

namespace memhost {

/// What opening a dataset that does not exist answers.
constexpr HRESULT noSuchDataset = static_cast<HRESULT>(0x80041317U);

/// Lists tables and opens them by name. A server's names have up to three parts, "database.owner.table". One that is a
/// connection tells the connected database and user; others do not offer IDatabaseConnectionInfo.
class Workspace final : public Object<IWorkspace, IWorkspace2, IFeatureWorkspace, ISQLSyntax, IDatabaseConnectionInfo> {
public:
    explicit Workspace(WorkspaceType type);
    /// A connection to a database server.
    Workspace(std::string database, std::string user);
    ~Workspace() override;

    /// Lists `table` under its name; the table's get_Workspace gives this workspace from now on.
    void add(DatasetType type, TableObject* table);

    HRESULT STDMETHODCALLTYPE get_Type(WorkspaceType* type) override;
    HRESULT STDMETHODCALLTYPE get_Datasets(DatasetType type, IEnumDataset** datasets) override;
    HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) override;
    HRESULT STDMETHODCALLTYPE OpenTable(BSTR name, ITable** table) override;
    HRESULT STDMETHODCALLTYPE OpenFeatureClass(BSTR name, IFeatureClass** featureClass) override;
    HRESULT STDMETHODCALLTYPE ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) override;
    HRESULT STDMETHODCALLTYPE QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) override;
    HRESULT STDMETHODCALLTYPE get_ConnectedDatabase(BSTR* database) override;
    HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR* user) override;

    IWorkspace* asWorkspace() noexcept { return this; }

    /// Every name that was asked to be opened, in order: "table NAME" or "class NAME".
    std::vector<std::string> opened;

private:
    struct Entry {
        DatasetType type;
        CComPtr<TableObject> table;
    };

    void* find(REFIID iid) override;
    TableObject* lookUp(DatasetType type, BSTR name) const;

    WorkspaceType type_;
    struct Connection {
        std::string database;
        std::string user;
    };
    std::optional<Connection> connection_;
    std::vector<Entry> entries_;
};

}  // namespace memhost
