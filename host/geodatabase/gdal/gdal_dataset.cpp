// Datasets of GDAL's: their tables, new fields and transactions.
#include "host/geodatabase/gdal/gdal_dataset.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/layer_description.h"
#include "host/geodatabase/gdal/ogr_table.h"
#include "host/geodatabase/sqlite/sqlite_styles.h"
#include "host/geodatabase/sqlite/sqlite_table.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <string_view>
#include <utility>

namespace embedded_host {

namespace {

bool isSqliteFile(GDALDataset& gdal) {
    const std::string_view driver = gdal.GetDriverName();
    return driver == "GPKG" || driver == "SQLite";
}

sqlite3* connectionOf(GDALDataset& gdal) {
    return isSqliteFile(gdal) ? static_cast<sqlite3*>(gdal.GetInternalHandle("SQLITE_HANDLE")) : nullptr;
}

}  // namespace

void executeSql(GDALDataset& gdal, const std::string& sql) {
    const GdalErrors errors;
    if (OGRLayer* result = gdal.ExecuteSQL(sql.c_str(), nullptr, nullptr)) gdal.ReleaseResultSet(result);
    if (errors.any()) throw HostError(errors.text({}));
}

GdalDataset::GdalDataset(const std::string& name, Access access, const WorkspaceOptions& options)
    : Dataset(options.name.value_or(name), access),
      lockWait_(options.lockTimeout, options.stop),
      gdal_(openGdal(name, access, lockWait_)),
      description_(*this, *gdal_, connectionOf(*gdal_)) {
    if (sqlite3* const handle = connectionOf(*gdal_))
        connection_.emplace(handle, clauseGuard_, lockWait_, options.stop);
    if (access != Access::Update) return;
    // Without real transactions a kill in mid-run would leave a half-written dataset.
    if (!connection_)
        throw ReadOnlyError(whyNotOpened(
            name, access,
            gdal_->GetDriverName() +
                std::string(" datasets have no transactions; copy it into a GeoPackage: ogr2ogr -f GPKG chart.gpkg ") +
                shellWord(name)));
    if (connection_->isReadOnly()) throw ReadOnlyError(whyNotOpened(name, access, "the file is read-only"));
}

GdalDataset::~GdalDataset() = default;

WorkspaceType GdalDataset::type() const noexcept {
    return isSqliteFile(*gdal_) ? workspaceLocalDatabase : workspaceFileSystem;
}

void GdalDataset::addFields(Table& table, const std::vector<FieldRequest>& requests) {
    if (connection_ && connection_->inTransaction()) return createFields(table, requests);
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
    OGRLayer& layer = *description_.findLayer(table.name());
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
    OGRLayer* found = description_.findLayer(layer);
    if (!found) description_.failForMissing(layer);
    std::weak_ptr<Table>& known = tables_[found->GetName()];
    if (std::shared_ptr<Table> table = known.lock()) return table;
    std::shared_ptr<Table> table = description_.ask([&] { return makeTable(*found); });
    known = table;
    return table;
}

// In the way that suits the layer best.
std::shared_ptr<Table> GdalDataset::makeTable(OGRLayer& layer) {
    auto self = std::static_pointer_cast<GdalDataset>(shared_from_this());
    if (!connection_ || !SqliteTable::suits(connection_->handle(), layer.GetName()))
        return std::make_shared<OgrTable>(self, layer);
    return std::make_shared<SqliteTable>(std::move(self), *connection_, describe(layer), layer.GetFIDColumn(),
                                         [&layer] { return schemaOf(layer); });
}

void GdalDataset::checkWritable() const {
    if (access() != Access::Update)
        throw StatusError(E_ACCESSDENIED, name() + ": the dataset is open for reading only");
    if (connection_ && connection_->transactionLost())
        throw HostError(name() + ": an earlier failure ended the transaction; nothing more is written");
}

std::string GdalDataset::geometryColumn(const std::string& layer) const {
    OGRLayer* const found = description_.findLayer(layer);
    if (!found) description_.failForMissing(layer);
    const char* const column = found->GetGeometryColumn();
    if (*column == '\0') throw HostError(name() + ": layer " + layer + " has no shapes");
    return column;
}

void GdalDataset::expectStyles(bool /*createTable*/) {
    if (!description_.isGeoPackage())
        throw HostError(name() + ": styles are kept in GeoPackages and PostgreSQL databases, and this is neither");
}

ShapeValues GdalDataset::shapeValues(const std::string& layer, const std::string& field) {
    expectStyles(true);
    const std::string geometry = geometryColumn(layer);
    const std::shared_ptr<Table> known = table(layer);
    const GdalErrors errors;  // its function tells of geometries that it cannot read
    try {
        return shapeValuesOf(connection_->handle(), known->name(), geometry, field);
    } catch (const HostError& error) {
        throw HostError(known->title() + ": " + error.what());
    }
}

std::vector<KeptDefault> GdalDataset::writeStyles(const std::vector<StyledLayer>& layers) {
    checkWritable();
    expectStyles(true);
    constexpr const char* styles = "layer_styles";
    bool changed = false;
    try {
        std::vector<KeptDefault> kept = embedded_host::writeStyles(
            connection_->handle(), layers, [this](const std::string& layer) { return geometryColumn(layer); }, changed);
        if (changed) noteChange(styles);
        return kept;
    } catch (const SqliteError& error) {
        throw HostError(name() + ": table " + styles + ": " + error.what());
    }
}

void GdalDataset::begin() {
    if (!isRehearsal()) checkWritable();
    if (!connection_) return;  // a file without transactions, which is only read
    if (connection_->inTransaction()) throw HostError(name() + ": a transaction is open already");
    try {
        if (isRehearsal())
            connection_->beginReading();
        else
            connection_->begin();
    } catch (const HostError& error) {
        throw HostError(name() + (isRehearsal() ? ": cannot be read: " : ": cannot be written: ") + error.what());
    }
}

void GdalDataset::writeChangeTimes() {
    if (!description_.isGeoPackage()) return;
    for (const std::string& table : connection_->changedTables())
        executeSql(*gdal_,
                   "UPDATE gpkg_contents SET last_change = strftime('%Y-%m-%dT%H:%M:%fZ', 'now') "
                   "WHERE lower(table_name) = lower(" +
                       quotedText(table) + ")");
}

void GdalDataset::commit() {
    if (!connection_ || !connection_->inTransaction()) throw HostError(name() + ": there is no transaction to commit");
    try {
        checkWritable();
        if (!connection_->hasItsFile())
            throw HostError("another file has taken the place of the one that was opened, or it has been removed");
        connection_->setTriggers(true);
        // A run that changed nothing leaves the file as it is, to the byte.
        if (connection_->changedTables().empty()) return rollback();
        writeChangeTimes();
        connection_->commit();
    } catch (const HostError& error) {
        const std::string text = name() + ": cannot commit: " + error.what();
        rollback();
        throw HostError(text);
    }
}

void GdalDataset::rollback() noexcept {
    if (connection_) connection_->rollback();
}

}  // namespace embedded_host
