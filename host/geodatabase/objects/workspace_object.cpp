// The workspace object.
#include "host/geodatabase/objects/workspace_object.h"

#include "host/com_object.h"
#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/table.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/objects/boundary.h"
#include "host/geodatabase/objects/feature_class.h"
#include "host/geodatabase/objects/live_objects.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

namespace {

bool isOfType(const Dataset::Entry& entry, DatasetType type) {
    return entry.spatial == (type == datasetFeatureClass);
}

bool isKnown(DatasetType type) {
    return type == datasetFeatureClass || type == datasetTable;
}

CComPtr<FeatureClass> openClass(Dataset& dataset, const std::string& layer) {
    return new FeatureClass(dataset.table(layer), std::nullopt);
}

class EnumDataset final : public ComObject<HostCounter, IEnumDataset> {
public:
    EnumDataset(std::shared_ptr<Dataset> dataset, std::vector<std::string> names)
        : dataset_(std::move(dataset)), names_(std::move(names)) {}

    HRESULT STDMETHODCALLTYPE Next(IDataset** dataset) override {
        if (!dataset) return E_POINTER;
        *dataset = nullptr;
        return atBoundary([&] {
            if (position_ == names_.size()) return S_FALSE;
            *dataset = CComPtr<IDataset>(openClass(*dataset_, names_[position_++])).Detach();
            return S_OK;
        });
    }

private:
    std::shared_ptr<Dataset> dataset_;
    std::vector<std::string> names_;
    std::size_t position_ = 0;
};

template <class... More>
class WorkspaceObject : public ComObject<HostCounter, IWorkspace, IWorkspace2, IFeatureWorkspace, More...> {
public:
    explicit WorkspaceObject(std::shared_ptr<Dataset> dataset) : dataset_(std::move(dataset)) {
        dataset_->workspaceObject = this;
    }
    ~WorkspaceObject() override { dataset_->workspaceObject = nullptr; }

    HRESULT STDMETHODCALLTYPE get_Type(WorkspaceType* type) override {
        if (!type) return E_POINTER;
        *type = dataset_->type();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE get_Datasets(DatasetType type, IEnumDataset** datasets) override {
        if (!datasets) return E_POINTER;
        *datasets = nullptr;
        if (!isKnown(type)) return E_INVALIDARG;
        return atBoundary([&] {
            std::vector<std::string> names;
            for (const Dataset::Entry& entry : dataset_->entries())
                if (isOfType(entry, type)) names.push_back(entry.name);
            *datasets = CComPtr<IEnumDataset>(new EnumDataset(dataset_, std::move(names))).Detach();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) override {
        if (!exists) return E_POINTER;
        *exists = VARIANT_FALSE;
        if (!isKnown(type)) return E_INVALIDARG;
        return atBoundary([&] {
            const std::optional<Dataset::Entry> entry = dataset_->find(toUtf8(viewOf(name)));
            if (entry && isOfType(*entry, type)) *exists = VARIANT_TRUE;
            return S_OK;
        });
    }

    // Tables with geometry are tables too; without geometry there is no feature class.
    HRESULT STDMETHODCALLTYPE OpenTable(BSTR name, ITable** table) override {
        if (!table) return E_POINTER;
        *table = nullptr;
        return atBoundary([&] {
            *table = CComPtr<ITable>(openClass(*dataset_, toUtf8(viewOf(name)))).Detach();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE OpenFeatureClass(BSTR name, IFeatureClass** featureClass) override {
        if (!featureClass) return E_POINTER;
        *featureClass = nullptr;
        return atBoundary([&] {
            const std::string layer = toUtf8(viewOf(name));
            const std::shared_ptr<Table> table = dataset_->table(layer);
            if (!table->isSpatial())
                throw HostError(table->title() + ": a table without geometry, not a feature class");
            *featureClass = CComPtr<IFeatureClass>(openClass(*dataset_, layer)).Detach();
            return S_OK;
        });
    }

private:
    std::shared_ptr<Dataset> dataset_;
};

using FileWorkspace = WorkspaceObject<>;

// The connection to a database server.
class ServerWorkspace final : public WorkspaceObject<IDatabaseConnectionInfo, ISQLSyntax> {
public:
    ServerWorkspace(std::shared_ptr<Dataset> dataset, DatabaseServer& server)
        : WorkspaceObject(std::move(dataset)), server_(server) {}

    HRESULT STDMETHODCALLTYPE get_ConnectedDatabase(BSTR* database) override {
        return answer(database, [&] { return server_.connectedDatabase(); });
    }
    HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR* user) override {
        return answer(user, [&] { return server_.connectedUser(); });
    }
    HRESULT STDMETHODCALLTYPE ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) override {
        if (!database || !owner || !table) return E_POINTER;
        *database = *owner = *table = nullptr;
        return atBoundary([&] {
            const TableName parts = server_.parseName(toUtf8(viewOf(fullName)));
            CComBSTR databasePart;
            CComBSTR ownerPart;
            databasePart.Attach(toBstr(parts.database));
            ownerPart.Attach(toBstr(parts.owner));
            *table = toBstr(parts.table);
            *database = databasePart.Detach();
            *owner = ownerPart.Detach();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) override {
        return answer(fullName, [&] {
            return server_.qualifiedName({toUtf8(viewOf(database)), toUtf8(viewOf(owner)), toUtf8(viewOf(table))});
        });
    }

private:
    template <class Text>
    static HRESULT answer(BSTR* value, Text&& text) noexcept {
        if (!value) return E_POINTER;
        *value = nullptr;
        return atBoundary([&] {
            *value = toBstr(text());
            return S_OK;
        });
    }

    DatabaseServer& server_;  // the dataset, which the base keeps alive
};

}  // namespace

CComPtr<IWorkspace> workspaceOf(Dataset& dataset) {
    if (dataset.workspaceObject) return dataset.workspaceObject;
    if (DatabaseServer* server = dataset.server()) return new ServerWorkspace(dataset.shared_from_this(), *server);
    return new FileWorkspace(dataset.shared_from_this());
}

}  // namespace embedded_host
