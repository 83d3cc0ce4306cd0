"""What the program cxml calls DATASET and LAYER, from a layer of the project."""

from qgis.core import QgsDataSourceUri, QgsProviderRegistry

from .runner import ToolError

SUBTYPE_PROPERTY = "cxml_symbology/subtype_field"  # of a layer: as it was named when the layer was symbolized


def quoted(value):
    """A value of a connection string."""
    return "'" + str(value).replace("\\", "\\\\").replace("'", "\\'") + "'"


def server(layer):
    uri = QgsDataSourceUri(layer.source())
    words = {"service": uri.service(), "host": uri.host(), "port": uri.port(), "dbname": uri.database(),
             "user": uri.username(), "password": uri.password()}
    dataset = "PG:" + " ".join(f"{name}={quoted(value)}" for name, value in words.items() if value)
    return dataset, f"{uri.schema()}.{uri.table()}" if uri.schema() else uri.table()


def dataset_and_layer(layer):
    """\\raises ToolError for a layer that the program cannot write: one in edit mode, with a filter, or not saved."""
    if layer.isEditable():
        raise ToolError(f"The layer {layer.name()} is being edited: save or discard its changes first.")
    if layer.subsetString():
        raise ToolError(f"The layer {layer.name()} shows some of its rows only: remove its filter first.")
    if layer.providerType() == "postgres":
        return server(layer)
    parts = QgsProviderRegistry.instance().decodeUri(layer.providerType(), layer.source())
    path, name = parts.get("path") or "", parts.get("layerName") or ""
    if layer.providerType() == "ogr" and path.lower().endswith((".gpkg", ".sqlite")):
        return path, name or layer.dataProvider().subLayers()[0].split("!!::!!")[1]
    raise ToolError(f"The layer {layer.name()} is not a saved layer of a GeoPackage, an SQLite file or a PostgreSQL database.")
