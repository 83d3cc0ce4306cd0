"""What `cxml check` says of mistakes that people make: each is put into a right document, one at a time, and has to be found
by one finding, in its line, that says what to do (mistakes/mistakes.toml)."""
import subprocess
import sys
import tomllib

from support import ROOT, TestCase, cxml, cxml_json, main

FOLDER = ROOT / "tests" / "examples" / "mistakes"
SYMBOLS = ROOT / "share" / "symbology" / "symbols"
MISTAKES = tomllib.loads((FOLDER / "mistakes.toml").read_text(encoding="utf-8"))["mistake"]
COUNT = 29  # kinds of mistakes
LEAST_WITH_DATA, LEAST_ALONE = 27, 23

# What is not found although it could be, by number, with data and in the document alone. What is found must not stand here.
UNMET_WITH_DATA, UNMET_ALONE = {6}, set()
# What needs kinds or an option that `check` does not have yet. To be emptied; until then as many may be lacking.
WAITING_WITH_DATA, WAITING_ALONE = set(), set()


def planted(mistake):
    """The document with the mistake in it, and the line of its finding."""
    text = (FOLDER / f"{mistake['document']}.cxml").read_text(encoding="utf-8")
    for old, new in mistake["change"]:
        if text.count(old) != 1:
            raise ValueError(f"{mistake['what']}: {old!r} is {text.count(old)} times in the document")
        text = text.replace(old, new)
    at = mistake["at"]
    if text.count(at) != 1:
        raise ValueError(f"{mistake['what']}: {at!r} is {text.count(at)} times in the changed document")
    begin = text.index(at) + len(at) - len(at.lstrip())
    return text, text.count("\n", 0, begin) + 1


def loud(findings):
    return [finding for finding in findings if finding["severity"] != "note"]


def told(finding):
    """All that a reader has of a finding."""
    follows = [follow["text"] for follow in finding.get("follows", [])]
    return "\n".join([finding["text"], finding["help"], *follows])


def shown(findings):
    return "\n".join(f"    {finding['line']}: {finding['severity']}: {told(finding)} [{finding['kind']}]" for finding in findings)


def what_is_missing(mistake, line, findings):
    """Why the findings are not what the mistake asks for; nothing when they are."""
    above = loud(findings)
    if mistake["severity"] == "note":
        if above:
            return f"{len(above)} findings above note\n{shown(above)}"
        candidates = [finding for finding in findings if finding["line"] == line]
    else:
        if len(above) != 1:
            return f"{len(above)} findings above note instead of one\n{shown(above)}"
        candidates = above
    for finding in candidates:
        missing = [word for word in mistake["words"] if word.lower() not in told(finding).lower()]
        if (finding["line"], finding["severity"]) == (line, mistake["severity"]) and not missing \
                and finding["kind"] == mistake.get("kind", finding["kind"]):
            return ""
    return f"expected in line {line}: {mistake['severity']} {mistake.get('kind')} with {mistake['words']}\n{shown(candidates)}"


class Mistakes(TestCase):
    def setUp(self):
        super().setUp()
        subprocess.run([sys.executable, "-B", ROOT / "examples" / "harbour" / "generator", "--cell", self.folder], check=True)
        self.dataset = self.folder / "harbour.gpkg"
        self.assertEqual(cxml("import", self.folder / "XX5MERRW.000", self.dataset).returncode, 0)

    def findings(self, document, *arguments):
        _, said = cxml_json("check", document, *arguments)
        return said["findings"]

    def test_right_documents_have_no_findings(self):
        documents = sorted(FOLDER.glob("*.cxml"))
        self.assertEqual([document.stem for document in documents], sorted({mistake["document"] for mistake in MISTAKES}))
        for document in documents:
            plain = ((), (self.dataset,))
            for arguments in plain if 20 in WAITING_ALONE else (*plain, ("--symbols", SYMBOLS), (self.dataset, "--symbols", SYMBOLS)):
                with self.subTest(document.name, arguments=arguments):
                    self.assertEqual(loud(self.findings(document, *arguments)), [])

    def not_found(self, dataset):
        """By number, what is missing of the mistakes that are not found in all of their ways."""
        missing = {}
        for mistake in MISTAKES:
            if mistake.get("options") and mistake["number"] in WAITING_ALONE:
                missing[mistake["number"]] = ["the option is missing"]
                continue
            text, line = planted(mistake)
            document = self.folder / "planted.cxml"
            document.write_text(text, encoding="utf-8")
            options = [option.format(symbols=SYMBOLS) for option in mistake.get("options", [])]
            findings = self.findings(document, *dataset, *options)
            if mistake.get("data") == "only" and not dataset:
                self.assertEqual(loud(findings), [], mistake["what"])
                missing.setdefault(mistake["number"], [])
            elif lack := what_is_missing(mistake, line, findings):
                missing.setdefault(mistake["number"], []).append(f"{mistake['what']}: {lack}")
        return missing

    def check_count(self, dataset, least, expected):
        self.assertEqual({mistake["number"] for mistake in MISTAKES}, set(range(1, COUNT + 1)))
        missing = self.not_found(dataset)
        print(f"\n  {COUNT - len(missing)} of {COUNT} found {'with data' if dataset else 'in the document alone'}")
        told_why = "\n".join(f"{number}: {lack}" for number, lacks in sorted(missing.items()) for lack in lacks)
        self.assertEqual(set(missing), expected, told_why)
        self.assertGreaterEqual(COUNT - len(missing), least, told_why)

    def test_with_data(self):
        self.check_count([self.dataset], LEAST_WITH_DATA - len(WAITING_WITH_DATA), UNMET_WITH_DATA | WAITING_WITH_DATA)

    def test_in_the_document_alone(self):
        only_with_data = {mistake["number"] for mistake in MISTAKES if mistake.get("data") == "only"}
        self.check_count([], LEAST_ALONE - len(WAITING_ALONE), only_with_data | UNMET_ALONE | WAITING_ALONE)


if __name__ == "__main__":
    main()
