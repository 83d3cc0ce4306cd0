"""One algorithm for each command of the program cxml. They say what to run, and tell what came of it."""

import json

from qgis.core import (QgsProcessingAlgorithm, QgsProcessingException, QgsProcessingOutputNumber, QgsProcessingOutputString,
                       QgsProcessingParameterBoolean, QgsProcessingParameterField, QgsProcessingParameterFile,
                       QgsProcessingParameterFileDestination, QgsProcessingParameterNumber, QgsProcessingParameterString,
                       QgsProcessingParameterVectorLayer, QgsSettings)

from . import runner
from .source import SUBTYPE_PROPERTY, dataset_and_layer

DOCUMENT, LAYER, WHERE, FID, CELL, OUTPUT = "DOCUMENT", "LAYER", "WHERE", "FID", "CELL", "OUTPUT"
STYLE_TABLE, SUBTYPE_FIELD = "STYLE_TABLE", "SUBTYPE_FIELD"


def tool():
    return runner.find_tool(QgsSettings().value("cxml_symbology/tool", "", str))


def style_table():
    return QgsProcessingParameterBoolean(STYLE_TABLE, "On a server, make the table that keeps styles where it is missing", False)


def counted(number, word):
    return f"{number} {word}{'' if number == 1 else 's'}"


class Algorithm(QgsProcessingAlgorithm):
    """The base: DOCUMENT and LAYER, a run, its messages in the log, the layer drawn anew."""

    command = title = explanation = ""
    needs_layer = True
    optional_layer = False
    has_subtypes = False  # of a layer on a server only this tells which field holds a row's subtype

    def createInstance(self):
        return type(self)()

    def name(self):
        return self.command

    def displayName(self):
        return self.title

    def shortHelpString(self):
        return self.explanation

    def initAlgorithm(self, config=None):
        self.addParameter(QgsProcessingParameterFile(DOCUMENT, "Rule document", extension="cxml"))
        if self.needs_layer:
            self.addParameter(QgsProcessingParameterVectorLayer(LAYER, "Layer", optional=self.optional_layer))
        if self.has_subtypes:
            self.addParameter(QgsProcessingParameterField(SUBTYPE_FIELD, "Field with the subtype, where the dataset does not say it",
                                                          parentLayerParameterName=LAYER, optional=True))
        self.add_own()

    def subtypes(self, parameters, context):
        """The words of the command line."""
        field = self.parameterAsString(parameters, SUBTYPE_FIELD, context)
        return ["--subtype-field", field] if field else []

    def add_own(self):
        """Parameters and outputs of this one."""

    def prepareAlgorithm(self, parameters, context, feedback):
        self.layer_id = None
        try:
            self.tool = tool()
            layer = self.parameterAsVectorLayer(parameters, LAYER, context) if self.needs_layer else None
            self.place = dataset_and_layer(layer) if layer else None
            self.layer_id = layer.id() if layer else None
            self.subtype_field = self.parameterAsString(parameters, SUBTYPE_FIELD, context) if self.has_subtypes else ""
        except runner.ToolError as error:
            raise QgsProcessingException(str(error)) from error
        return True

    def run_tool(self, words, feedback, as_json=True):
        """\\returns the exit status and what the program wrote."""
        try:
            status, said, errors = runner.run(self.tool, words, feedback.isCanceled, as_json)
        except (runner.ToolError, runner.Cancelled) as error:
            raise QgsProcessingException(str(error)) from error
        if status == 2 or said is None:
            raise QgsProcessingException(errors.strip() or f"The program ended with status {status}.")
        for line in errors.splitlines():
            feedback.pushWarning(line)
        return status, said

    def postProcessAlgorithm(self, context, feedback):
        layer = context.getMapLayer(self.layer_id) if self.layer_id else None
        if layer:
            if layer.providerType() == "postgres":  # whose fields reload() does not read again
                layer.setDataSource(layer.source(), layer.name(), layer.providerType())
            else:
                layer.reload()
            layer.triggerRepaint()
            if self.subtype_field:
                layer.setCustomProperty(SUBTYPE_PROPERTY, self.subtype_field)  # so that a click explains by it, too
        return {}

    def document(self, parameters, context):
        return self.parameterAsFile(parameters, DOCUMENT, context)


class Writing(Algorithm):
    """Commands that write a layer's rows."""

    def add_own(self):
        self.add_options()
        self.addOutput(QgsProcessingOutputNumber("ROWS", "Rows"))
        self.addOutput(QgsProcessingOutputNumber("CHANGED", "Changed rows"))

    def add_options(self):
        """Switches of this command."""

    def options(self, parameters, context):
        return []

    def processAlgorithm(self, parameters, context, feedback):
        words = [self.command, self.document(parameters, context), *self.place, *self.options(parameters, context)]
        status, said = self.run_tool(words, feedback)
        layers = said["layers"]
        for layer in layers:
            for message in layer["messages"]:
                line = f":{message['line']}" if message.get("line") else ""
                row = f" row {message['row']}" if "row" in message else ""
                feedback.pushWarning(f"{self.document(parameters, context)}{line}: {layer['layer']}{row}: {message['text']}")
            feedback.pushInfo(f"{layer['layer']}: {counted(layer['rows'], 'row')}, {layer['changed']} changed")
        if status != 0:
            raise QgsProcessingException("Nothing was written: the log tells why.")
        return {"ROWS": sum(layer["rows"] for layer in layers), "CHANGED": sum(layer["changed"] for layer in layers)}


class Symbolize(Writing):
    command, title, has_subtypes = "symbolize", "Symbolize a layer", True
    explanation = "Decides the symbol of each row by the rules of the document and writes it into the layer. Asked again, it changes nothing."

    def add_options(self):
        self.addParameter(QgsProcessingParameterString(WHERE, "Only rows where (SQL)", optional=True))
        self.addParameter(QgsProcessingParameterBoolean("ADD_FIELDS", "Add the fields that are missing", True))
        self.addParameter(QgsProcessingParameterBoolean("STYLE", "Write the style that QGIS draws it with", True))
        self.addParameter(style_table())

    def options(self, parameters, context):
        chosen = (("ADD_FIELDS", "--add-fields"), ("STYLE", "--style"))
        words = [option for name, option in chosen if self.parameterAsBool(parameters, name, context)]
        if "--style" in words and self.parameterAsBool(parameters, STYLE_TABLE, context):
            words.append("--create-style-table")
        words += self.subtypes(parameters, context)
        where = self.parameterAsString(parameters, WHERE, context)
        return [*words, "--where", where] if where else words


class Reset(Writing):
    command, title = "reset", "Reset a layer's symbols"
    explanation = "Sets the symbol and the computed fields of each row to NULL."


class Check(Algorithm):
    command, title, optional_layer, has_subtypes = "check", "Check a document", True, True
    explanation = "Says what is wrong with a document, with file, line and the way out; with a layer, also what of its dataset does not fit."

    def add_own(self):
        for name, text in (("ERRORS", "Errors"), ("WARNINGS", "Warnings"), ("NOTES", "Notes")):
            self.addOutput(QgsProcessingOutputNumber(name, text))

    def processAlgorithm(self, parameters, context, feedback):
        dataset = [self.place[0], *self.subtypes(parameters, context)] if self.place else []
        _, said = self.run_tool([self.command, self.document(parameters, context), *dataset], feedback)
        say = {"error": feedback.reportError, "warning": feedback.pushWarning, "note": feedback.pushInfo}
        counts = dict.fromkeys(say, 0)
        for finding in said["findings"]:
            if finding.get("ignored"):
                continue
            counts[finding["severity"]] += 1
            say[finding["severity"]](f"{finding['file']}:{finding['line']}:{finding['column']}: {finding['severity']}: "
                                     f"{finding['text']} [{finding['kind']}]\n    {finding.get('help', '')}")
        return {"ERRORS": counts["error"], "WARNINGS": counts["warning"], "NOTES": counts["note"]}


class Explain(Algorithm):
    command, title, has_subtypes = "explain", "Explain a feature's symbol", True
    explanation = "Tells which condition decided the symbol of a row, and why the others did not."

    def add_own(self):
        self.addParameter(QgsProcessingParameterNumber(FID, "Feature id", minValue=0))
        self.addOutput(QgsProcessingOutputString("EXPLANATION", "Explanation"))

    def processAlgorithm(self, parameters, context, feedback):
        fid = self.parameterAsInt(parameters, FID, context)
        _, said = self.run_tool([self.command, self.document(parameters, context), *self.place, "--fid", str(fid),
                                 *self.subtypes(parameters, context)], feedback, False)
        feedback.pushInfo(said)
        return {"EXPLANATION": said}


class Diff(Algorithm):
    command, title, has_subtypes = "diff", "Compare a document with a layer", True
    explanation = "Shows which rows a run of the document would change, and writes nothing."

    def add_own(self):
        self.addParameter(QgsProcessingParameterFileDestination(OUTPUT, "Groups of changes", "JSON (*.json)", optional=True))
        self.addOutput(QgsProcessingOutputNumber("ROWS", "Rows"))
        self.addOutput(QgsProcessingOutputNumber("SAME", "Rows that stay the same"))

    def processAlgorithm(self, parameters, context, feedback):
        _, said = self.run_tool([self.command, self.document(parameters, context), *self.place, *self.subtypes(parameters, context)],
                                feedback)
        for group in said["groups"]:
            before, after = group["from"].get("symbol"), group["to"].get("symbol")
            line = f" by line {group['to']['line']}" if "line" in group["to"] else ""
            feedback.pushInfo(f"{group['layer']}: {counted(group['rows'], 'row')}, {group['change']}: {before} -> {after}{line}")
        output = self.parameterAsFileOutput(parameters, OUTPUT, context)
        if output:
            with open(output, "w", encoding="utf-8") as file:
                json.dump(said, file, indent=1)
        return {OUTPUT: output, "ROWS": said["rows"], "SAME": said["same"]}


class Style(Algorithm):
    command, title = "style", "Write a layer's style"
    explanation = "Writes how QGIS draws a symbolized layer beside it, into the dataset. Open the layer again to see it."

    def add_own(self):
        self.addParameter(style_table())

    def processAlgorithm(self, parameters, context, feedback):
        dataset, layer = self.place
        words = ["--create-style-table"] if self.parameterAsBool(parameters, STYLE_TABLE, context) else []
        _, said = self.run_tool([self.command, dataset, self.document(parameters, context), "-l", layer, *words], feedback)
        for styled in said["styles"]:
            feedback.pushInfo(f"{styled['layer']}: {counted(styled['symbols'], 'symbol')}")
            if styled["keptDefault"] is not None:
                feedback.pushWarning(f"{styled['layer']} still opens with the style '{styled['keptDefault']}'")
        for symbol in said["withoutPicture"]:
            feedback.pushWarning(f"no picture: {symbol['symbol']} ({counted(symbol['features'], 'feature')})")
        return {}


class Import(Algorithm):
    command, title, needs_layer = "import", "Import an S-57 cell", False
    explanation = "Makes a GeoPackage of a cell and its updates, with a layer for each class."

    def initAlgorithm(self, config=None):
        self.addParameter(QgsProcessingParameterFile(CELL, "S-57 cell", extension="000"))
        self.addParameter(QgsProcessingParameterFileDestination(OUTPUT, "Chart", "GeoPackage (*.gpkg)"))

    def processAlgorithm(self, parameters, context, feedback):
        output = self.parameterAsFileOutput(parameters, OUTPUT, context)
        status, said = self.run_tool([self.command, self.parameterAsFile(parameters, CELL, context), output], feedback, False)
        feedback.pushInfo(said)
        if status != 0:
            raise QgsProcessingException("The cell was not imported: the log tells why.")
        return {OUTPUT: output}


ALGORITHMS = (Symbolize, Reset, Check, Explain, Diff, Style, Import)
