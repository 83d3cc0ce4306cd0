// Opening, closing and transactions of a dataset that GDAL opens.
#include "host/geodatabase/gdal/gdal_dataset.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/gdal_table.h"
#include "host/geodatabase/s57/s57_records.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace embedded_host {

namespace {

bool isOneOf(std::string_view driver, std::initializer_list<std::string_view> drivers) {
    return std::ranges::find(drivers, driver) != drivers.end();
}

bool isSqliteFile(GDALDataset& gdal) {
    return isOneOf(gdal.GetDriverName(), {"GPKG", "SQLite"});
}

void registerDrivers() {
    const LibraryCall call("GDAL");
    // SQLite counts the memory that it uses, under a lock. Nobody asks for that, and it makes updates a tenth slower.
    // The setting is refused, which does no harm, once the process uses SQLite.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    GDALAllRegister();
    // GDAL's cache of a thread is entered when it is first used; without memory the C library would abort then.
    const OGRSpatialReference first;
}

// As a shell reads it.
std::string shellWord(const std::string& text) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:@%,=";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
    std::string word(1, '\'');
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word += '\'';
}

// While GDAL opens a file it has every statement wait anew: a little each, then all is tried again.
class ShortWaits {
public:
    explicit ShortWaits(const LockWait& wait) {
        constexpr std::chrono::milliseconds most(100);
        CPLSetThreadLocalConfigOption(option, std::to_string(wait.left(most).count()).c_str());
    }
    ~ShortWaits() { CPLSetThreadLocalConfigOption(option, nullptr); }
    ShortWaits(const ShortWaits&) = delete;
    ShortWaits& operator=(const ShortWaits&) = delete;

private:
    static constexpr const char* option = "SQLITE_BUSY_TIMEOUT";
};

// Null with what was said when anything went wrong: a dataset that was read in part would seem to lack the rest.
std::unique_ptr<GDALDataset> tryToOpen(const std::string& name, Dataset::Access access, std::string& failure) {
    const GdalErrors errors;
    // Not left to GDAL: what it takes for a cell differs between its releases.
    if (access == Dataset::Access::Update && beginsAsCell(name))
        throw HostError(name +
                        ": an S-57 cell, whose rows cannot be written; import it into a GeoPackage: cxml import " +
                        shellWord(name) + " chart.gpkg");
    const unsigned flags = GDAL_OF_VECTOR | GDAL_OF_VERBOSE_ERROR |
                           static_cast<unsigned>(access == Dataset::Access::Update ? GDAL_OF_UPDATE : GDAL_OF_READONLY);
    // A GeoPackage that cannot be read now is no other kind of file.
    GDALDriver* const driver =
        GDALDriver::FromHandle(GDALIdentifyDriverEx(name.c_str(), GDAL_OF_VECTOR, nullptr, nullptr));
    const char* const known = driver ? driver->GetDescription() : "";
    const std::array drivers{known, static_cast<const char*>(nullptr)};
    // Tables that a GeoPackage does not list among its contents are tables all the same.
    constexpr std::array options{"LIST_ALL_TABLES=YES", static_cast<const char*>(nullptr)};
    std::unique_ptr<GDALDataset> gdal(GDALDataset::Open(name.c_str(), flags,
                                                        isOneOf(known, {"GPKG", "SQLite"}) ? drivers.data() : nullptr,
                                                        isOneOf(known, {"GPKG"}) ? options.data() : nullptr, nullptr));
    if (gdal && !errors.any()) return gdal;
    failure = errors.text("no such dataset, or not one that GDAL knows");
    return nullptr;
}

bool tellsOfALock(const std::string& failure) {
    return failure.find("is locked") != std::string::npos;
}

[[noreturn]] void failToOpen(const std::string& name, Dataset::Access access, const std::string& why) {
    const char* const what =
        access == Dataset::Access::Update ? ": cannot be opened for update: " : ": cannot be opened: ";
    throw HostError(name + what + why);
}

std::unique_ptr<GDALDataset> openGdal(const std::string& name, Dataset::Access access, LockWait& wait) {
    registerDrivers();
    for (int pauses = 0;; ++pauses) {
        const ShortWaits shortWaits(wait);
        const auto start = LockWait::Clock::now();
        std::string failure;
        if (std::unique_ptr<GDALDataset> gdal = tryToOpen(name, access, failure)) return gdal;
        wait.spend(LockWait::Clock::now() - start);
        if (!tellsOfALock(failure) || !wait.pause(pauses)) failToOpen(name, access, failure);
    }
}

}  // namespace

void executeSql(GDALDataset& gdal, const std::string& sql) {
    const GdalErrors errors;
    if (OGRLayer* result = gdal.ExecuteSQL(sql.c_str(), nullptr, nullptr)) gdal.ReleaseResultSet(result);
    if (errors.any()) throw HostError(errors.text({}));
}

void GdalDataset::Closer::operator()(GDALDataset* dataset) const noexcept {
    const GdalErrors errors;
    delete dataset;
}

GdalDataset::GdalDataset(const std::string& name, Access access, const WorkspaceOptions& options)
    : Dataset(name, access),
      lockWait_(options.lockTimeout, options.stop),
      gdal_(openGdal(name, access, lockWait_).release()) {
    if (isSqliteFile(*gdal_)) sqlite_ = static_cast<sqlite3*>(gdal_->GetInternalHandle("SQLITE_HANDLE"));
    // Text between double quotes is a name, never a text: a misspelt field is an error, not a comparison with its name.
    if (sqlite_) sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    if (sqlite_) clauseGuard_.watch(sqlite_);
    if (sqlite_) file_ = fileNow();
    if (sqlite_) lockWait_.watch(sqlite_);
    if (sqlite_ && options.stop) endStatementsOn(*options.stop);
    if (access == Access::Read) return;
    // Without real transactions a kill in mid-run would leave a half-written dataset.
    if (!sqlite_)
        throw HostError(name + ": cannot be opened for update: " + gdal_->GetDriverName() +
                        " datasets have no transactions; copy it into a GeoPackage: ogr2ogr -f GPKG chart.gpkg " +
                        shellWord(name));
    if (sqlite_ && sqlite3_db_readonly(sqlite_, "main") == 1)
        throw HostError(name + ": cannot be opened for update: the file is read-only");
}

std::optional<GdalDataset::FileIdentity> GdalDataset::fileNow() const {
    const char* const name = sqlite3_db_filename(sqlite_, "main");
    struct stat status{};
    if (!name || stat(name, &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

GdalDataset::~GdalDataset() {
    rollback();
}

void GdalDataset::endStatementsOn(const std::atomic<bool>& stop) noexcept {
    constexpr int steps = 10'000;  // of SQLite's machine: some tenths of a millisecond
    sqlite3_progress_handler(
        sqlite_, steps,
        [](void* flag) { return static_cast<const std::atomic<bool>*>(flag)->load(std::memory_order_relaxed) ? 1 : 0; },
        const_cast<std::atomic<bool>*>(&stop));
}

WorkspaceType GdalDataset::type() const noexcept {
    return sqlite_ || isSqliteFile(*gdal_) ? workspaceLocalDatabase : workspaceFileSystem;
}

// GDAL takes metadata that it fails to read for none, and says nothing.
void GdalDataset::checkLastStatement() const {
    if (!sqlite_) return;
    constexpr std::array failures{SQLITE_IOERR,    SQLITE_BUSY,    SQLITE_LOCKED,
                                  SQLITE_PROTOCOL, SQLITE_CORRUPT, SQLITE_NOMEM};
    const int status = sqlite3_errcode(sqlite_) & 0xFF;
    if (std::ranges::find(failures, status) != failures.end()) throw HostError(sqlite3_errmsg(sqlite_));
}

template <class Question>
auto GdalDataset::described(Question&& question) {
    try {
        const GdalErrors errors;
        if (sqlite_) sqlite3_exec(sqlite_, "", nullptr, nullptr, nullptr);  // forgets how an earlier statement ended
        auto answer = question();
        if (errors.any()) throw HostError(errors.text({}));
        checkLastStatement();
        return answer;
    } catch (const HostError& error) {
        const std::string text = name() + ": cannot be read: " + error.what();
        noteFailure(text);
        throw HostError(text);
    }
}

OGRLayer* GdalDataset::findLayer(const std::string& layer) {
    return described([&]() -> OGRLayer* {
        for (OGRLayer* candidate : gdal_->GetLayers())
            if (layer == candidate->GetName()) return candidate;
        return layer.empty() ? nullptr : gdal_->GetLayerByName(layer.c_str());
    });
}

std::vector<Dataset::Entry> GdalDataset::hiddenEntries() {
    std::vector<Entry> hidden;
    if (!isGeoPackage()) return hidden;
    SqliteStatement contents(sqlite_,
                             "SELECT table_name, coalesce(nullif(identifier, ''), table_name), data_type = 'features' "
                             "FROM gpkg_contents WHERE data_type IN ('features', 'attributes', 'aspatial')");
    while (contents.step()) {
        Cell table;
        Cell title;
        contents.read(0, CellPart::Text, table);
        contents.read(1, CellPart::Text, title);
        bool isShown = false;
        for (OGRLayer* layer : gdal_->GetLayers())
            isShown |= sqlite3_stricmp(layer->GetName(), table.text.c_str()) == 0;
        if (!isShown) hidden.push_back({table.text, title.text, contents.integer(2) != 0});
    }
    return hidden;
}

std::vector<Dataset::Entry> GdalDataset::entries() {
    return described([&] {
        std::vector<Entry> entries;
        for (OGRLayer* layer : gdal_->GetLayers()) {
            entries.push_back({layer->GetName(), aliasOf(*layer), isSpatial(*layer)});
            checkLastStatement();
        }
        std::ranges::move(hiddenEntries(), std::back_inserter(entries));
        return entries;
    });
}

std::optional<Dataset::Entry> GdalDataset::find(const std::string& layer) {
    OGRLayer* found = findLayer(layer);
    if (!found) return std::nullopt;
    return described([&] { return std::optional(Entry{found->GetName(), aliasOf(*found), isSpatial(*found)}); });
}

std::int64_t GdalDataset::rowCount(const std::string& layer) {
    OGRLayer* found = findLayer(layer);
    if (!found) return -1;
    // Not forced: where it would mean reading everything, the answer is -1.
    const GIntBig rows = described([&] { return found->GetFeatureCount(FALSE); });
    return rows < 0 ? -1 : rows;
}

void GdalDataset::addFields(Table& table, const std::vector<FieldRequest>& requests) {
    if (inTransaction_) return createFields(table, requests);
    begin();
    try {
        createFields(table, requests);
        commit();
    } catch (...) {
        rollback();
        throw;
    }
    table.refresh();
}

void GdalDataset::createFields(Table& table, const std::vector<FieldRequest>& requests) {
    const GdalErrors errors;
    OGRLayer& layer = *findLayer(table.name());
    for (const FieldRequest& request : requests) {
        OGRFieldDefn field(request.name.c_str(), request.kind == FieldKind::Real ? OFTReal : OFTString);
        // The exact name or none: a driver may not shorten it.
        if (layer.CreateField(&field, FALSE) != OGRERR_NONE)
            throw HostError(table.title() + ": cannot add field " + request.name + ": " +
                            errors.text("no reason given"));
    }
    noteChange(table.name());
}

std::shared_ptr<Table> GdalDataset::table(const std::string& layer) {
    OGRLayer* found = findLayer(layer);
    if (!found) failForMissing(layer);
    std::weak_ptr<Table>& known = tables_[found->GetName()];
    if (std::shared_ptr<Table> table = known.lock()) return table;
    std::shared_ptr<Table> table =
        described([&] { return makeTable(std::static_pointer_cast<GdalDataset>(shared_from_this()), *found); });
    known = table;
    return table;
}

void GdalDataset::failForMissing(const std::string& layer) {
    const std::vector<Entry> hidden = described([&] { return hiddenEntries(); });
    const bool isNamed = std::ranges::any_of(
        hidden, [&](const Entry& entry) { return sqlite3_stricmp(entry.name.c_str(), layer.c_str()) == 0; });
    if (isNamed)
        throw HostError(name() + ": the contents name a table '" + layer +
                        "' that is gone or cannot be shown as they say");
    throw HostError(name() + ": there is no layer '" + layer + "'");
}

bool GdalDataset::isGeoPackage() const {
    return isOneOf(gdal_->GetDriverName(), {"GPKG"});
}

bool GdalDataset::transactionLost() const noexcept {
    return inTransaction_ && sqlite_ && sqlite3_get_autocommit(sqlite_) != 0;
}

void GdalDataset::checkWritable() const {
    if (access() == Access::Read) throw StatusError(E_ACCESSDENIED, name() + ": the dataset is open for reading only");
    if (transactionLost())
        throw HostError(name() + ": an earlier failure ended the transaction; nothing more is written");
}

void GdalDataset::noteChange(const std::string& table) {
    changedTables_.insert(table);
}

void GdalDataset::setTriggers(bool fire) noexcept {
    if (fire == triggersFire_) return;
    triggersFire_ = fire;
    // A setting of this connection, nothing that the file knows of. SQLite prepares its statements anew.
    sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_ENABLE_TRIGGER, fire ? 1 : 0, nullptr);
}

void GdalDataset::openJournal() {
    // A folder where no journal can be made shows now and not at the first row: the file's version is written anew, as
    // it is.
    SqliteStatement version(sqlite_, "PRAGMA user_version");
    version.step();
    const std::string same = std::to_string(version.integer(0));
    version.reset();
    SqliteStatement(sqlite_, "PRAGMA user_version = " + same).step();
}

// Transactions are the connection's own: GDAL counts its own and is not told when one ends by itself. The lock comes
// before all reading: what has been read already is no longer waited for.
void GdalDataset::begin() {
    checkWritable();
    if (inTransaction_) throw HostError(name() + ": a transaction is open already");
    try {
        SqliteStatement(sqlite_, "BEGIN IMMEDIATE").step();
        inTransaction_ = true;
        ++transactions_;
        changedTables_.clear();
        openJournal();
    } catch (const HostError& error) {
        rollback();
        throw HostError(name() + ": cannot be written: " + error.what());
    }
}

void GdalDataset::writeChangeTimes() {
    if (!isGeoPackage()) return;
    for (const std::string& table : changedTables_)
        executeSql(*gdal_,
                   "UPDATE gpkg_contents SET last_change = strftime('%Y-%m-%dT%H:%M:%fZ', 'now') "
                   "WHERE lower(table_name) = lower(" +
                       quotedText(table) + ")");
}

void GdalDataset::commit() {
    if (!inTransaction_) throw HostError(name() + ": there is no transaction to commit");
    try {
        checkWritable();
        if (file_ && fileNow() != file_)
            throw HostError("another file has taken the place of the one that was opened, or it has been removed");
        setTriggers(true);
        // A run that changed nothing leaves the file as it is, to the byte.
        if (changedTables_.empty()) return rollback();
        writeChangeTimes();
        SqliteStatement(sqlite_, "COMMIT").step();
        inTransaction_ = false;
        changedTables_.clear();
    } catch (const HostError& error) {
        const std::string text = name() + ": cannot commit: " + error.what();
        rollback();
        throw HostError(text);
    }
}

void GdalDataset::rollback() noexcept {
    if (!inTransaction_) return;
    inTransaction_ = false;
    changedTables_.clear();
    setTriggers(true);
    // It fails when the database has rolled back by itself.
    static_cast<void>(sqlite3_exec(sqlite_, "ROLLBACK", nullptr, nullptr, nullptr));
}

}  // namespace embedded_host
