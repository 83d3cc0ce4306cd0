"""Base cells and updates that are broken on purpose: an import has all of a cell or says which file is wrong, and how."""
import collections
import os
import pathlib
import random
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, main, query

sys.path.insert(0, str(ROOT / "examples" / "harbour" / "generator"))
import cell  # noqa: E402
import features  # noqa: E402
import s57  # noqa: E402
from layers import Chart  # noqa: E402

BASE, FIRST, SECOND = (f"{cell.NAME}.{number:03}" for number in range(3))
ROW = "RCNM RCID EXPP INTU DSNM EDTN UPDN UADT ISDT STED PRSP PSDN PRED PROF AGEN COMT".split()
PARAMETERS = (20, 1, 2, 12, 12, 50_000, 1, 1, 1, 1, s57.COORDINATE_FACTOR, s57.SOUNDING_FACTOR, "")


def small_chart():
    """Few enough features that a thousand imports are no matter."""
    whole, chart = Chart(), Chart()
    features.draw(whole)
    keep = {cell.NEW_LIGHT, cell.MOVED_BUOY, cell.CHANGED_LIGHT, cell.CONTOUR, cell.MASTER_BUOY, 16001, 1001, 5007, 4008, 4009, 17024}
    for layer, rows in whole.rows.items():
        chart.rows[layer] = [row for row in rows if row[1] in keep or layer == "SOUNDG"]
    return chart


CHART = small_chart()
STATES = cell.states(CHART)


def identified(update, **changed):
    """The row of DSID of the base cell or an update, with values changed."""
    row = dict(zip(ROW, s57.identification(cell.NAME, cell.EDITION, update, cell.ISSUED[update], agency=cell.AGENCY)))
    return tuple((row | changed).values())


def base(**changed):
    return s57.write(identified(0, **changed), s57.base_records(STATES[0]), PARAMETERS)


def update(number, change=None, **changed):
    """`change` gets the update's records and may change them."""
    records = list(s57.update_records(STATES[number - 1].copy(), STATES[number].copy()))
    if change:
        change(records)
    return s57.write(identified(number, **changed), records)


list(s57.update_records(STATES[0], STATES[1]))  # gives the records of the second state their versions
INTACT = {BASE: base(), FIRST: update(1), SECOND: update(2)}


def records_of(content):
    """(offset, [(tag, offset, size)]) of each record."""
    at = 0
    while at < len(content):
        leader = content[at:at + 24]
        length, start = int(leader[:5]), int(leader[12:17])
        sizes = int(leader[20:21]), int(leader[21:22])
        entry = 4 + sum(sizes)
        directory = content[at + 24:at + start - 1]
        yield at, [(directory[i:i + 4].decode(), at + start + int(directory[i + 4 + sizes[0]:i + entry]),
                    int(directory[i + 4:i + 4 + sizes[0]])) for i in range(0, len(directory), entry)]
        at += length


def version(wanted, delta):
    """Changes the version that an update's record of the kind (RUIN) names."""
    def change(records):
        for fields in records:
            field, (row,) = fields[0]
            if row[-1] == wanted:
                fields[0] = field, [(*row[:-2], row[-2] + delta, row[-1])]
                return
        raise AssertionError("no such record")
    return change


def without(tag):
    def change(records):
        for fields in records:
            if any(field.tag == tag for field, _ in fields):
                fields[:] = [(field, rows) for field, rows in fields if field.tag != tag]
                return
        raise AssertionError("no such record")
    return change


def control(tag, position, value):
    """Changes a value of an update's first control field with the tag."""
    def change(records):
        for fields in records:
            for i, (field, rows) in enumerate(fields):
                if field.tag == tag:
                    row = list(rows[0])
                    row[position] = value
                    fields[i] = field, [tuple(row)]
                    return
        raise AssertionError("no such record")
    return change


def first_again(records):
    records.append(records[0])


def no_records(records):
    del records[1:]


def dangling(records):
    """Takes a node away that a feature needs."""
    key = next(key for key in STATES[0].records if key[0] == s57.ISOLATED and "SG2D" in STATES[0].records[key].fields)
    records.append([(s57.VRID, [(*key, 2, s57.DELETE)])])


OTHER = "XX5OTHER"
# Name; what is in the folder otherwise (None: it is not there); the file that is named; what is said of it.
BROKEN = [
    ("empty update", {FIRST: b""}, FIRST, "the file is empty"),
    ("empty last update", {SECOND: b""}, SECOND, "the file is empty"),
    ("no ISO 8211", {FIRST: b"this is no update " * 20}, FIRST, "does not begin with a record"),
    ("update that ends in its descriptions", {FIRST: INTACT[FIRST][:700]}, FIRST, "does not begin with a record"),
    ("update without its last quarter", {FIRST: INTACT[FIRST][:len(INTACT[FIRST]) * 3 // 4]}, FIRST, "the file ends in it"),
    ("update without its last byte", {SECOND: INTACT[SECOND][:-1]}, SECOND, "the file ends in it"),
    ("update without its last record", {SECOND: INTACT[SECOND][:max(at for at, _ in records_of(INTACT[SECOND]))]}, SECOND,
     "it is not whole"),
    ("base without its last record", {BASE: INTACT[BASE][:max(at for at, _ in records_of(INTACT[BASE]))]}, BASE, "it is not whole"),
    ("base without its second half", {BASE: INTACT[BASE][:len(INTACT[BASE]) // 2]}, BASE, "the file ends in it"),
    ("bytes behind the last record", {FIRST: INTACT[FIRST] + b"\0"}, FIRST, "the file ends in it"),
    ("first update missing", {FIRST: None}, FIRST, f"this update is missing, and {SECOND} follows it"),
    ("gap in the row", {SECOND: None, f"{cell.NAME}.003": update(2, UPDN="3", DSNM=f"{cell.NAME}.003")}, SECOND,
     "this update is missing"),
    ("of another cell", {FIRST: update(1, DSNM=f"{OTHER}.001")}, FIRST, f"an update of {OTHER}.001, not of {BASE}"),
    ("without a name", {FIRST: update(1, DSNM="")}, FIRST, "no data set name"),
    ("of an earlier edition", {FIRST: update(1, EDTN="2")}, FIRST, "an update of edition 2; the cell's is 3"),
    ("of a later edition", {SECOND: update(2, EDTN="4")}, SECOND, "an update of edition 4; the cell's is 3"),
    ("without an edition", {FIRST: update(1, EDTN="")}, FIRST, "its edition is '', which is no number"),
    ("that cancels the cell", {SECOND: update(2, no_records, EDTN="0")}, SECOND, "it cancels the cell"),
    ("number of the next", {FIRST: update(1, UPDN="2")}, FIRST, "update number 2 under the name of number 1"),
    ("number that is none", {FIRST: update(1, UPDN="one")}, FIRST, "its update number is no number"),
    ("number in the data set name", {SECOND: update(2, DSNM=f"{cell.NAME}.001")}, SECOND, f"its data set name is {FIRST}"),
    ("the first update twice", {SECOND: INTACT[FIRST]}, SECOND, "update number 1 under the name of number 2"),
    ("of another agency", {FIRST: update(1, AGEN=540)}, FIRST, "an update of agency 540; the cell's is 65534"),
    ("issued before the base cell", {FIRST: update(1, ISDT="20240430")}, FIRST, "before what it changes (20240501)"),
    ("issued before the first", {SECOND: update(2, ISDT="20240516")}, SECOND, "before what it changes (20240517)"),
    ("without an issue date", {FIRST: update(1, ISDT="")}, FIRST, "which is no date"),
    ("with an application date that is none", {FIRST: update(1, UADT="2024Q1")}, FIRST, "which is no date"),
    ("of unknown purpose", {FIRST: update(1, EXPP=7)}, FIRST, "a value is unknown"),
    ("not a data set record", {FIRST: update(1, RCNM=11)}, FIRST, "a value is unknown"),
    ("a base cell as update", {FIRST: INTACT[BASE]}, FIRST, "a base cell (edition 3) under the name of an update"),
    ("an update as base cell", {BASE: INTACT[FIRST]}, BASE, f"update 1 of {BASE}; name the base cell"),
    ("insert what is there", {SECOND: update(2, first_again)}, SECOND, "is there already"),
    ("delete of another version", {FIRST: update(1, version(s57.DELETE, 1))}, FIRST, "which has version"),
    ("change of another version", {FIRST: update(1, version(s57.MODIFY, 1))}, FIRST, "which has version"),
    ("unknown instruction", {FIRST: update(1, control("SGCC", 0, 9))}, FIRST, "unknown"),
    ("index behind the end", {FIRST: update(1, control("SGCC", 1, 9999))}, FIRST, "an index that the record lacks"),
    ("index 0", {FIRST: update(1, control("SGCC", 1, 0))}, FIRST, "an index that the record lacks"),
    ("wrong count of coordinates", {FIRST: update(1, control("SGCC", 2, 77))}, FIRST, "wrong count"),
    ("wrong count of pointers", {FIRST: update(1, control("FFPC", 2, 2))}, FIRST, "wrong count"),
    ("pointers without instruction", {FIRST: update(1, without("FFPC"))}, FIRST, "wrong count"),
    ("delete of a node in use", {FIRST: update(1, dangling)}, FIRST, "points to a vector that is not there"),
]


class FilesTest(TestCase):
    def folder_with(self, name, files):
        folder = self.folder / name
        folder.mkdir(parents=True)
        for file, content in files.items():
            if content is not None:
                (folder / file).write_bytes(content)
        return folder

    def content(self, dataset):
        """Every row of every layer, without the keys of the dataset."""
        found = {}
        for (table,) in query(dataset, "SELECT table_name FROM gpkg_contents"):
            columns = ", ".join(f'"{name}"' for (name,) in query(dataset, f"SELECT name FROM pragma_table_info('{table}')"))
            found[table] = query(dataset, f'SELECT {columns} FROM "{table}" ORDER BY 1')
        return found

    def imported(self, folder, base_name=BASE):
        dataset = folder / "chart.gpkg"
        done = cxml("import", folder / base_name, dataset)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return self.content(dataset)


class Updates(FilesTest):
    def test_each_file_is_named_with_what_is_wrong(self):
        for name, changed, culprit, why in BROKEN:
            with self.subTest(name):
                folder = self.folder_with(name, INTACT | changed)
                done = cxml("import", folder / BASE, folder / "chart.gpkg")
                self.assertEqual((done.returncode, done.stdout), (2, ""), done.stderr)
                self.assertTrue(done.stderr.startswith(f"cxml: {folder / culprit}: "), done.stderr)
                self.assertIn(why, done.stderr)
                self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
                self.assertEqual(sorted(path.name for path in folder.iterdir()),
                                 sorted(name for name, content in (INTACT | changed).items() if content is not None))

    def test_an_intact_row_is_applied(self):
        content = self.imported(self.folder_with("intact", INTACT))
        self.assertEqual(query(self.folder / "intact" / "chart.gpkg", "SELECT DSID_UPDN, DSID_ISDT FROM DSID"), [("2", "20240603")])
        self.assertNotEqual(content, self.imported(self.folder_with("bare", {BASE: INTACT[BASE]})))

    def test_files_that_are_no_updates_are_left_alone(self):
        content = self.imported(self.folder_with("intact", INTACT))
        others = {f"{OTHER}.001": b"", "README.TXT": b"", f"{cell.NAME}.TXT": b"", f"{cell.NAME}.0001": b"", f"{cell.NAME}.01": b""}
        self.assertEqual(self.imported(self.folder_with("others", INTACT | others)), content)

    def test_an_update_that_is_no_file(self):
        for name, make in (("folder", pathlib.Path.mkdir), ("pipe", os.mkfifo)):
            with self.subTest(name):
                folder = self.folder_with(name, INTACT | {FIRST: None})
                make(folder / FIRST)
                done = cxml("import", folder / BASE, folder / "chart.gpkg")
                self.assertEqual((done.returncode, done.stderr),
                                 (2, f"cxml: {folder / FIRST}: not an S-57 cell that can be read: it is no file\n"))

    def test_names_may_be_of_another_case(self):
        content = self.imported(self.folder_with("intact", INTACT))
        lower = {BASE.lower(): INTACT[BASE], FIRST: INTACT[FIRST], SECOND.lower(): INTACT[SECOND]}
        self.assertEqual(self.imported(self.folder_with("lower", lower), BASE.lower()), content)

    def test_updates_may_lie_in_folders_of_their_number(self):
        content = self.imported(self.folder_with("intact", INTACT))
        base_folder = self.folder_with("set/0", {BASE: INTACT[BASE]})
        self.folder_with("set/1", {FIRST: INTACT[FIRST]})
        second = self.folder_with("set/2", {SECOND: INTACT[SECOND]})
        self.assertEqual(self.imported(base_folder), content)
        subprocess.run([os.environ["CXML"], "import", BASE, self.folder / "relative.gpkg"], cwd=base_folder, check=True,
                       capture_output=True)
        self.assertEqual(self.content(self.folder / "relative.gpkg"), content)
        (second / SECOND).write_bytes(b"")
        done = cxml("import", base_folder / BASE, self.folder / "again.gpkg")
        self.assertEqual(done.returncode, 2)
        self.assertIn(SECOND, done.stderr)

    def test_a_base_cell_that_was_issued_again_has_its_first_updates(self):
        content = self.imported(self.folder_with("intact", INTACT))
        again = s57.write(identified(0, UPDN="1", ISDT="20240520", UADT="20240517"), s57.base_records(STATES[1]), PARAMETERS)
        for name, first in (("with the first", INTACT[FIRST]), ("without", None), ("with one that nobody reads", b"")):
            with self.subTest(name):
                found = self.imported(self.folder_with(name, INTACT | {BASE: again, FIRST: first}))
                self.assertEqual({table: rows for table, rows in found.items() if table != "DSID"},
                                 {table: rows for table, rows in content.items() if table != "DSID"})

    def test_national_texts_are_updated(self):
        changed = STATES[0].copy()
        names = [record for record in changed.records.values() if "NATF" in record.fields]
        self.assertEqual(len(names), 2)
        names[0].fields["NATF"] = [(301, "Ostrów Merrow")]
        del names[1].fields["NATF"]
        first = s57.write(identified(1), list(s57.update_records(STATES[0], changed)))
        folder = self.folder_with("national", {BASE: INTACT[BASE], FIRST: first})
        self.imported(folder)
        self.assertEqual(query(folder / "chart.gpkg", "SELECT NOBJNM FROM LNDARE"), [("Ostrów Merrow",)])
        self.assertEqual(query(folder / "chart.gpkg", "SELECT NOBJNM FROM LIGHTS WHERE FIDN = 17024"), [(None,)])

    def test_a_cell_is_imported_once(self):
        folder = self.folder_with("intact", INTACT)
        copied = self.folder_with("copy", INTACT)
        for other in (folder / BASE, copied / BASE):
            done = cxml("import", folder / BASE, other, self.folder / "chart.gpkg")
            self.assertEqual((done.returncode, done.stderr),
                             (2, f"cxml: {other}: the cell {cell.NAME} is in this import already, from {folder / BASE}\n"))

    def test_descriptions_that_would_be_read_otherwise(self):
        for old, new in ((b"(2b24)", b"(2b14)"), (b"(b24,b24)", b"(b14,b24)"), (b"*YCOO!XCOO", b"*XCOO!YCOO")):
            for name in (BASE, FIRST):
                if old not in INTACT[name]:
                    continue
                with self.subTest(f"{old} {name}"):
                    folder = self.folder_with(f"{old.hex()} {name}", INTACT | {name: INTACT[name].replace(old, new, 1)})
                    done = cxml("import", folder / BASE, folder / "chart.gpkg")
                    self.assertEqual(done.returncode, 2)
                    self.assertIn(f"{name}: field SG2D is not described", done.stderr)


class ClassesThatAreNoTables(FilesTest):
    """Features whose object class no catalogue has, and cartographic ones, whose class begins with a dollar sign."""

    UNKNOWN = [(9998, 30001, "POINT (-20.0 -30.0)", [(116, "Strange")]), (9998, 30002, "LINESTRING (-20.01 -30.0, -20.02 -30.0)", []),
               (9997, 30003, "POLYGON ((-20.01 -30.01, -20.01 -30.02, -20.02 -30.02, -20.01 -30.01))", [])]
    CARTOGRAPHIC = [(500, 30004, "POLYGON ((-20.02 -30.02, -20.02 -30.03, -20.03 -30.03, -20.02 -30.02))", []),
                    (502, 30005, "POINT (-20.01 -30.005)", [])]

    def test_unknown_classes_have_a_layer(self):
        folder = self.folder_with("unknown", cell.files(CHART, self.UNKNOWN))
        dataset = folder / "chart.gpkg"
        done = cxml("import", folder / BASE, dataset)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stderr,
                         f"cxml: {BASE}: 3 features of object classes that no catalogue has (OBJL 9997, 9998): imported into the "
                         f"layer UNKNOWN_CLASS, without attributes\ncxml: {BASE}: Attributes OBJNAM ignored, not in expected schema.\n")
        self.assertIn("UNKNOWN_CLASS: 3 rows\n", done.stdout)
        self.assertEqual(query(dataset, "SELECT OBJL, FIDN, PRIM, DSNM FROM UNKNOWN_CLASS ORDER BY FIDN"),
                         [(9998, 30001, 1, BASE), (9998, 30002, 2, BASE), (9997, 30003, 3, BASE)])

    def test_cartographic_classes_have_layers(self):
        folder = self.folder_with("cartographic", cell.files(CHART, self.CARTOGRAPHIC))
        dataset = folder / "chart.gpkg"
        done = cxml("import", folder / BASE, dataset)
        self.assertEqual((done.returncode, done.stderr),
                         (0, f"cxml: {BASE}: a table cannot be called $AREAS: imported as CARTO_AREAS\n"
                             f"cxml: {BASE}: a table cannot be called $CSYMB: imported as CARTO_CSYMB\n"))
        self.assertEqual(query(dataset, "SELECT OBJL, FIDN, DSNM FROM CARTO_AREAS UNION ALL SELECT OBJL, FIDN, DSNM FROM CARTO_CSYMB"),
                         [(500, 30004, BASE), (502, 30005, BASE)])
        # A document may call them by the name of their class.
        document = folder / "rules.cxml"
        document.write_text('<conditionMap name="x"><featureClass name="$AREAS"><condition rulename="A"/></featureClass></conditionMap>',
                            encoding="utf-8")
        done = cxml("symbolize", document, dataset, "--add-fields")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "CARTO_AREAS: 1 row, 1 changed; 1 default\n", ""))


class Damage(FilesTest):
    """Truncations and changed bits, always the same ones: never other features than those of the whole files, but for the
    features whose own values were changed."""

    TIMES = int(os.environ.get("CELL_DAMAGE_TIMES", "1"))  # for a longer attack
    TRUNCATIONS, FLIPS = 18 * TIMES, 60 * TIMES
    # A change of these gives another value that nothing can tell from a right one: coordinates and their factors,
    # attributes, what a feature is, and the free texts of DSID.
    VALUES = {"SG2D", "SG3D", "ATTF", "NATF", "ATTV", "DSPM", "FOID", "FFPT", "FRID", "FSPT", "VRPT", "DSID"}

    def attempt(self, name, position, content):
        """The dataset's content; None when the import was refused."""
        folder = self.folder / "attempt"
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir()
        for file, bytes_ in (INTACT | {name: content}).items():
            (folder / file).write_bytes(bytes_)
        done = subprocess.run([os.environ["CXML"], "import", folder / BASE, folder / "chart.gpkg"], capture_output=True,
                              text=True, encoding="utf-8", timeout=60)
        self.assertIn(done.returncode, (0, 2), (name, position, done.stderr))
        if done.returncode == 2:
            self.assertRegex(done.stderr, r"\Acxml: .*\n\Z", (name, position))
            self.assertFalse((folder / "chart.gpkg").exists())
            return None
        return self.content(folder / "chart.gpkg")

    def test_truncations(self):
        places = random.Random(8211)
        for name, content in INTACT.items():
            ends = [at for at, _ in records_of(content)]
            for length in sorted({0, 1, 24, *places.sample(ends, min(self.TRUNCATIONS // 6, len(ends))), *places.sample(range(len(content)), self.TRUNCATIONS // 6)}):
                self.assertIsNone(self.attempt(name, length, content[:length]), (name, length))

    def test_flipped_bits(self):
        intact = self.imported(self.folder_with("intact", INTACT))
        places = random.Random(57)
        outcomes = collections.Counter()
        for name, content in INTACT.items():
            tags = {}
            for number, (_, fields) in enumerate(records_of(content)):
                for tag, at, size in fields:
                    if number:
                        tags.update((i, tag) for i in range(at, at + size - 1))
            structure = [i for i in range(len(content)) if tags.get(i) not in self.VALUES]
            for position in places.sample(structure, self.FLIPS // 3) + places.sample(range(len(content)), self.FLIPS // 6):
                changed = bytearray(content)
                changed[position] ^= 1 << places.randrange(8)
                found = self.attempt(name, position, bytes(changed))
                tag = tags.get(position, "structure")
                outcome = "refused" if found is None else "same" if found == intact else "other"
                outcomes[outcome if outcome != "other" else f"other {tag}"] += 1
                if outcome == "other":
                    self.assertIn(tag, self.VALUES, (name, position))
        print(dict(outcomes))
        self.assertGreater(outcomes["refused"], self.FLIPS // 3)


if __name__ == "__main__":
    main()
