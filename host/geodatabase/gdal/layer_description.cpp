// Names, titles and fields of layers.
#include "host/geodatabase/gdal/layer_description.h"

#include <ogrsf_frmts.h>

#include <utility>
#include <vector>

namespace embedded_host {

namespace {

bool isSpatial(OGRLayer& layer) {
    return layer.GetLayerDefn()->GetGeomFieldCount() > 0;
}

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

Dataset::Entry entryOf(OGRLayer& layer) {
    return {layer.GetName(), aliasOf(layer), isSpatial(layer)};
}

}  // namespace embedded_host
