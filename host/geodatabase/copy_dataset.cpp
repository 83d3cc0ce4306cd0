// Copies a dataset into a GeoPackage with GDAL's vector translator, a layer at a time.
#include "host/geodatabase/copy_dataset.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/gdal_open.h"
#include "host/geodatabase/import_cells.h"
#include "host/geodatabase/s57/s57_records.h"
#include "host/host_error.h"

#include <gdal_priv.h>
#include <gdal_utils.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

namespace embedded_host {

namespace {

struct OptionsFree {
    void operator()(GDALVectorTranslateOptions* options) const noexcept { GDALVectorTranslateOptionsFree(options); }
};

std::vector<const char*> pointers(const std::vector<std::string>& texts) {
    std::vector<const char*> all;
    all.reserve(texts.size() + 1);
    for (const std::string& text : texts) all.push_back(text.c_str());
    all.push_back(nullptr);
    return all;
}

GdalHandle openInput(const std::string& input, std::vector<std::string> openOptions) {
    GDALAllRegister();
    const GdalErrors errors;
    GDALDriver* const driver =
        GDALDriver::FromHandle(GDALIdentifyDriverEx(input.c_str(), GDAL_OF_VECTOR, nullptr, nullptr));
    // Tables that a GeoPackage does not list among its contents are tables all the same.
    if (driver && std::string_view(driver->GetDescription()) == "GPKG") openOptions.emplace_back("LIST_ALL_TABLES=YES");
    GdalHandle opened(GDALDataset::Open(input.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR,
                                        nullptr, pointers(openOptions).data(), nullptr));
    if (!opened || errors.any())
        throw HostError(whyNotOpened(input, Access::Read, errors.text("no such dataset, or not one that GDAL knows")));
    if (opened->GetLayerCount() == 0) throw HostError(input + ": has no layers");
    return opened;
}

// What GDAL calls while it copies a layer. Exceptions wait until its functions have returned.
struct Progress {
    const std::function<void(double)>& tell;
    double begun;
    double share;
    std::exception_ptr thrown = nullptr;

    static int CPL_STDCALL onProgress(double done, const char* /*message*/, void* self) {
        auto* const progress = static_cast<Progress*>(self);
        try {
            progress->tell(progress->begun + (done * progress->share));
            return TRUE;
        } catch (...) {
            progress->thrown = std::current_exception();
            return FALSE;
        }
    }
};

bool isList(OGRFieldType type) noexcept {
    return type == OFTStringList || type == OFTIntegerList || type == OFTInteger64List || type == OFTRealList;
}

// A name for a column of the GeoPackage's own that no field of the layer has.
std::string freeName(const OGRFeatureDefn& definition, std::string name) {
    while (definition.GetFieldIndex(name.c_str()) >= 0) name.insert(0, "gpkg_");
    return name;
}

class Copy {
public:
    Copy(const std::string& input, const std::string& file) : input_(input), file_(file) {}

    void add(GDALDataset& source, OGRLayer& layer, Progress& progress);
    void close();

private:
    [[noreturn]] void fail(const std::string& layer, const std::string& why) const {
        throw HostError(input_ + ": layer " + layer + " cannot be copied: " + why);
    }
    void joinLists(const OGRFeatureDefn& definition, const std::string& table);
    bool saysWhatColumnsAre();
    void execute(const std::string& sql);

    const std::string& input_;
    const std::string& file_;
    GdalHandle target_;
};

void Copy::add(GDALDataset& source, OGRLayer& layer, Progress& progress) {
    const OGRFeatureDefn& definition = *layer.GetLayerDefn();
    const std::string name = layer.GetName();
    std::vector<std::string> arguments{"-f", "GPKG", "-nln", name};
    if (target_) arguments.emplace_back("-update");
    // A field that is called as the key or the geometry would be is a field all the same.
    if (const std::string_view key = layer.GetFIDColumn(); key.empty() || definition.GetFieldIndex("fid") >= 0)
        arguments.insert(arguments.end(), {"-lco", "FID=" + freeName(definition, "fid")});
    arguments.insert(arguments.end(), {"-lco", "GEOMETRY_NAME=" + freeName(definition, "geom"), name});
    const GdalErrors errors;
    const std::unique_ptr<GDALVectorTranslateOptions, OptionsFree> options(GDALVectorTranslateOptionsNew(
        const_cast<char**>(pointers(arguments).data()), nullptr));  // GDAL copies them, and forgets to say const
    if (!options) fail(name, errors.text("GDAL refused the options"));
    GDALVectorTranslateOptionsSetProgress(options.get(), Progress::onProgress, &progress);
    GDALDatasetH from = GDALDataset::ToHandle(&source);
    int usageError = FALSE;
    GDALDatasetH made = GDALVectorTranslate(target_ ? nullptr : file_.c_str(), GDALDataset::ToHandle(target_.get()), 1,
                                            &from, options.get(), &usageError);
    if (made && !target_) target_.reset(GDALDataset::FromHandle(made));
    if (progress.thrown) std::rethrow_exception(progress.thrown);
    if (!made || usageError || errors.any()) fail(name, errors.text("no reason given"));
    joinLists(definition, name);
    if (errors.any()) fail(name, errors.text({}));
}

// GDAL writes lists as JSON, or before 3.7 as "(2:a,b)".
void Copy::joinLists(const OGRFeatureDefn& definition, const std::string& table) {
    for (int i = 0; i < definition.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *definition.GetFieldDefn(i);
        if (!isList(field.GetType())) continue;
        const std::string column = quotedName(field.GetNameRef());
        std::string statement = "UPDATE " + quotedName(table) + " SET @ = CASE WHEN json_valid(@) " +
                                "THEN (SELECT group_concat(value, ',') FROM json_each(@)) " +
                                "ELSE substr(@, instr(@, ':') + 1, length(@) - instr(@, ':') - 1) END " +
                                "WHERE @ IS NOT NULL";
        for (std::size_t at = 0; (at = statement.find('@', at)) != std::string::npos; at += column.size())
            statement.replace(at, 1, column);
        execute(statement);
        if (!saysWhatColumnsAre()) continue;
        execute("DELETE FROM gpkg_data_columns WHERE table_name = " + quotedText(table) +
                " AND column_name = " + quotedText(field.GetNameRef()) + " AND mime_type = 'application/json'");
    }
}

bool Copy::saysWhatColumnsAre() {
    OGRLayer* const tables =
        target_->ExecuteSQL("SELECT 1 FROM sqlite_master WHERE name = 'gpkg_data_columns'", nullptr, nullptr);
    if (!tables) return false;
    const bool isThere = tables->GetFeatureCount() > 0;
    target_->ReleaseResultSet(tables);
    return isThere;
}

void Copy::execute(const std::string& sql) {
    if (OGRLayer* const result = target_->ExecuteSQL(sql.c_str(), nullptr, nullptr)) target_->ReleaseResultSet(result);
}

void Copy::close() {
    const GdalErrors errors;
    target_.reset();
    if (errors.any()) throw HostError(input_ + ": the copy cannot be finished: " + errors.text({}));
}

bool isCell(const std::string& input) {
    const GdalErrors errors;  // of an archive, say
    return beginsAsCell(input);
}

// GDAL wants to be told that a file is an archive.
std::string asGdalNames(const std::string& input) {
    std::error_code error;
    const std::filesystem::path path(input);
    const bool isArchive = path.extension() == ".zip" && std::filesystem::is_regular_file(path, error);
    return isArchive ? "/vsizip/" + std::filesystem::absolute(path).string() : input;
}

}  // namespace

void copyDataset(const std::string& input, const std::vector<std::string>& openOptions, const std::string& file,
                 const std::function<void(double)>& progress, const std::function<void(const std::string&)>& message) {
    if (isCell(input)) return makeOfCells({input}, file, progress, message);
    const GdalHandle source = openInput(asGdalNames(input), openOptions);
    Copy copy(input, file);
    const int layers = source->GetLayerCount();
    for (int i = 0; i < layers; ++i) {
        Progress share{progress, static_cast<double>(i) / layers, 1.0 / layers};
        copy.add(*source, *source->GetLayer(i), share);
    }
    copy.close();
}

}  // namespace embedded_host
