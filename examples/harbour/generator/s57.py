"""S-57 edition 3.1: data sets as records in memory, the updates between two states of one, and both as files."""
import copy
import struct

import iso8211
from iso8211 import Field

ISOLATED, CONNECTED, EDGE, FEATURE = 110, 120, 130, 100  # RCNM
POINT, LINE, AREA, NO_GEOMETRY = 1, 2, 3, 255  # PRIM
INSERT, DELETE, MODIFY = 1, 2, 3  # instructions of an update
MASTER, SLAVE, PEER = 1, 2, 3  # RIND
FORWARD, REVERSE, EXTERIOR, INTERIOR, BEGIN, END, NONE = 1, 2, 1, 2, 1, 2, 255
DELETED = "\x7f"  # the value of an attribute that an update takes away
COORDINATE_FACTOR, SOUNDING_FACTOR = 10_000_000, 10

DSID = Field("DSID", "Data set identification field",
             [("RCNM", "b11"), ("RCID", "b14"), ("EXPP", "b11"), ("INTU", "b11"), ("DSNM", "A"), ("EDTN", "A"), ("UPDN", "A"),
              ("UADT", "A(8)"), ("ISDT", "A(8)"), ("STED", "R(4)"), ("PRSP", "b11"), ("PSDN", "A"), ("PRED", "A"),
              ("PROF", "b11"), ("AGEN", "b12"), ("COMT", "A")])
DSSI = Field("DSSI", "Data set structure information field",
             [("DSTR", "b11"), ("AALL", "b11"), ("NALL", "b11"), ("NOMR", "b14"), ("NOCR", "b14"), ("NOGR", "b14"),
              ("NOLR", "b14"), ("NOIN", "b14"), ("NOCN", "b14"), ("NOED", "b14"), ("NOFA", "b14")])
DSPM = Field("DSPM", "Data set parameter field",
             [("RCNM", "b11"), ("RCID", "b14"), ("HDAT", "b11"), ("VDAT", "b11"), ("SDAT", "b11"), ("CSCL", "b14"),
              ("DUNI", "b11"), ("HUNI", "b11"), ("PUNI", "b11"), ("COUN", "b11"), ("COMF", "b14"), ("SOMF", "b14"),
              ("COMT", "A")])
VRID = Field("VRID", "Vector record identifier field", [("RCNM", "b11"), ("RCID", "b14"), ("RVER", "b12"), ("RUIN", "b11")])
ATTV = Field("ATTV", "Vector record attribute field", [("ATTL", "b12"), ("ATVL", "A")], True)
VRPC = Field("VRPC", "Vector record pointer control field", [("VPUI", "b11"), ("VPIX", "b12"), ("NVPT", "b12")])
VRPT = Field("VRPT", "Vector record pointer field",
             [("NAME", "B(40)"), ("ORNT", "b11"), ("USAG", "b11"), ("TOPI", "b11"), ("MASK", "b11")], True)
SGCC = Field("SGCC", "Coordinate control field", [("CCUI", "b11"), ("CCIX", "b12"), ("CCNC", "b12")])
SG2D = Field("SG2D", "2-D coordinate field", [("YCOO", "b24"), ("XCOO", "b24")], True)
SG3D = Field("SG3D", "3-D coordinate (sounding array) field", [("YCOO", "b24"), ("XCOO", "b24"), ("VE3D", "b24")], True)
FRID = Field("FRID", "Feature record identifier field",
             [("RCNM", "b11"), ("RCID", "b14"), ("PRIM", "b11"), ("GRUP", "b11"), ("OBJL", "b12"), ("RVER", "b12"),
              ("RUIN", "b11")])
FOID = Field("FOID", "Feature object identifier field", [("AGEN", "b12"), ("FIDN", "b14"), ("FIDS", "b12")])
ATTF = Field("ATTF", "Feature record attribute field", [("ATTL", "b12"), ("ATVL", "A")], True, "-A ")
NATF = Field("NATF", "Feature record national attribute field", [("ATTL", "b12"), ("ATVL", "A")], True, "%/A", wide=True)
FFPC = Field("FFPC", "Feature record to feature object pointer control field",
             [("FFUI", "b11"), ("FFIX", "b12"), ("NFPT", "b12")])
FFPT = Field("FFPT", "Feature record to feature object pointer field", [("LNAM", "B(64)"), ("RIND", "b11"), ("COMT", "A")], True)
FSPC = Field("FSPC", "Feature record to spatial record pointer control field",
             [("FSUI", "b11"), ("FSIX", "b12"), ("NSPT", "b12")])
FSPT = Field("FSPT", "Feature record to spatial record pointer field",
             [("NAME", "B(40)"), ("ORNT", "b11"), ("USAG", "b11"), ("MASK", "b11")], True)

BASE_FIELDS = [(DSID, "0001"), (DSSI, "DSID"), (DSPM, "0001"), (VRID, "0001"), (ATTV, "VRID"), (VRPT, "VRID"),
               (SG2D, "VRID"), (SG3D, "VRID"), (FRID, "0001"), (FOID, "FRID"), (ATTF, "FRID"), (NATF, "FRID"),
               (FFPT, "FRID"), (FSPT, "FRID")]
UPDATE_FIELDS = [(DSID, "0001"), (DSSI, "DSID"), (VRID, "0001"), (ATTV, "VRID"), (VRPC, "VRID"), (VRPT, "VRID"),
                 (SGCC, "VRID"), (SG2D, "VRID"), (SG3D, "VRID"), (FRID, "0001"), (FOID, "FRID"), (ATTF, "FRID"),
                 (NATF, "FRID"), (FFPC, "FRID"), (FFPT, "FRID"), (FSPC, "FRID"), (FSPT, "FRID")]
CONTROLS = [(VRPC, VRPT), (SGCC, SG2D), (SGCC, SG3D), (FFPC, FFPT), (FSPC, FSPT)]
ATTRIBUTES = [ATTV, ATTF, NATF]


def vector_name(kind, number):
    return struct.pack("<BI", kind, number)


def feature_name(agency, number, part):
    return struct.pack("<HIH", agency, number, part)


class Record:
    """A vector or feature record: its RCNM and RCID, and the rows of its fields by tag. A feature has PRIM, GRUP, OBJL, too."""

    def __init__(self, kind, number, fields, feature=None):
        self.kind, self.number, self.fields, self.feature, self.version = kind, number, fields, feature, 1

    def rows(self, field):
        return self.fields.get(field.tag, [])

    def identifier(self, instruction):
        if self.kind == FEATURE:
            return FRID, [(self.kind, self.number, *self.feature, self.version, instruction)]
        return VRID, [(self.kind, self.number, self.version, instruction)]


class DataSet:
    """The records of a cell in order."""

    def __init__(self):
        self.records = {}

    def add(self, kind, fields, feature=None):
        """Returns the number of the new record."""
        number = 1 + max((n for k, n in self.records if k == kind), default=0)
        self.records[kind, number] = Record(kind, number, {field.tag: rows for field, rows in fields if rows}, feature)
        return number

    def copy(self):
        return copy.deepcopy(self)


def _change(control, field, old, new):
    """The instructions that make the rows `new` of `old`, each the fields of one update record."""
    begin = 0
    while begin < min(len(old), len(new)) and old[begin] == new[begin]:
        begin += 1
    end = 0
    while end < min(len(old), len(new)) - begin and old[-1 - end] == new[-1 - end]:
        end += 1
    was, is_now = old[begin:len(old) - end], new[begin:len(new) - end]
    common = min(len(was), len(is_now))
    if common:
        yield [(control, [(MODIFY, begin + 1, common)]), (field, is_now[:common])]
    if len(was) > common:
        yield [(control, [(DELETE, begin + common + 1, len(was) - common)])]
    if len(is_now) > common:
        yield [(control, [(INSERT, begin + common + 1, len(is_now) - common)]), (field, is_now[common:])]


def _attribute_changes(old, new):
    for field in ATTRIBUTES:
        was, is_now = dict(old.rows(field)), dict(new.rows(field))
        rows = [(code, value) for code, value in is_now.items() if was.get(code) != value]
        rows += [(code, DELETED) for code in was if code not in is_now]
        if rows:
            yield field, rows


def update_records(old, new):
    """The update records, as fields, that make `new` of `old`; sets the versions of the records of `new`."""
    inserted = [key for key in new.records if key not in old.records]
    for key in inserted:
        record = new.records[key]
        record.version = 1
        yield [record.identifier(INSERT)] + _contents(record)
    for key, record in new.records.items():
        if key in inserted:
            continue
        was = old.records[key]
        record.version = was.version
        changes = [change for control, field in CONTROLS
                   for change in _change(control, field, was.rows(field), record.rows(field))]
        attributes = list(_attribute_changes(was, record))
        if attributes:
            changes[:1] = [attributes + (changes[0] if changes else [])]
        for change in changes:
            record.version += 1
            yield [record.identifier(MODIFY)] + change
    for key in reversed([key for key in old.records if key not in new.records]):
        record = copy.copy(old.records[key])
        record.version += 1
        yield [record.identifier(DELETE)]


def _contents(record):
    order = [field for field, _ in UPDATE_FIELDS]
    return [(field, record.fields[field.tag]) for field in order if field.tag in record.fields]


def base_records(data):
    return [[record.identifier(INSERT)] + _contents(record) for record in data.records.values()]


def _count(records, wanted):
    return sum(1 for fields in records if wanted(fields[0][0], fields[0][1][0]))


def _structure(records):
    """The row of DSSI: how many records of each kind follow."""
    def features(first, last):
        return _count(records, lambda field, row: field is FRID and first <= row[4] <= last)

    def vectors(kind):
        return _count(records, lambda field, row: field is VRID and row[0] == kind)

    meta, collections_, cartographic = features(300, 399), features(400, 499), features(500, 599)
    geo = _count(records, lambda field, row: field is FRID) - meta - collections_ - cartographic
    return (2, 1, 2, meta, cartographic, geo, collections_, vectors(ISOLATED), vectors(CONNECTED), vectors(EDGE), 0)


def identification(name, edition, update, issued, applied="", purpose=None, agency=65534, comment=""):
    """The row of DSID; `update` 0 is the base cell."""
    new = update == 0 if purpose is None else purpose == 1
    return (10, 1, 1 if new else 2, 5, f"{name}.{update:03}", str(edition), str(update), applied, issued, "03.1", 1, "", "2.0",
            1 if new else 2, agency, comment)


def write(identification_row, records, parameters=None):
    """The bytes of a file; a base cell has `parameters`, the row of DSPM."""
    fields = BASE_FIELDS if parameters else UPDATE_FIELDS
    described = {field.tag for field, _ in fields}
    contents = [[(DSID, [identification_row]), (DSSI, [_structure(records)])]]
    contents += [[(DSPM, [parameters])]] if parameters else []
    contents += records
    assert all(field.tag in described for record in contents for field, _ in record)
    return iso8211.description_record(fields) + b"".join(
        iso8211.data_record(number, record) for number, record in enumerate(contents, 1))
