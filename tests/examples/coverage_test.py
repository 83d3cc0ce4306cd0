"""Coverage: its tracefile, read by what the format says, against its JSON; and what it counts against ledgers and runs."""
import re
import shutil
import subprocess
import sys

from support import ROOT, TestCase, cxml, cxml_json, main

HARBOUR = ROOT / "examples" / "harbour"
ENC = ROOT / "examples" / "enc" / "enc.cxml"


def count(text):
    if not re.fullmatch(r"\d+", text):
        raise ValueError(f"{text!r} is no count")
    return int(text)


class Record:
    """What a tracefile has of one source file."""

    def __init__(self):
        self.functions, self.calls, self.branches, self.lines, self.totals = {}, {}, {}, {}, {}

    def add(self, key, value):
        if key == "FN":
            line, name = value.split(",")
            self.put(self.functions, name, count(line))
        elif key == "FNDA":
            calls, name = value.split(",")
            self.put(self.calls, name, count(calls))
        elif key == "BRDA":
            line, block, branch, taken = value.split(",")
            # A dash: the expression was never executed.
            self.put(self.branches, (count(line), count(block), count(branch)), None if taken == "-" else count(taken))
        elif key == "DA":
            line, hits = value.split(",")
            self.put(self.lines, count(line), count(hits))
        elif key in ("FNF", "FNH", "BRF", "BRH", "LF", "LH"):
            self.put(self.totals, key, count(value))
        else:
            raise ValueError(f"{key} is no record")

    @staticmethod
    def put(into, key, value):
        if key in into:
            raise ValueError(f"{key} is there twice")
        into[key] = value

    def check(self):
        if self.functions.keys() != self.calls.keys():
            raise ValueError("functions and their counts differ")
        found = {"FN": self.calls, "BR": self.branches, "L": self.lines}
        for kind, counts in found.items():
            hit = sum(1 for hits in counts.values() if hits)
            if (self.totals[kind + "F"], self.totals[kind + "H"]) != (len(counts), hit):
                raise ValueError(f"{kind}: {len(counts)} found and {hit} hit, not {self.totals}")


def read_tracefile(text):
    """The records of a tracefile by source file; ValueError where it is none."""
    files, name, record = {}, None, None
    if not text.endswith("\n"):
        raise ValueError("the last line has no end")
    for line in text.splitlines():
        if line == "end_of_record":
            record.check()
            files[name], record = record, None
            continue
        key, colon, value = line.partition(":")
        if not colon:
            raise ValueError(f"{line!r} is no record")
        if key == "TN" and record is None:
            continue
        if key == "SF" and record is None:
            name, record = value, Record()
        elif record is None:
            raise ValueError(f"{line!r} stands in no file")
        else:
            record.add(key, value)
    if record is not None:
        raise ValueError("a record has no end")
    return files


class Reader(TestCase):
    def test_what_is_no_tracefile_is_refused(self):
        good = "TN:\nSF:a\nFN:1,f\nFNDA:2,f\nFNF:1\nFNH:1\nBRDA:1,0,0,-\nBRF:1\nBRH:0\nDA:1,2\nLF:1\nLH:1\nend_of_record\n"
        self.assertEqual(read_tracefile(good)["a"].lines, {1: 2})
        for old, new in (("LH:1", "LH:0"), ("BRH:0", "BRH:1"), ("FNDA:2,f", "FNDA:2,g"), ("DA:1,2", "DA:1,-2"),
                         ("DA:1,2", "DA:1,2\nDA:1,2"), ("BRDA:1,0,0,-", "BRDA:1,0,0,-\nBRDA:1,0,0,1"),
                         ("end_of_record\n", ""), ("SF:a\n", ""), ("FNF:1\n", ""), ("LF:1", "XX:1")):
            with self.assertRaises((ValueError, KeyError), msg=new):
                read_tracefile(good.replace(old, new))


class Coverage(TestCase):
    def check_tracefile(self, document, said, text):
        """Lines, names and branches are what the JSON says of conditions and rules."""
        lines, branches, calls = {}, {}, {}
        for condition in said["conditions"]:
            lines.setdefault(condition["line"], []).append(condition["held"])
            address = condition["address"]
            if not condition["fallback"] and not address.split("/")[-1].startswith("@"):
                calls[address.replace(",", "%2C")] = condition["decided"]
            for rule in condition["rules"]:
                lines.setdefault(rule["line"], []).append(rule["true"])
                asked = rule["true"] + rule["false"] + rule["unmeasured"]
                branches.setdefault(rule["line"], []).append((rule["true"], rule["alone"]) if asked else (None, None))
        record = read_tracefile(text)[str(document)]
        self.assertEqual(record.lines, {line: min(counts) for line, counts in lines.items()})
        self.assertEqual(record.calls, calls)
        self.assertEqual(record.branches, {(line, block, branch): pair[branch] for line, pairs in branches.items()
                                           for block, pair in enumerate(pairs) for branch in (0, 1)})
        hit = {branch for branch, taken in record.branches.items() if taken}
        rules = [(line, block) for line, pairs in branches.items() for block in range(len(pairs))]
        both = sum(1 for line, block in rules if {(line, block, 0), (line, block, 1)} <= hit)
        self.assertEqual((both, len(rules)), (said["measures"]["rules"]["seen"], said["measures"]["rules"]["of"]))

    def check(self, document, dataset, least_rows):
        trace = self.folder / "trace.info"
        status, said = cxml_json("coverage", document, dataset, "--lcov", trace)
        self.assertEqual(status, 0)
        self.check_tracefile(document, said, trace.read_text(encoding="utf-8"))
        status, ledger = cxml_json("ledger", document, dataset)
        self.assertEqual(status, 0)
        self.assertEqual(said["rows"], ledger["rows"])
        self.assertGreaterEqual(said["rows"], least_rows)
        decided = {}
        for layer in ledger["layers"]:
            for condition in layer["decided"]:
                decided[condition["address"]] = decided.get(condition["address"], 0) + condition["rows"]
        self.assertEqual({condition["address"]: condition["decided"] for condition in said["conditions"] if condition["decided"]},
                         decided)
        for measure in said["measures"].values():
            self.assertEqual(measure["percent"], measure["seen"] * 100 // measure["of"])
        return said

    def test_harbour(self):
        dataset = self.folder / "harbour.gpkg"
        subprocess.run([HARBOUR / "build", dataset], check=True, capture_output=True)
        for name in ("harbour.cxml", "light_character.py"):
            shutil.copy(HARBOUR / name, self.folder)
        document = self.folder / "harbour.cxml"
        self.assertEqual(cxml("symbolize", document, dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        before = dataset.read_bytes()
        whole = self.check(document, dataset, 480)
        self.assertEqual(dataset.read_bytes(), before)
        # Two halves of the rows are the whole.
        half = self.folder / "half.json"
        done = cxml("coverage", document, dataset, "--where", "rowid % 2 = 0", "--json")
        self.assertEqual(done.returncode, 0)
        half.write_text(done.stdout, encoding="utf-8")
        status, both = cxml_json("coverage", document, dataset, "--where", "rowid % 2 = 1", "--add", half)
        self.assertEqual(status, 0)
        for member in ("rows", "unmeasured", "measures", "files", "conditions"):
            self.assertEqual(both[member], whole[member], member)

    def test_own_cell(self):
        subprocess.run([sys.executable, "-B", HARBOUR / "generator", "--cell", self.folder], check=True)
        dataset = self.folder / "cell.gpkg"
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", dataset).returncode, 0)
        self.assertEqual(cxml("symbolize", ENC, dataset, "--add-fields", "--where", "1 = 0").returncode, 0)
        self.check(ENC, dataset, 400)


if __name__ == "__main__":
    main()
