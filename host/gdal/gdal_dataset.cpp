// Opening, closing and transactions of a dataset that GDAL opens.
#include "host/gdal/gdal_dataset.h"

#include "host/gdal/errors.h"
#include "host/gdal/gdal_table.h"
#include "host/gdal/sqlite_statement.h"
#include "host/gdal/text.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
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

int milliseconds(double seconds) noexcept {
    constexpr double most = 1'000'000'000.0;
    return static_cast<int>(std::clamp(seconds * 1000.0, 0.0, most));
}

void registerDrivers() {
    // SQLite counts the memory that it uses, under a lock. Nobody asks for that, and it makes updates a tenth slower.
    // The setting is refused, which does no harm, once the process uses SQLite.
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    GDALAllRegister();
}

bool isCell(const std::string& name) {
    constexpr std::array drivers{"S57", static_cast<const char*>(nullptr)};
    return GDALIdentifyDriverEx(name.c_str(), GDAL_OF_VECTOR, drivers.data(), nullptr) != nullptr;
}

// As a shell reads it.
std::string shellWord(const std::string& text) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+./:@%,=";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
    std::string word(1, '\'');
    for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word += '\'';
}

GDALDataset* openGdal(const std::string& name, Dataset::Access access) {
    registerDrivers();
    const GdalErrors errors;
    if (access == Dataset::Access::Update && isCell(name))
        throw HostError(name +
                        ": an S-57 cell, whose rows cannot be written; import it into a GeoPackage: cxml import " +
                        shellWord(name) + " chart.gpkg");
    const unsigned flags = GDAL_OF_VECTOR | GDAL_OF_VERBOSE_ERROR |
                           static_cast<unsigned>(access == Dataset::Access::Update ? GDAL_OF_UPDATE : GDAL_OF_READONLY);
    // Tables that a GeoPackage does not list among its contents are tables all the same.
    constexpr std::array options{"LIST_ALL_TABLES=YES", static_cast<const char*>(nullptr)};
    GDALDataset* gdal = GDALDataset::Open(name.c_str(), flags, nullptr, nullptr, nullptr);
    if (gdal && isOneOf(gdal->GetDriverName(), {"GPKG"})) {
        // Asked again with the option, which other drivers would warn about.
        delete gdal;
        gdal = GDALDataset::Open(name.c_str(), flags, nullptr, options.data(), nullptr);
    }
    if (!gdal)
        throw HostError(
            name + (access == Dataset::Access::Update ? ": cannot be opened for update: " : ": cannot be opened: ") +
            errors.text("no such dataset, or not one that GDAL knows"));
    return gdal;
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

GdalDataset::GdalDataset(const std::string& name, Access access, std::optional<double> lockTimeout)
    : Dataset(name, access), gdal_(openGdal(name, access)) {
    if (isSqliteFile(*gdal_)) sqlite_ = static_cast<sqlite3*>(gdal_->GetInternalHandle("SQLITE_HANDLE"));
    // Text between double quotes is a name, never a text: a misspelt field is an error, not a comparison with its name.
    if (sqlite_) sqlite3_db_config(sqlite_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    if (sqlite_) clauseGuard_.watch(sqlite_);
    if (sqlite_) file_ = fileNow();
    if (sqlite_ && lockTimeout) sqlite3_busy_timeout(sqlite_, milliseconds(*lockTimeout));
    if (access == Access::Read) return;
    // Without real transactions a kill in mid-run would leave a half-written dataset.
    if (!gdal_->TestCapability(ODsCTransactions))
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

WorkspaceType GdalDataset::type() const noexcept {
    return sqlite_ || isSqliteFile(*gdal_) ? workspaceLocalDatabase : workspaceFileSystem;
}

OGRLayer* GdalDataset::findLayer(const std::string& layer) const {
    const GdalErrors errors;
    for (OGRLayer* candidate : gdal_->GetLayers())
        if (layer == candidate->GetName()) return candidate;
    return layer.empty() ? nullptr : gdal_->GetLayerByName(layer.c_str());
}

std::vector<Dataset::Entry> GdalDataset::entries() {
    const GdalErrors errors;
    std::vector<Entry> entries;
    for (OGRLayer* layer : gdal_->GetLayers())
        entries.push_back({layer->GetName(), aliasOf(*layer), isSpatial(*layer)});
    return entries;
}

std::optional<Dataset::Entry> GdalDataset::find(const std::string& layer) {
    OGRLayer* found = findLayer(layer);
    if (!found) return std::nullopt;
    return Entry{found->GetName(), aliasOf(*found), isSpatial(*found)};
}

std::int64_t GdalDataset::rowCount(const std::string& layer) {
    const GdalErrors errors;
    // Not forced: where it would mean reading everything, the answer is -1.
    const GIntBig rows = findLayer(layer)->GetFeatureCount(FALSE);
    return rows < 0 ? -1 : rows;
}

void GdalDataset::addField(Table& table, const FieldRequest& request) {
    const GdalErrors errors;
    OGRFieldDefn field(request.name.c_str(), request.kind == FieldKind::Real ? OFTReal : OFTString);
    // The exact name or none: a driver may not shorten it.
    if (findLayer(table.name())->CreateField(&field, FALSE) != OGRERR_NONE)
        throw HostError(table.title() + ": cannot add field " + request.name + ": " + errors.text("no reason given"));
    noteChange(table.name());
    table.refresh();
}

std::shared_ptr<Table> GdalDataset::table(const std::string& layer) {
    OGRLayer* found = findLayer(layer);
    if (!found) throw HostError(name() + ": there is no layer '" + layer + "'");
    std::weak_ptr<Table>& known = tables_[found->GetName()];
    if (std::shared_ptr<Table> table = known.lock()) return table;
    const GdalErrors errors;
    std::shared_ptr<Table> table = makeTable(std::static_pointer_cast<GdalDataset>(shared_from_this()), *found);
    known = table;
    return table;
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

void GdalDataset::lockForWriting() {
    if (!sqlite_) return;
    // Another process's lock, or a folder where no journal can be made, shows now and not at the first row: writing the
    // file's version anew, as it is, takes the lock and opens the journal.
    SqliteStatement version(sqlite_, "PRAGMA user_version");
    version.step();
    const std::string same = std::to_string(version.integer(0));
    version.reset();
    SqliteStatement(sqlite_, "PRAGMA user_version = " + same).step();
}

void GdalDataset::begin() {
    checkWritable();
    if (inTransaction_) throw HostError(name() + ": a transaction is open already");
    const GdalErrors errors;
    if (gdal_->StartTransaction() != OGRERR_NONE)
        throw HostError(name() + ": cannot begin a transaction: " + errors.text("no reason given"));
    inTransaction_ = true;
    ++transactions_;
    changedTables_.clear();
    try {
        lockForWriting();
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
        const GdalErrors errors;
        if (gdal_->CommitTransaction() != OGRERR_NONE) throw HostError(errors.text("no reason given"));
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
    const GdalErrors errors;
    // The only failure is that the database has rolled back by itself.
    static_cast<void>(gdal_->RollbackTransaction());
}

}  // namespace embedded_host
