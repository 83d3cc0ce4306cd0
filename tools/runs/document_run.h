// DocumentRun: a document's runs over layers of an open dataset.
#pragma once

#include "layer_work.h"

#include <atomic>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

/// Layers are independent: one that fails is rolled back and the next one runs.
class DocumentRun {
public:
    /// \param document loaded; its DOM is let go. \param results get the layers' results. \param stop ends the run
    /// when it turns true: the layer is rolled back. All must outlive this.
    DocumentRun(const RunArguments& arguments, const LayerWork& work, Console& console, Document& document,
                embedded_host::GdalWorkspace& workspace, std::vector<LayerResult>& results,
                const std::atomic<bool>& stop);

    /// Chooses the layers. All that can be refused is refused here, before a layer changes. \throws HostError
    void prepare();
    const std::vector<embedded_host::LayerInfo>& layers() const noexcept { return layers_; }
    /// The field with a layer's subtypes, where an option names one.
    std::optional<std::string> subtypeField(const embedded_host::LayerInfo& layer) const;
    /// Runs the work over the layers.
    ExitStatus run();

private:
    bool stopped() const noexcept { return stop_.load(std::memory_order_relaxed); }
    void chooseSubtypeFields(const std::vector<embedded_host::LayerInfo>& available);
    CComPtr<IFeatureClass> openLayer(const embedded_host::LayerInfo& layer) const;
    ExitStatus runLayer(const embedded_host::LayerInfo& layer);
    ExitStatus runInTransaction(const embedded_host::LayerInfo& layer, LayerResult& result);
    ExitStatus runRows(IFeatureClass* featureClass, ISelectionSet* selection, LayerResult& result);
    bool callLibrary(const LayerRun& run) const;
    void tellWhy(const embedded_host::LayerInfo& layer, LayerResult& result);

    const RunArguments& arguments_;
    const LayerWork& work_;
    MessageLog::Keep keep_;
    Console& console_;
    Document& document_;
    embedded_host::GdalWorkspace& workspace_;
    std::vector<LayerResult>& results_;
    const std::atomic<bool>& stop_;
    std::vector<embedded_host::LayerInfo> layers_;
    std::map<std::string, std::string> subtypeFields_;  // by layer, where an option names one
};

}  // namespace cxml
