"""The plug-in that runs cxml from QGIS."""


def classFactory(iface):  # QGIS's name
    from .plugin import Plugin
    return Plugin(iface)
