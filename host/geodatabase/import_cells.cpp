// Imports S-57 cells into a GeoPackage: the files are read and found to be whole, then GDAL's vector translator copies
// them.
#include "host/geodatabase/import_cells.h"

#include "host/geodatabase/base/fatal_errors.h"
#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/geodatabase/new_file.h"
#include "host/geodatabase/s57/cell_files.h"

#include <cpl_error.h>
#include <cpl_vsi.h>
#include <gdal_priv.h>
#include <gdal_utils.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>

namespace embedded_host {

namespace {

constexpr const char* cellColumn = "DSNM";
constexpr const char* unknownClasses = "UNKNOWN_CLASS";

struct DatasetCloser {
    void operator()(GDALDatasetH dataset) const noexcept { GDALClose(dataset); }
};
using DatasetHandle = std::unique_ptr<void, DatasetCloser>;

struct OptionsFree {
    void operator()(GDALVectorTranslateOptions* options) const noexcept { GDALVectorTranslateOptionsFree(options); }
};

struct FeatureDestroyer {
    void operator()(OGRFeatureH feature) const noexcept { OGR_F_Destroy(feature); }
};
using FeatureHandle = std::unique_ptr<void, FeatureDestroyer>;

// What GDAL says while it reads a cell. Its reader warns where it leaves out geometry or instructions, which is a
// failure here; only attributes that its catalogue does not know for a class may be missing, and that is said.
class CellErrors {
public:
    CellErrors() {
        CPLPushErrorHandlerEx([](CPLErr kind, CPLErrorNum, const char* text) { collect(kind, text); }, this);
    }
    ~CellErrors() {
        CPLPopErrorHandler();
        CPLErrorReset();
    }
    CellErrors(const CellErrors&) = delete;
    CellErrors& operator=(const CellErrors&) = delete;

    bool any() const noexcept { return !failure_.empty(); }
    std::string text(std::string_view otherwise) const { return failure_.empty() ? std::string(otherwise) : failure_; }
    const std::vector<std::string>& notes() const noexcept { return notes_; }

private:
    static void collect(CPLErr kind, const char* text) noexcept {
        if (kind == CE_Fatal) tellOfFatalError(text);
        if (kind < CE_Warning || !text) return;
        auto* self = static_cast<CellErrors*>(CPLGetErrorHandlerUserData());
        try {
            const std::string line = shortLine(text);
            const bool note =
                kind == CE_Warning && (line.starts_with("Attributes ") || line.starts_with("Illegal feature "));
            if (note)
                self->notes_.push_back(line.substr(0, line.find(" No more warnings")));
            else if (self->failure_.empty())
                self->failure_ = line;
        } catch (...) {
            self->failure_ = "out of memory";  // short enough to need none
        }
    }

    std::string failure_;
    std::vector<std::string> notes_;
};

// The files of a cell as they were read, for GDAL: nobody can change them in between, and the updates are numbered from
// 1 although a base cell that was issued again starts later.
class FilesInMemory {
public:
    explicit FilesInMemory(const CellFiles& cell) : folder_("/vsimem/cell-" + std::to_string(count++)) {
        add(*cell.base, 0);
        for (std::size_t i = 0; i < cell.updates.size(); ++i) add(*cell.updates[i], i + 1);
    }
    ~FilesInMemory() {
        for (const std::string& path : paths_) VSIUnlink(path.c_str());
    }
    FilesInMemory(const FilesInMemory&) = delete;
    FilesInMemory& operator=(const FilesInMemory&) = delete;

    const std::string& base() const noexcept { return paths_.front(); }

private:
    void add(const S57File& file, std::size_t number) {
        const std::string digits = std::to_string(number);
        paths_.push_back(folder_ + "/cell." + std::string(3 - std::min<std::size_t>(digits.size(), 3), '0') + digits);
        // GDAL only reads; its interface forgets to say const.
        auto* bytes = reinterpret_cast<GByte*>(const_cast<char*>(file.bytes().data()));
        VSILFILE* opened = VSIFileFromMemBuffer(paths_.back().c_str(), bytes, file.bytes().size(), FALSE);
        if (!opened) throw std::bad_alloc();
        VSIFCloseL(opened);
    }

    static inline std::atomic<std::uint64_t> count = 0;
    std::string folder_;
    std::vector<std::string> paths_;
};

// The one import of a dataset, cell by cell.
class Import {
public:
    Import(const std::string& file, const std::function<void(const std::string&)>& message)
        : file_(file), message_(message) {}

    void add(const std::string& path, const std::function<void(double)>& progress);
    void close() { target_.reset(); }

private:
    DatasetHandle open(const std::string& path, const FilesInMemory& files) const;
    void expectRead(const std::string& path, GDALDatasetH source, const CellFiles& cell) const;
    std::size_t addLayer(const std::string& path, GDALDatasetH source, const std::string& layer, const CellFiles& cell);
    std::size_t nameCell(const std::string& table, const std::string& newRows, const CellFiles& cell);
    void applyNational(const CellFiles& cell);
    void tellNotes(const std::string& cell, const CellErrors& errors);
    void execute(const std::string& sql);
    std::string answer(const std::string& sql);

    const std::string& file_;
    const std::function<void(const std::string&)>& message_;
    DatasetHandle target_;
    std::map<std::string, std::string> cells_;  // path by name
    std::vector<std::string> notes_;
};

// What a table may be called: the names of cartographic classes begin with a dollar sign.
std::string tableOf(const std::string& layer) {
    if (layer == "Generic") return unknownClasses;
    return layer.starts_with('$') ? "CARTO_" + layer.substr(1) : layer;
}

std::unique_ptr<GDALVectorTranslateOptions, OptionsFree> translateOptions(const std::string& layer, bool append,
                                                                          bool fresh) {
    const std::string table = tableOf(layer);
    const std::string title = "IDENTIFIER=" + layer;
    std::vector<const char*> arguments{
        "-f",   "GPKG",       "-unsetFieldWidth", "-mapFieldType", "StringList=String,IntegerList=String",
        "-nln", table.c_str()};
    if (append) arguments.insert(arguments.end(), {"-append", "-addfields"});
    if (fresh && layer.starts_with('$')) arguments.insert(arguments.end(), {"-lco", title.c_str()});
    arguments.insert(arguments.end(), {layer.c_str(), nullptr});
    // GDAL copies the arguments; its interface only forgets to say const.
    return std::unique_ptr<GDALVectorTranslateOptions, OptionsFree>(
        GDALVectorTranslateOptionsNew(const_cast<char**>(arguments.data()), nullptr));
}

DatasetHandle Import::open(const std::string& path, const FilesInMemory& files) const {
    constexpr std::array drivers{"S57", static_cast<const char*>(nullptr)};
    constexpr std::array options{"UPDATES=APPLY",       "LIST_AS_STRING=ON", "SPLIT_MULTIPOINT=ON",
                                 "ADD_SOUNDG_DEPTH=ON", "RECODE_BY_DSSI=ON", static_cast<const char*>(nullptr)};
    const CellErrors errors;
    DatasetHandle opened(GDALOpenEx(files.base().c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY | GDAL_OF_VERBOSE_ERROR,
                                    drivers.data(), options.data(), nullptr));
    // A cell that opens with complaints lacks something: an update, or the tables that name its attributes.
    if (!opened || errors.any())
        throw HostError(path + ": not an S-57 cell that can be read: " + errors.text("GDAL's S57 driver refused it"));
    return opened;
}

// GDAL passes over an update that it does not like: what it has read tells.
void Import::expectRead(const std::string& path, GDALDatasetH source, const CellFiles& cell) const {
    OGRLayerH layer = GDALDatasetGetLayerByName(source, "DSID");
    if (!layer) throw HostError(path + ": GDAL's S57 driver does not tell which cell it has read");
    OGR_L_ResetReading(layer);
    const FeatureHandle row(OGR_L_GetNextFeature(layer));
    const auto value = [&](const char* field) -> std::string {
        const int index = row ? OGR_F_GetFieldIndex(row.get(), field) : -1;
        return index < 0 ? std::string() : OGR_F_GetFieldAsString(row.get(), index);
    };
    const CellIdentification& expected = cell.identification;
    if (value("DSID_DSNM") != expected.name || value("DSID_EDTN") != expected.edition ||
        value("DSID_UPDN") != std::to_string(expected.update) || value("DSID_ISDT") != expected.issued)
        throw HostError(path + ": GDAL's S57 driver has read " + value("DSID_DSNM") + ", edition " +
                        value("DSID_EDTN") + ", update " + value("DSID_UPDN") + " of " + value("DSID_ISDT") +
                        " instead of " + expected.name + ", edition " + expected.edition + ", update " +
                        std::to_string(expected.update) + " of " + expected.issued);
    OGR_L_ResetReading(layer);
}

void Import::execute(const std::string& sql) {
    GDALDatasetReleaseResultSet(target_.get(), GDALDatasetExecuteSQL(target_.get(), sql.c_str(), nullptr, nullptr));
}

std::string Import::answer(const std::string& sql) {
    OGRLayerH result = GDALDatasetExecuteSQL(target_.get(), sql.c_str(), nullptr, nullptr);
    if (!result) return {};
    std::string text;
    {
        const FeatureHandle row(OGR_L_GetNextFeature(result));
        if (row) text = OGR_F_GetFieldAsString(row.get(), 0);
    }
    GDALDatasetReleaseResultSet(target_.get(), result);
    return text;
}

// Writes the cell's name into the rows that have just come. Returns how many features they are.
std::size_t Import::nameCell(const std::string& table, const std::string& newRows, const CellFiles& cell) {
    OGRLayerH layer = GDALDatasetGetLayerByName(target_.get(), table.c_str());
    if (!layer) throw HostError("the table was not made");
    if (OGR_FD_GetFieldIndex(OGR_L_GetLayerDefn(layer), cellColumn) < 0) {
        const std::unique_ptr<void, decltype(&OGR_Fld_Destroy)> field(OGR_Fld_Create(cellColumn, OFTString),
                                                                      &OGR_Fld_Destroy);
        if (OGR_L_CreateField(layer, static_cast<OGRFieldDefnH>(field.get()), FALSE) != OGRERR_NONE)
            throw HostError("the cell's name has no column");
    }
    OGR_L_SyncToDisk(layer);
    const std::string rows = " FROM " + quotedName(table) + newRows;
    const std::string found = answer("SELECT count(DISTINCT RCID)" + rows);
    if (table == unknownClasses && found != "0")
        message_(cell.identification.name + ": " + found + (found == "1" ? " feature" : " features") +
                 " of object classes that no catalogue has (OBJL " +
                 answer("SELECT group_concat(OBJL, ', ') FROM (SELECT DISTINCT OBJL" + rows + " ORDER BY OBJL)") +
                 "): imported into the layer " + table + ", without attributes");
    execute("UPDATE " + quotedName(table) + " SET " + quotedName(cellColumn) + " = " +
            quotedText(cell.identification.name) + newRows);
    return static_cast<std::size_t>(std::strtoull(found.c_str(), nullptr, 10));
}

// Layer by layer: GDAL's own progress is silent for cells whose soundings are split.
std::size_t Import::addLayer(const std::string& path, GDALDatasetH source, const std::string& layer,
                             const CellFiles& cell) {
    const CellErrors errors;
    const std::string table = tableOf(layer);
    const bool fresh = !target_ || !GDALDatasetGetLayerByName(target_.get(), table.c_str());
    const auto fail = [&](std::string_view otherwise) {
        throw HostError(path + ": layer " + layer + " cannot be imported: " + errors.text(otherwise));
    };
    const std::string last = fresh ? std::string() : answer("SELECT max(rowid) FROM " + quotedName(table));
    const std::string newRows = " WHERE rowid > " + (last.empty() ? "0" : last);
    const auto options = translateOptions(layer, target_ != nullptr, fresh);
    if (!options) fail("GDAL refused the import's options");
    int usageError = FALSE;
    GDALDatasetH result =
        GDALVectorTranslate(target_ ? nullptr : file_.c_str(), target_.get(), 1, &source, options.get(), &usageError);
    if (result && !target_) {
        target_.reset(result);
        // Nobody else knows the file: no lock of it is worth a wait, which every statement would begin anew.
        if (auto* const connection =
                static_cast<sqlite3*>(GDALDataset::FromHandle(target_.get())->GetInternalHandle("SQLITE_HANDLE")))
            sqlite3_busy_timeout(connection, 0);
    }
    if (!result || usageError || errors.any()) fail("no reason given");
    std::size_t features = 0;
    try {
        if (layer != "DSID") features = nameCell(table, newRows, cell);
    } catch (const HostError& error) {
        fail(error.what());
    }
    if (errors.any()) fail({});
    if (fresh && layer.starts_with('$'))
        message_(cell.identification.name + ": a table cannot be called " + layer + ": imported as " + table);
    tellNotes(cell.identification.name, errors);
    return features;
}

void Import::tellNotes(const std::string& cell, const CellErrors& errors) {
    for (const std::string& note : errors.notes()) {
        std::string line = cell;
        line.append(": ").append(note);
        if (std::ranges::find(notes_, line) != notes_.end()) continue;
        message_(line);
        notes_.push_back(std::move(line));
    }
}

void Import::applyNational(const CellFiles& cell) {
    std::map<std::pair<std::uint32_t, std::string>, const NationalChange*> last;
    for (const NationalChange& change : cell.nationalChanges) last[{change.feature, change.attribute}] = &change;
    if (last.empty()) return;
    const CellErrors errors;
    for (int i = 0; i < GDALDatasetGetLayerCount(target_.get()); ++i) {
        OGRLayerH layer = GDALDatasetGetLayer(target_.get(), i);
        const std::string table = OGR_L_GetName(layer);
        for (const auto& [key, change] : last) {
            if (OGR_FD_GetFieldIndex(OGR_L_GetLayerDefn(layer), change->attribute) < 0) continue;
            execute("UPDATE " + quotedName(table) + " SET " + quotedName(change->attribute) + " = " +
                    (change->value ? quotedText(*change->value) : "NULL") +
                    " WHERE RCID = " + std::to_string(change->feature) + " AND " + quotedName(cellColumn) + " = " +
                    quotedText(cell.identification.name));
        }
    }
    if (errors.any()) throw HostError(cell.base->path() + ": national texts cannot be changed: " + errors.text({}));
}

void Import::add(const std::string& path, const std::function<void(double)>& progress) {
    const CellFiles cell = readCellFiles(path);
    const auto [known, added] = cells_.emplace(cell.stem(), path);
    if (!added)
        throw HostError(path + ": the cell " + cell.stem() + " is in this import already, from " + known->second);
    const FilesInMemory files(cell);
    const DatasetHandle source = open(path, files);
    expectRead(path, source.get(), cell);
    const int layers = GDALDatasetGetLayerCount(source.get());
    std::size_t features = 0;
    for (int i = 0; i < layers; ++i) {
        progress(static_cast<double>(i) / layers);
        features += addLayer(path, source.get(), OGR_L_GetName(GDALDatasetGetLayer(source.get(), i)), cell);
    }
    if (features != cell.features)
        throw HostError(path + ": " + std::to_string(features) + " of its " + std::to_string(cell.features) +
                        " features were read by GDAL's S57 driver");
    applyNational(cell);
}

}  // namespace

void makeOfCells(const std::vector<std::string>& cells, const std::string& file,
                 const std::function<void(double)>& progress, const std::function<void(const std::string&)>& message) {
    GDALAllRegister();
    const GdalErrors errors;  // before the dataset: it may also complain when a failure closes it
    Import import(file, message);
    const auto count = static_cast<double>(cells.size());
    for (std::size_t i = 0; i < cells.size(); ++i)
        import.add(cells[i], [&](double done) { progress((static_cast<double>(i) + done) / count); });
    import.close();
    if (errors.any()) throw HostError("the dataset cannot be finished: " + errors.text({}));
}

std::vector<LayerInfo> importCells(const std::vector<std::string>& cells, const std::string& dataset,
                                   const std::function<void(double)>& progress,
                                   const std::function<void(const std::string&)>& message) {
    if (cells.empty()) throw HostError(dataset + ": there are no cells to import");
    NewFile file(dataset);
    const auto share = [&](double done) {
        if (progress) progress(done);
    };
    makeOfCells(cells, file.path(), share, [&](const std::string& text) {
        if (message) message(text);
    });
    file.finish();
    share(1.0);
    return GdalWorkspace::open(dataset, GdalWorkspace::Access::Read)->layers();
}

}  // namespace embedded_host
