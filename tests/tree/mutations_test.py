"""The changes that scripts/mutate tries, and the reasons for those that nothing notices."""

import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts" / "checks"))

from mutations import changed, changes, code_only, read_reasons  # noqa: E402

SAMPLE = """#include <a+b>
// a < b
bool f(int a, const char* text) {
    int i = 0;
    call(a, i);
    if (a < 3 && *text) return a == 1 ? first(a) : i;
    if (!a) ++i;
    std::vector<int> all{1, 2};
    return text;  // a - b
}
"""


def made(line, kind=None, before="{"):
    """What becomes of a line that follows `before`."""
    return {change.after for change in changes("f.cpp", f"{before}\n{line}\n")
            if change.number == 2 and kind in (None, change.kind)}


class Changes(unittest.TestCase):
    def test_kinds(self):
        for line, kind, expected in [
                ("return a < b;", "operator", {"return a <= b;", "return a >= b;"}),
                ("x = a &&", "operator", {"x = a ||"}),
                ("std::vector<int> x;", "operator", set()),
                ("T* a = &b;", "operator", set()),
                ("++i;", "operator", {"--i;"}),
                ("f(i--);", "operator", {"f(i++);"}),
                ("if (!a) f();", "negation", {"if (a) f();"}),
                ("x = 10;", "constant", {"x = 11;", "x = 9;"}),
                ("x = 0U;", "constant", {"x = 1U;"}),
                ("x = 0xFF;", "constant", {"x = 0x100;", "x = 0xfe;"}),
                ("x = 2.5;", "constant", set()),
                ("x = true;", "constant", {"x = false;"}),
                ('f("1 < 2");', "text", {'f("");'}),
                ('f("1 < 2");', "operator", set()),
                ("if (a && b) f();", "condition", {"if (!(a && b)) f();"}),
                ("if (auto x = f(); x) g();", "condition", {"if (auto x = f(); !(x)) g();"}),
                ("if (a < b) f();", "condition", set()),
                ("x = a ? f(1, 2) : g(3);", "condition", {"x = a ? g(3) : f(1, 2);"}),
                ("f(a ? b : c, d);", "condition", {"f(a ? c : b, d);"}),
                ("return f(x);", "return", {"return {};", "return !(f(x));"}),
                ("if (a) return x;", "return", {"if (a) return {};", "if (a) return !(x);"}),
                ("return true;", "return", {"return {};"}),
                ("return false;", "return", set()),
                ("return nullptr;", "return", set()),
                ("f(std::move(x), g(y));", "call", {"f(std::move(x), (y));"}),
                ("return narrow(text).size();", "call", {"return (text).size();"}),
                ("if (a) f(x);", "statement", {"if (a) ;"}),
                ("f(x);", "statement", {";"}),
                ("using a = b;", "statement", set()),
                ("b);", "statement", set()),
        ]:
            with self.subTest(line, kind=kind):
                self.assertEqual(made(line, kind), expected)

    def test_rest_of_a_statement_is_not_dropped(self):
        self.assertEqual(made("c + 1;", "statement", before="x = a +"), set())

    def test_comments_directives_and_literals_are_left_alone(self):
        numbers = {change.number for change in changes("f.cpp", SAMPLE)}
        self.assertEqual(numbers, {4, 5, 6, 7, 8, 9})
        self.assertFalse(any("a - b" not in change.after for change in changes("f.cpp", SAMPLE) if change.number == 9
                             and change.kind == "operator"))

    def test_code_keeps_its_columns(self):
        text = "a = \"\\\"x\"; /* y\n z */ b = 'c'; d = 1'000;\n"
        code = code_only(text)
        self.assertEqual([len(line) for line in code.splitlines()], [len(line) for line in text.splitlines()])
        self.assertNotIn("y", code)
        self.assertIn("d = 1_000", code)

    def test_change_is_made_on_its_line_only(self):
        for change in changes("f.cpp", SAMPLE):
            before, after = SAMPLE.splitlines(), changed(SAMPLE, change).splitlines()
            self.assertEqual(len(before), len(after))
            self.assertEqual([i + 1 for i, line in enumerate(before) if line != after[i]], [change.number])

    def test_same_line_twice_is_two_changes_that_keep_their_keys(self):
        keys = {change.key for change in changes("f.cpp", "{\nf(x);\n}\n{\nf(x);\n}\n")}
        self.assertEqual(len(keys), len(changes("f.cpp", "{\nf(x);\n}\n{\nf(x);\n}\n")))
        self.assertEqual(keys, {change.key for change in changes("f.cpp", "// moved\n\n{\nf(x);\n}\n{\n    f(x);\n}\n")})

    def test_order_of_a_seed_does_not_depend_on_other_lines(self):
        def order(text):
            return [change.key for change in sorted(changes("f.cpp", text), key=lambda change: change.place(1))
                    if change.before == "f(a < b, 7);"]
        self.assertEqual(order("{\nf(a < b, 7);\n"), order("int x = 1;\n{\nf(a < b, 7);\ng(2);\n"))
        self.assertGreater(len(order("{\nf(a < b, 7);\n")), 3)


class Reasons(unittest.TestCase):
    def test_are_read(self):
        self.assertEqual(read_reasons("# how\n\na.cpp: it is: the same\n- x\n+ y\n+ z\n\nb.cpp: r\n- p\n+ q\n"),
                         {("a.cpp", "x", "y"): "it is: the same", ("a.cpp", "x", "z"): "it is: the same",
                          ("b.cpp", "p", "q"): "r"})

    def test_faulty_entries_are_refused(self):
        for text in ("a.cpp: r\n- x\n", "a.cpp\n- x\n+ y\n", "a.cpp: r\n+ x\n- y\n", "- x\n+ y\n"):
            with self.subTest(text), self.assertRaises(ValueError):
                read_reasons(text)

    def test_of_the_tree_are_about_changes_that_there_are(self):
        reasons = read_reasons((ROOT / "tests/mutation/unnoticed.txt").read_text(encoding="utf-8"))
        for file in sorted({file for file, _, _ in reasons}):
            there = {(file, change.before, change.after)
                     for change in changes(file, (ROOT / file).read_text(encoding="utf-8"))}
            for entry in reasons:
                if entry[0] == file:
                    self.assertIn(entry, there, "its line has changed: try it again, or take the entry out")


if __name__ == "__main__":
    unittest.main()
