"""The map tool "Why this symbol": a click on a feature shows the explanation of its symbol."""

from qgis.core import QgsProject, QgsSettings
from qgis.gui import QgsMapToolIdentifyFeature
from qgis.PyQt.QtCore import Qt
from qgis.PyQt.QtGui import QFont
from qgis.PyQt.QtWidgets import QDockWidget, QFileDialog, QPlainTextEdit

from . import runner
from .source import SUBTYPE_PROPERTY, dataset_and_layer

try:
    from qgis.PyQt.QtGui import QAction  # Qt 6
except ImportError:
    from qgis.PyQt.QtWidgets import QAction

SCOPE = "cxml_symbology"


def document():
    """The project's rule document; empty when none was named."""
    return QgsProject.instance().readEntry(SCOPE, "document", "")[0]


def explanation(layer, fid):
    """The words of `cxml explain`, or why there are none."""
    try:
        place = dataset_and_layer(layer)
        tool = runner.find_tool(QgsSettings().value("cxml_symbology/tool", "", str))
        field = layer.customProperty(SUBTYPE_PROPERTY, "")
        subtypes = ["--subtype-field", field] if field else []
        _, said, errors = runner.run(tool, ["explain", document(), *place, "--fid", str(fid), *subtypes], as_json=False)
        return said + errors
    except runner.ToolError as error:
        return str(error)


class WhyPanel(QDockWidget):
    def __init__(self, parent=None):
        super().__init__("Why this symbol", parent)
        self.setObjectName("CxmlWhyPanel")
        self.text = QPlainTextEdit(self)
        self.text.setReadOnly(True)
        font = QFont("monospace")
        font.setStyleHint(QFont.StyleHint.TypeWriter)  # the words stand in columns
        self.text.setFont(font)
        self.text.setLineWrapMode(QPlainTextEdit.LineWrapMode.NoWrap)
        self.text.setAccessibleName("Explanation of the symbol")
        self.setWidget(self.text)

    def explain(self, layer, feature):
        if not document():
            self.text.setPlainText("The project names no rule document: choose one.")
            return
        self.text.setPlainText(explanation(layer, feature.id()))
        self.show()


class WhyTool:
    """The tool in QGIS's window."""

    def __init__(self, iface):
        self.iface = iface
        self.panel = WhyPanel(iface.mainWindow())
        iface.addDockWidget(Qt.DockWidgetArea.RightDockWidgetArea, self.panel)
        self.panel.hide()
        self.tool = QgsMapToolIdentifyFeature(iface.mapCanvas())
        self.tool.featureIdentified.connect(lambda feature: self.panel.explain(iface.activeLayer(), feature))
        self.actions = [QAction("Why this symbol", iface.mainWindow()), QAction("Rule document...", iface.mainWindow())]
        self.actions[0].setCheckable(True)
        self.actions[0].triggered.connect(self.start)
        self.actions[1].triggered.connect(self.choose)
        self.tool.setAction(self.actions[0])
        for action in self.actions:
            iface.addPluginToMenu("CXML symbology", action)

    def choose(self):
        path, _ = QFileDialog.getOpenFileName(self.iface.mainWindow(), "Rule document", document(), "Rule documents (*.cxml)")
        if path:
            QgsProject.instance().writeEntry(SCOPE, "document", path)

    def start(self):
        if not document():
            self.choose()
        self.tool.setLayer(self.iface.activeLayer())
        self.iface.mapCanvas().setMapTool(self.tool)

    def unload(self):
        self.iface.mapCanvas().unsetMapTool(self.tool)
        for action in self.actions:
            self.iface.removePluginMenu("CXML symbology", action)
        self.iface.removeDockWidget(self.panel)
