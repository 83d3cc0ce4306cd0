"""The algorithms of the plug-in, for the toolbox, models and qgis_process."""

from qgis.core import QgsProcessingProvider

from .algorithms import ALGORITHMS


class Provider(QgsProcessingProvider):
    def id(self):
        return "cxml"

    def name(self):
        return "CXML symbology"

    def loadAlgorithms(self):
        for algorithm in ALGORITHMS:
            self.addAlgorithm(algorithm())
