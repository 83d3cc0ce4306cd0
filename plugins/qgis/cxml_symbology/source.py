"""What the program cxml calls DATASET and LAYER, from a layer of the project."""

from qgis.core import QgsProviderRegistry

from .runner import ToolError


def dataset_and_layer(layer):
    if layer.isEditable():
        raise ToolError(f"The layer {layer.name()} is being edited: save or discard its changes first.")
    parts = QgsProviderRegistry.instance().decodeUri(layer.providerType(), layer.source())
    path, name = parts.get("path") or "", parts.get("layerName") or ""
    if layer.providerType() == "ogr" and path.lower().endswith((".gpkg", ".sqlite")):
        return path, name or layer.dataProvider().subLayers()[0].split("!!::!!")[1]
    raise ToolError(f"The layer {layer.name()} is not a saved layer of a GeoPackage or SQLite file.")
