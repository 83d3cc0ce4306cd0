#include "memhost/workspace.h"

namespace memhost {

namespace {

class DatasetEnumerator final : public Object<IEnumDataset> {
public:
    explicit DatasetEnumerator(std::vector<CComPtr<IDataset>> datasets) : datasets_(std::move(datasets)) {}

    HRESULT STDMETHODCALLTYPE Next(IDataset** dataset) override {
        return call(
            Op::DatasetsNext,
            [&] {
                if (!dataset) return E_POINTER;
                *dataset = nullptr;
                return position_ == datasets_.size() ? S_FALSE : give(dataset, datasets_[position_++].p);
            },
            [&] { *dataset = nullptr; });
    }

private:
    std::vector<CComPtr<IDataset>> datasets_;
    std::size_t position_ = 0;
};

}  // namespace

Workspace::Workspace(WorkspaceType type) : type_(type) {}

Workspace::Workspace(std::string database, std::string user)
    : type_(workspaceRemoteDatabase), connection_(Connection{std::move(database), std::move(user)}) {}

Workspace::~Workspace() {
    for (const Entry& entry : entries_) entry.table->forgetWorkspace();
}

void Workspace::add(DatasetType type, TableObject* table) {
    table->moveTo(this);
    entries_.push_back({type, table});
}

void* Workspace::find(REFIID iid) {
    if (iid == __uuidof(IDatabaseConnectionInfo) && !connection_) return nullptr;
    return Object::find(iid);
}

HRESULT Workspace::get_Type(WorkspaceType* type) {
    return call(Op::WorkspaceGetType, [&] {
        if (!type) return E_POINTER;
        *type = type_;
        return S_OK;
    });
}

HRESULT Workspace::get_Datasets(DatasetType type, IEnumDataset** datasets) {
    return call(
        Op::WorkspaceGetDatasets,
        [&] {
            std::vector<CComPtr<IDataset>> found;
            for (const Entry& entry : entries_)
                if (entry.type == type) found.emplace_back(entry.table.p);
            return give<IEnumDataset>(datasets, make<DatasetEnumerator>(std::move(found)).p);
        },
        [&] { *datasets = nullptr; });
}

TableObject* Workspace::lookUp(DatasetType type, BSTR name) const {
    const std::string wanted = utf8(name);
    for (const Entry& entry : entries_)
        if (entry.type == type && entry.table->name() == wanted) return entry.table;
    return nullptr;
}

HRESULT Workspace::get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) {
    return call(
        Op::NameExists,
        [&] {
            if (!exists) return E_POINTER;
            *exists = lookUp(type, name) ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        },
        [&] { *exists = VARIANT_FALSE; });
}

HRESULT Workspace::OpenTable(BSTR name, ITable** table) {
    return call(
        Op::OpenTable,
        [&] {
            opened.push_back("table " + utf8(name));
            TableObject* found = lookUp(datasetTable, name);
            const HRESULT hr = give(table, found ? found->table() : nullptr);
            return FAILED(hr) || found ? hr : noSuchDataset;
        },
        [&] { *table = nullptr; });
}

HRESULT Workspace::OpenFeatureClass(BSTR name, IFeatureClass** featureClass) {
    return call(
        Op::OpenFeatureClass,
        [&] {
            opened.push_back("class " + utf8(name));
            TableObject* found = lookUp(datasetFeatureClass, name);
            const HRESULT hr = give(featureClass, found ? found->featureClass() : nullptr);
            return FAILED(hr) || found ? hr : noSuchDataset;
        },
        [&] { *featureClass = nullptr; });
}

HRESULT Workspace::ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) {
    return call(
        Op::ParseTableName,
        [&] {
            std::string rest = utf8(fullName);
            std::string parts[3];  // table, owner, database
            for (std::string& part : parts) {
                const std::size_t dot = rest.rfind('.');
                part = dot == std::string::npos ? rest : rest.substr(dot + 1);
                rest.resize(dot == std::string::npos ? 0 : dot);
            }
            HRESULT hr = give(table, bstr(parts[0]));
            if (SUCCEEDED(hr)) hr = give(owner, bstr(parts[1]));
            if (SUCCEEDED(hr)) hr = give(database, bstr(parts[2]));
            return hr;
        },
        [&] { *database = *owner = *table = nullptr; });
}

HRESULT Workspace::QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) {
    return call(
        Op::QualifyTableName,
        [&] {
            std::string name;
            for (BSTR part : {database, owner, table}) {
                if (SysStringLen(part) == 0) continue;
                if (!name.empty()) name += '.';
                name += utf8(part);
            }
            return give(fullName, bstr(name));
        },
        [&] { *fullName = nullptr; });
}

HRESULT Workspace::get_ConnectedDatabase(BSTR* database) {
    return call(
        Op::ConnectedDatabase, [&] { return give(database, bstr(connection_->database)); },
        [&] { *database = nullptr; });
}

HRESULT Workspace::get_ConnectedUser(BSTR* user) {
    return call(Op::ConnectedUser, [&] { return give(user, bstr(connection_->user)); }, [&] { *user = nullptr; });
}

}  // namespace memhost
