// The workspace object.
#include "host/gdal/workspace_object.h"

#include "host/gdal/dataset.h"
#include "host/gdal/errors.h"
#include "host/gdal/feature_class.h"
#include "host/gdal/text.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <optional>
#include <utility>

namespace embedded_host {

namespace {

bool isOfType(OGRLayer& layer, DatasetType type) {
    return (layer.GetLayerDefn()->GetGeomFieldCount() > 0) == (type == datasetFeatureClass);
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

class WorkspaceObject final : public ComObject<HostCounter, IWorkspace, IWorkspace2, IFeatureWorkspace> {
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
            const GdalErrors errors;
            std::vector<std::string> names;
            for (OGRLayer* layer : dataset_->gdal().GetLayers())
                if (isOfType(*layer, type)) names.emplace_back(layer->GetName());
            *datasets = CComPtr<IEnumDataset>(new EnumDataset(dataset_, std::move(names))).Detach();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) override {
        if (!exists) return E_POINTER;
        *exists = VARIANT_FALSE;
        if (!isKnown(type)) return E_INVALIDARG;
        return atBoundary([&] {
            OGRLayer* layer = dataset_->findLayer(toUtf8(viewOf(name)));
            if (layer && isOfType(*layer, type)) *exists = VARIANT_TRUE;
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

}  // namespace

CComPtr<IWorkspace> workspaceOf(Dataset& dataset) {
    if (dataset.workspaceObject) return dataset.workspaceObject;
    return new WorkspaceObject(dataset.shared_from_this());
}

}  // namespace embedded_host
