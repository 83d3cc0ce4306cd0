"""What QGIS loads: the processing provider, and with a window the map tool."""

from qgis.core import QgsApplication

from .provider import Provider


class Plugin:
    def __init__(self, iface=None):
        self.iface = iface  # None in qgis_process
        self.provider = None
        self.why = None

    def initProcessing(self):
        self.provider = Provider()
        QgsApplication.processingRegistry().addProvider(self.provider)

    def initGui(self):
        self.initProcessing()
        from .why import WhyTool
        self.why = WhyTool(self.iface)

    def unload(self):
        if self.why:
            self.why.unload()
        if self.provider:
            QgsApplication.processingRegistry().removeProvider(self.provider)
