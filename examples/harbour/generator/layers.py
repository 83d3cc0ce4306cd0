"""The layers of the chart: their columns in order, and the numbering of their features."""

INTEGER, REAL, TEXT = "Integer", "Real", "String"

# FCSUBTYPE is the subtype code of a geodatabase; SURDEP is the least depth of the depth area around a danger; MASTER is
# the number of the mark that carries a topmark. The other columns are S-57 attributes.
COLUMN_TYPES = {
    INTEGER: "FIDN MASTER FCSUBTYPE BOYSHP BCNSHP CATLAM CATCAM TOPSHP LITCHR MLTYLT CATWRK CATOBS WATLEV CATCOA CATSLC CONVIS SCAMIN",
    REAL: "SIGPER HEIGHT VALNMR SECTR1 SECTR2 ORIENT VALSOU SURDEP DEPTH SOUACC DRVAL1 DRVAL2 VALDCO",
    TEXT: "COLOUR COLPAT CATSPM CATLIT CATLMK SIGGRP QUASOU TECSOU NATSUR RESTRN STATUS OBJNAM INFORM",
}
TYPE_OF = {name: kind for kind, names in COLUMN_TYPES.items() for name in names.split()}

# Number block of the layer's features, columns.
LAYERS = {
    "LNDARE": (1000, "OBJNAM"),
    "COALNE": (2000, "CATCOA OBJNAM"),
    "SLCONS": (3000, "CATSLC WATLEV OBJNAM"),
    "DEPARE": (4000, "DRVAL1 DRVAL2 QUASOU"),
    "DEPCNT": (5000, "VALDCO"),
    "SOUNDG": (6000, "DEPTH QUASOU TECSOU SOUACC"),
    "UWTROC": (7000, "WATLEV VALSOU QUASOU NATSUR SURDEP"),
    "OBSTRN": (8000, "CATOBS WATLEV VALSOU QUASOU NATSUR SURDEP INFORM"),
    "WRECKS": (9000, "CATWRK WATLEV VALSOU QUASOU SURDEP HEIGHT OBJNAM"),
    "BOYLAT": (10000, "FCSUBTYPE BOYSHP CATLAM COLOUR COLPAT STATUS OBJNAM SCAMIN"),
    "BOYCAR": (11000, "BOYSHP CATCAM COLOUR COLPAT OBJNAM SCAMIN"),
    "BOYISD": (12000, "BOYSHP COLOUR COLPAT OBJNAM SCAMIN"),
    "BOYSAW": (13000, "BOYSHP COLOUR COLPAT OBJNAM SCAMIN"),
    "BOYSPP": (14000, "BOYSHP CATSPM COLOUR STATUS OBJNAM INFORM SCAMIN"),
    "BCNLAT": (15000, "BCNSHP CATLAM COLOUR HEIGHT OBJNAM"),
    "TOPMAR": (16000, "TOPSHP COLOUR MASTER"),
    "LIGHTS": (17000, "FCSUBTYPE CATLIT COLOUR LITCHR SIGGRP SIGPER HEIGHT VALNMR SECTR1 SECTR2 ORIENT MLTYLT STATUS OBJNAM"),
    "LNDMRK": (18000, "CATLMK CONVIS HEIGHT OBJNAM"),
    "RESARE": (19000, "RESTRN OBJNAM"),
    "SBDARE": (20000, "NATSUR WATLEV"),
}


class Chart:
    """Collects features; each gets the next number of its layer."""

    def __init__(self):
        self.rows = {layer: [] for layer in LAYERS}

    def add(self, layer, geometry, **attributes):
        """Returns the feature's number."""
        first, names = LAYERS[layer]
        columns = ["FIDN"] + names.split()
        unknown = set(attributes) - set(columns)
        if unknown:
            raise ValueError(f"{layer} has no column {', '.join(sorted(unknown))}")
        attributes["FIDN"] = first + len(self.rows[layer]) + 1
        self.rows[layer].append([geometry] + [attributes.get(name) for name in columns])
        return attributes["FIDN"]

    @staticmethod
    def header(layer):
        return ["WKT", "FIDN"] + LAYERS[layer][1].split()

    @staticmethod
    def types(layer):
        return ["WKT"] + [TYPE_OF[name] for name in Chart.header(layer)[1:]]
