// What all tables have in common: their description.
#include "host/gdal/table.h"

#include "host/gdal/dataset.h"
#include "host/gdal/errors.h"
#include "host/gdal/ogr_table.h"
#include "host/gdal/sqlite_table.h"
#include "host/gdal/text.h"

#include <ogrsf_frmts.h>

#include <utility>

namespace embedded_host {

namespace {

ColumnType typeOf(const OGRFieldDefn& field) {
    switch (field.GetType()) {
        case OFTInteger:
            return field.GetSubType() == OFSTBoolean ? ColumnType::Boolean
                   : field.GetSubType() == OFSTInt16 ? ColumnType::Int16
                                                     : ColumnType::Integer;
        case OFTInteger64:
            return ColumnType::Integer64;
        case OFTReal:
            return field.GetSubType() == OFSTFloat32 ? ColumnType::Float32 : ColumnType::Real;
        case OFTString:
            return ColumnType::Text;
        case OFTDate:
            return ColumnType::Date;
        case OFTTime:
            return ColumnType::Time;
        case OFTDateTime:
            return ColumnType::DateTime;
        case OFTIntegerList:
        case OFTInteger64List:
            return ColumnType::IntegerList;
        case OFTRealList:
            return ColumnType::RealList;
        case OFTStringList:
            return ColumnType::TextList;
        default:
            return ColumnType::Unsupported;
    }
}

std::string metadataItem(OGRLayer& layer, const char* item) {
    const char* value = layer.GetMetadataItem(item);
    return value ? value : "";
}

std::string aliasOf(OGRLayer& layer) {
    const std::string identifier = metadataItem(layer, "IDENTIFIER");
    return identifier.empty() ? layer.GetName() : identifier;
}

std::string keyOf(OGRLayer& layer) {
    const char* key = layer.GetFIDColumn();
    return *key ? key : "FID";
}

}  // namespace

TableSchema::TableSchema(const OGRLayer& layer, const std::string& keyName) {
    const OGRFeatureDefn& definition = *const_cast<OGRLayer&>(layer).GetLayerDefn();
    for (int i = 0; i < definition.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *definition.GetFieldDefn(i);
        columns.push_back({field.GetNameRef(), typeOf(field), field.GetType() == OFTString ? field.GetWidth() : 0});
    }
    columns.push_back({keyName, ColumnType::Integer64});
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const WideString name = toWide(columns[i].name);
        positions.emplace(name, static_cast<LONG>(i));
        positionsByUpperCase.emplace(upperCased(name), static_cast<LONG>(i));
    }
}

LONG TableSchema::find(WideView name) const {
    if (const auto found = positions.find(name); found != positions.end()) return found->second;
    const auto found = positionsByUpperCase.find(upperCased(name));
    return found == positionsByUpperCase.end() ? -1 : found->second;
}

Table::Table(std::shared_ptr<Dataset> dataset, OGRLayer& layer)
    : dataset_(std::move(dataset)),
      layer_(layer),
      name_(layer.GetName()),
      alias_(aliasOf(layer)),
      keyName_(keyOf(layer)),
      subtypeMetadata_(metadataItem(layer, "SUBTYPE_FIELD")),
      spatial_(layer.GetLayerDefn()->GetGeomFieldCount() > 0),
      schema_(std::make_shared<TableSchema>(layer, keyName_)) {}

void Table::refresh() {
    schema_ = std::make_shared<TableSchema>(layer_, keyName_);
}

std::string Table::title() const {
    return dataset_->name() + ", layer " + name_;
}

void Table::checkWritable() const {
    dataset_->checkWritable();
}

void Table::checkClause(const std::string& where) const {
    if (where.find('\0') != std::string::npos) fail("a zero character in a where clause");
}

void Table::fail(const std::string& why) const {
    throw HostError(title() + ": " + why);
}

std::shared_ptr<Table> makeTable(const std::shared_ptr<Dataset>& dataset, OGRLayer& layer) {
    if (SqliteTable::suits(*dataset, layer)) return std::make_shared<SqliteTable>(dataset, layer);
    return std::make_shared<OgrTable>(dataset, layer);
}

}  // namespace embedded_host
