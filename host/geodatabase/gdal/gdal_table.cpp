// Tables as GDAL describes them.
#include "host/geodatabase/gdal/gdal_table.h"

#include "host/geodatabase/gdal/ogr_table.h"
#include "host/geodatabase/sqlite/sqlite_table.h"

#include <ogrsf_frmts.h>

#include <utility>
#include <vector>

namespace embedded_host {

bool isSpatial(OGRLayer& layer) {
    return layer.GetLayerDefn()->GetGeomFieldCount() > 0;
}

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

std::string keyOf(OGRLayer& layer) {
    const char* key = layer.GetFIDColumn();
    return *key ? key : "FID";
}

std::shared_ptr<const TableSchema> schemaOf(OGRLayer& layer) {
    const OGRFeatureDefn& definition = *layer.GetLayerDefn();
    std::vector<Column> fields;
    for (int i = 0; i < definition.GetFieldCount(); ++i) {
        const OGRFieldDefn& field = *definition.GetFieldDefn(i);
        fields.push_back({field.GetNameRef(), typeOf(field), field.GetType() == OFTString ? field.GetWidth() : 0});
    }
    return std::make_shared<TableSchema>(std::move(fields), keyOf(layer));
}

TableDescription describe(OGRLayer& layer) {
    return {layer.GetName(),  layer.GetName(), aliasOf(layer), metadataItem(layer, "SUBTYPE_FIELD"),
            isSpatial(layer), schemaOf(layer)};
}

}  // namespace

std::string aliasOf(OGRLayer& layer) {
    const std::string identifier = metadataItem(layer, "IDENTIFIER");
    return identifier.empty() ? layer.GetName() : identifier;
}

GdalTable::GdalTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer)
    : Table(dataset, describe(layer)), dataset_(*dataset), layer_(layer), keyName_(keyOf(layer)) {}

void GdalTable::refresh() {
    setSchema(schemaOf(layer_));
}

std::shared_ptr<Table> makeTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer) {
    if (SqliteTable::suits(*dataset, layer)) return std::make_shared<SqliteTable>(dataset, layer);
    return std::make_shared<OgrTable>(dataset, layer);
}

}  // namespace embedded_host
