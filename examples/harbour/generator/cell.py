"""The chart as an S-57 base cell with two updates: what the chart shows is the cell with both of them.

In the cell the features have what S-57 has and the chart's text has not: soundings of one quality are one feature, marks
that stand together share their node and point to each other, areas and lines share their edges, some features have a
name in a national language, and the coverage of the data is a feature of its own.
"""
import re

import s57
from layers import LAYERS
from s57 import ATTF, AREA, CONNECTED, EDGE, FEATURE, FFPT, FOID, FSPT, ISOLATED, LINE, NATF, NONE, POINT, SG2D, SG3D, VRPT
from topology import Network

NAME, AGENCY, EDITION = "XX5MERRW", 65534, 3  # no producer has this code or this agency
ISSUED = ("20240501", "20240517", "20240603")
COMMENT = "Port Merrow does not exist. Not for navigation."

CLASSES = {
    "LNDARE": 71, "COALNE": 30, "SLCONS": 122, "DEPARE": 42, "DEPCNT": 43, "SOUNDG": 129, "UWTROC": 153, "OBSTRN": 86,
    "WRECKS": 159, "BOYLAT": 17, "BOYCAR": 14, "BOYISD": 16, "BOYSAW": 18, "BOYSPP": 19, "BCNLAT": 7, "TOPMAR": 144,
    "LIGHTS": 75, "LNDMRK": 74, "RESARE": 112, "SBDARE": 121, "M_COVR": 302, "C_AGGR": 400,
}
ATTRIBUTES = {
    "BCNSHP": 2, "BOYSHP": 4, "CATCAM": 13, "CATCOA": 15, "CATCOV": 18, "CATLMK": 35, "CATLAM": 36, "CATLIT": 37,
    "CATOBS": 42, "CATSLC": 60, "CATSPM": 66, "CATWRK": 71, "COLOUR": 75, "COLPAT": 76, "CONVIS": 83, "DRVAL1": 87,
    "DRVAL2": 88, "HEIGHT": 95, "INFORM": 102, "LITCHR": 107, "MLTYLT": 110, "NATSUR": 113, "OBJNAM": 116, "ORIENT": 117,
    "QUASOU": 125, "RESTRN": 131, "SCAMIN": 133, "SECTR1": 136, "SECTR2": 137, "SIGGRP": 141, "SIGPER": 142, "SOUACC": 144,
    "STATUS": 149, "TECSOU": 156, "TOPSHP": 171, "VALDCO": 174, "VALNMR": 178, "VALSOU": 179, "WATLEV": 187, "NOBJNM": 301,
}
NOT_S57 = {"FIDN", "FCSUBTYPE", "SURDEP", "MASTER", "DEPTH"}  # DEPTH is the third coordinate

# What only the cell has, by the feature's number: names in the national language, a text that is not ASCII, and an
# attribute whose value is unknown.
NATIONAL = {1001: "Wyspa Merrow", 17024: "Przylądek Merrow", 17026: "Łacha Strand", 19002: "Ławica Głuptaków"}
GENERAL = {1001: {"INFORM": "Heights ±0.5 m"}, 9001: {"VALSOU": ""}, 18008: {"OBJNAM": ""}}


def positions(wkt):
    """The places of a geometry, a list for each ring, line or point, in the cell's whole numbers (y, x, z)."""
    def place(text):
        x, y, *z = map(float, text.split())
        return (round(y * s57.COORDINATE_FACTOR), round(x * s57.COORDINATE_FACTOR), *(round(v * s57.SOUNDING_FACTOR) for v in z))
    return [[place(text) for text in part.split(",")] for part in re.findall(r"\(([^()]+)\)", wkt)]


def text_of(value):
    return f"{value:g}" if isinstance(value, float) else str(value)


def feature_rows(chart):
    """(layer, number, geometry, attributes by name, number of the mark that carries it)."""
    for layer in LAYERS:
        header = chart.header(layer)
        for row in chart.rows[layer]:
            values = {name: value for name, value in zip(header, row) if value is not None}
            number = values["FIDN"]
            attributes = {name: text_of(value) for name, value in values.items() if name in ATTRIBUTES}
            assert set(values) - set(attributes) - NOT_S57 == {"WKT"}, values
            yield layer, number, values["WKT"], attributes | GENERAL.get(number, {}), values.get("MASTER")


def attribute_rows(attributes):
    return sorted((ATTRIBUTES[name], value) for name, value in attributes.items())


class Cell:
    """Makes the records. `unknown` are (class code, number, geometry, attribute rows) of classes that no catalogue has."""

    def __init__(self, chart, unknown=()):
        self.data = s57.DataSet()
        self.rows = list(feature_rows(chart))
        self.unknown = unknown
        self.network = Network()
        self.features = {}  # key of the record, by the feature's number
        self.nodes = {}  # vector_name by place
        self._vectors()
        self._features()

    def _vectors(self):
        coverage = self._coverage()
        self.chains = {}  # numbers of the network's lines, by feature
        geometries = [(number, geometry) for layer, number, geometry, _, _ in self.rows]
        geometries += [(number, geometry) for _, number, geometry, _ in self.unknown]
        for number, geometry in [*geometries, (1, coverage)]:
            if not geometry.startswith("POINT"):
                self.chains[number] = [self.network.add(part) for part in positions(geometry)]
        nodes, edges, self.lines = self.network.chains()
        connected = {place: s57.vector_name(CONNECTED, i) for i, place in enumerate(nodes, 1)}
        for geometry in (geometry for _, geometry in geometries if geometry.startswith("POINT (")):
            (place,), = positions(geometry)
            if place not in connected and place not in self.nodes:
                self.nodes[place] = s57.vector_name(ISOLATED, self.data.add(ISOLATED, [(SG2D, [place])]))
        self.nodes |= connected
        for place in nodes:
            self.data.add(CONNECTED, [(SG2D, [place])])
        for edge in edges:
            ends = [(connected[edge[0]], NONE, NONE, s57.BEGIN, NONE), (connected[edge[-1]], NONE, NONE, s57.END, NONE)]
            self.data.add(EDGE, [(VRPT, ends), (SG2D, list(edge[1:-1]))])

    def _coverage(self):
        """The rectangle around everything, as text, with a corner wherever a line or an area meets its sides."""
        places = {place for _, _, geometry, _, _ in self.rows for part in positions(geometry) if len(part) > 1 for place in part}
        south, north = min(p[0] for p in places), max(p[0] for p in places)
        west, east = min(p[1] for p in places), max(p[1] for p in places)
        places |= {(y, x) for y in (south, north) for x in (west, east)}
        round_it = (sorted(p for p in places if p[1] == west) + sorted(p for p in places if p[0] == north)[1:]
                    + sorted((p for p in places if p[1] == east), reverse=True)[1:]
                    + sorted((p for p in places if p[0] == south), reverse=True)[1:])
        return "POLYGON ((" + ", ".join(f"{x / s57.COORDINATE_FACTOR:.7f} {y / s57.COORDINATE_FACTOR:.7f}" for y, x in round_it) + "))"

    def _spatial(self, number, geometry):
        """(PRIM, rows of FSPT)."""
        if geometry.startswith("POINT"):
            (place,), = positions(geometry)
            return POINT, [(self.nodes[place], NONE, NONE, NONE)]
        area = geometry.startswith("POLYGON")
        rows = []
        for part, line in enumerate(self.chains[number]):
            usage = NONE if not area else s57.INTERIOR if part else s57.EXTERIOR
            rows += [(s57.vector_name(EDGE, edge + 1), s57.FORWARD if forward else s57.REVERSE, usage, s57.END)
                     for edge, forward in self.lines[line]]
        return (AREA if area else LINE), rows

    def _add(self, code, number, primitive, pointers, general, national=(), related=()):
        group = 1 if code in (CLASSES["DEPARE"], CLASSES["LNDARE"]) else 2
        key = self.data.add(FEATURE, [(FOID, [(AGENCY, number, 1)]), (ATTF, list(general)), (NATF, list(national)),
                                      (FFPT, list(related)), (FSPT, pointers)], (primitive, group, code))
        self.features[number] = FEATURE, key

    @staticmethod
    def _pointer(number, relation):
        return s57.feature_name(AGENCY, number, 1), relation, ""

    def _features(self):
        slaves = {}
        for _, number, _, _, master in self.rows:
            slaves.setdefault(master, []).append(number)
        self._add(CLASSES["M_COVR"], 1, *self._spatial(1, self._coverage()), [(ATTRIBUTES["CATCOV"], "1")])
        soundings = {}
        for layer, number, geometry, attributes, _ in self.rows:
            rows = attribute_rows(attributes)
            if layer == "SOUNDG":
                soundings.setdefault(tuple(rows), []).append((number, positions(geometry)[0][0]))
                continue
            national = [(ATTRIBUTES["NOBJNM"], NATIONAL[number])] if number in NATIONAL else []
            related = [self._pointer(slave, s57.SLAVE) for slave in slaves.get(number, [])]
            self._add(CLASSES[layer], number, *self._spatial(number, geometry), rows, national, related)
        for rows, points in soundings.items():
            node = self.data.add(ISOLATED, [(SG3D, [place for _, place in points])])
            self._add(CLASSES["SOUNDG"], points[0][0], POINT, [(s57.vector_name(ISOLATED, node), NONE, NONE, NONE)], rows)
        leading = [number for layer, number, _, attributes, _ in self.rows
                   if layer == "LIGHTS" and attributes.get("OBJNAM", "").startswith("Leading Lights")]
        self._add(CLASSES["C_AGGR"], 2, s57.NO_GEOMETRY, [], [], related=[self._pointer(n, s57.PEER) for n in leading])
        for code, number, geometry, rows in self.unknown:
            self._add(code, number, *self._spatial(number, geometry), rows)

    def in_order(self):
        """The data set with its vectors before its features."""
        self.data.records = dict(sorted(self.data.records.items(), key=lambda item: item[0][0] == FEATURE))
        return self.data


def before_second_update(cell, data):
    """What the second update changes, undone: a light is new, a buoy is moved, a light has another range and a name."""
    older = data.copy()

    def record(number):
        return older.records[cell.features[number]]

    def spatial(number):
        kind, index = record(number).fields["FSPT"][0][0][0], int.from_bytes(record(number).fields["FSPT"][0][0][1:], "little")
        return older.records[kind, index]

    ferry = cell.features[NEW_LIGHT]
    node = spatial(NEW_LIGHT)
    del older.records[ferry], older.records[node.kind, node.number]
    (y, x), = spatial(MOVED_BUOY).fields["SG2D"]
    spatial(MOVED_BUOY).fields["SG2D"] = [(y + 4_000, x - 2_500)]
    changed = dict(record(CHANGED_LIGHT).fields["ATTF"])
    changed[ATTRIBUTES["VALNMR"]] = "18"
    del changed[ATTRIBUTES["OBJNAM"]]
    changed[ATTRIBUTES["STATUS"]] = "7"  # which the update takes away
    record(CHANGED_LIGHT).fields["ATTF"] = sorted(changed.items())
    return older


def before_first_update(cell, data):
    """What the first update changes, undone: a wreck is gone, soundings are new and others moved, the bank's contour has
    more points, a topmark belongs to its buoy, an area has lost its hole."""
    older = data.copy()

    def record(number):
        return older.records[cell.features[number]]

    def vector(row):
        return older.records[row[0][0], int.from_bytes(row[0][1:], "little")]

    (y, x), = vector(record(MOVED_BUOY).fields["FSPT"][0]).fields["SG2D"]
    node = older.add(ISOLATED, [(SG2D, [(y - 90_000, x + 90_000)])])
    older.add(FEATURE, [(FOID, [(AGENCY, GONE_WRECK, 1)]), (ATTF, attribute_rows({"CATWRK": "2", "WATLEV": "3", "QUASOU": "2"})),
                        (FSPT, [(s57.vector_name(ISOLATED, node), NONE, NONE, NONE)])], (POINT, 2, CLASSES["WRECKS"]))
    soundings = [record for record in older.records.values() if "SG3D" in record.fields]
    deep, swept = sorted(soundings, key=lambda record: -len(record.fields["SG3D"]))[:2]
    del deep.fields["SG3D"][40:45]
    y, x, z = swept.fields["SG3D"][0]
    swept.fields["SG3D"][0] = (y, x, z + 12)
    contour = vector(record(CONTOUR).fields["FSPT"][0])
    del contour.fields["SG2D"][10:13]
    longest = max((record for record in older.records.values() if record.kind == EDGE and record is not contour),
                  key=lambda record: len(record.fields.get("SG2D", [])))
    places = longest.fields["SG2D"]
    between = tuple((a + b) // 2 for a, b in zip(places[4], places[5]))
    longest.fields["SG2D"] = places[:5] + [between] + places[5:]
    del record(MASTER_BUOY).fields["FFPT"]
    return older


# Numbers of the features that the updates change.
NEW_LIGHT, MOVED_BUOY, CHANGED_LIGHT, GONE_WRECK, CONTOUR, MASTER_BUOY = 17036, 14004, 17028, 9999, 5008, 10001


def states(chart, unknown=()):
    """The data set before the first update, after it, and after the second."""
    cell = Cell(chart, unknown)
    last = cell.in_order()
    middle = before_second_update(cell, last)
    first = before_first_update(cell, middle)
    return first, middle, last


def files(chart, unknown=()):
    """The bytes of the base cell and its updates by file name."""
    first, middle, last = states(chart, unknown)
    parameters = (20, 1, 2, 12, 12, 50_000, 1, 1, 1, 1, s57.COORDINATE_FACTOR, s57.SOUNDING_FACTOR, COMMENT)
    base = s57.identification(NAME, EDITION, 0, ISSUED[0], ISSUED[0], agency=AGENCY, comment=COMMENT)
    written = {f"{NAME}.000": s57.write(base, s57.base_records(first), parameters)}
    for number, (old, new) in enumerate(((first, middle), (middle, last)), 1):
        row = s57.identification(NAME, EDITION, number, ISSUED[number], agency=AGENCY)
        written[f"{NAME}.{number:03}"] = s57.write(row, list(s57.update_records(old, new)))
    return written
