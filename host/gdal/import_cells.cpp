// Imports S-57 cells into a GeoPackage with GDAL's vector translator.
#include "host/gdal/errors.h"
#include "host/gdal/gdal_workspace.h"

#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <gdal_utils.h>

#include <array>
#include <memory>
#include <utility>

namespace embedded_host {

namespace {

struct DatasetCloser {
    void operator()(GDALDatasetH dataset) const noexcept { GDALClose(dataset); }
};
using DatasetHandle = std::unique_ptr<void, DatasetCloser>;

struct OptionsFree {
    void operator()(GDALVectorTranslateOptions* options) const noexcept { GDALVectorTranslateOptionsFree(options); }
};

// A file under another name until it is finished, so that a half-made dataset is never taken for a whole one.
class UnfinishedFile {
public:
    explicit UnfinishedFile(std::string finalName)
        : finalName_(std::move(finalName)), name_(finalName_ + ".partial.gpkg") {
        remove();
    }
    ~UnfinishedFile() {
        if (!finished_) remove();
    }
    UnfinishedFile(const UnfinishedFile&) = delete;
    UnfinishedFile& operator=(const UnfinishedFile&) = delete;

    const std::string& name() const noexcept { return name_; }
    void finish() {
        if (VSIRename(name_.c_str(), finalName_.c_str()) != 0)
            throw HostError(finalName_ + ": the finished import cannot be given this name");
        finished_ = true;
    }

private:
    void remove() const noexcept {
        VSIUnlink(name_.c_str());
        VSIUnlink((name_ + "-journal").c_str());
    }

    std::string finalName_;
    std::string name_;
    bool finished_ = false;
};

bool exists(const std::string& path) {
    VSIStatBufL status;
    return VSIStatL(path.c_str(), &status) == 0;
}

DatasetHandle openCell(const std::string& cell) {
    constexpr std::array drivers{"S57", static_cast<const char*>(nullptr)};
    constexpr std::array options{"UPDATES=APPLY",       "LIST_AS_STRING=ON", "SPLIT_MULTIPOINT=ON",
                                 "ADD_SOUNDG_DEPTH=ON", "RECODE_BY_DSSI=ON", static_cast<const char*>(nullptr)};
    const GdalErrors errors;
    DatasetHandle opened(GDALOpenEx(cell.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR,
                                    drivers.data(), options.data(), nullptr));
    // A cell that opens with complaints lacks something: an update file, or the tables that name its attributes.
    if (!opened || errors.any())
        throw HostError(cell + ": not an S-57 cell that can be read: " + errors.text("GDAL's S57 driver refused it"));
    return opened;
}

std::unique_ptr<GDALVectorTranslateOptions, OptionsFree> translateOptions(const char* layer, bool append) {
    std::vector<const char*> arguments{"-f", "GPKG", "-unsetFieldWidth", "-mapFieldType",
                                       "StringList=String,IntegerList=String"};
    if (append) arguments.insert(arguments.end(), {"-append", "-addfields"});
    arguments.insert(arguments.end(), {layer, nullptr});
    // GDAL copies the arguments; its interface only forgets to say const.
    return std::unique_ptr<GDALVectorTranslateOptions, OptionsFree>(
        GDALVectorTranslateOptionsNew(const_cast<char**>(arguments.data()), nullptr));
}

// Layer by layer: GDAL's own progress is silent for cells whose soundings are split.
void importLayer(const std::string& cell, GDALDatasetH source, const char* layer, const std::string& file,
                 DatasetHandle& target) {
    const GdalErrors errors;
    const auto options = translateOptions(layer, target != nullptr);
    if (!options) throw HostError(cell + ": " + errors.text("GDAL refused the import's options"));
    int usageError = FALSE;
    GDALDatasetH result =
        GDALVectorTranslate(target ? nullptr : file.c_str(), target.get(), 1, &source, options.get(), &usageError);
    if (result && !target) target.reset(result);
    if (!result || usageError || errors.any())
        throw HostError(cell + ": layer " + layer + " cannot be imported: " + errors.text("no reason given"));
}

void importCell(const std::string& cell, const std::string& file, DatasetHandle& target,
                const std::function<void(double)>& progress) {
    const DatasetHandle source = openCell(cell);
    const int layers = GDALDatasetGetLayerCount(source.get());
    for (int i = 0; i < layers; ++i) {
        progress(static_cast<double>(i) / layers);
        importLayer(cell, source.get(), OGR_L_GetName(GDALDatasetGetLayer(source.get(), i)), file, target);
    }
}

}  // namespace

std::vector<LayerInfo> importCells(const std::vector<std::string>& cells, const std::string& dataset,
                                   const std::function<void(double)>& progress) {
    if (cells.empty()) throw HostError(dataset + ": there are no cells to import");
    GDALAllRegister();
    if (exists(dataset)) throw HostError(dataset + ": exists already; an import makes a new dataset");
    UnfinishedFile file(dataset);
    {
        const GdalErrors errors;  // before the dataset: it may also complain when a failure closes it
        DatasetHandle target;
        const auto count = static_cast<double>(cells.size());
        for (std::size_t i = 0; i < cells.size(); ++i)
            importCell(cells[i], file.name(), target, [&](double done) {
                if (progress) progress((static_cast<double>(i) + done) / count);
            });
        target.reset();
        if (errors.any()) throw HostError(dataset + ": cannot be finished: " + errors.text({}));
    }
    file.finish();
    if (progress) progress(1.0);
    return GdalWorkspace::open(dataset, GdalWorkspace::Access::Read)->layers();
}

}  // namespace embedded_host
