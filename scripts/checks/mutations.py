"""Changes of one token or one line of C++, of the kinds that people make by mistake. scripts/mutate tries them."""

import hashlib
import re
from dataclasses import dataclass

OPERATORS = {
    "==": ["!="], "!=": ["=="], "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
    "&&": ["||"], "||": ["&&"], "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"],
    "+=": ["-="], "-=": ["+="], "&=": ["|="], "|=": ["&="], "&": ["|"], "|": ["&"], "<<": [">>"], ">>": ["<<"],
}
COMPARISON = re.compile(r"(?<= )(==|!=|<=|>=|<|>)(?= |$)")
WORDS = {"true": "false", "VARIANT_TRUE": "VARIANT_FALSE", "S_OK": "S_FALSE"}
WORDS |= {other: word for word, other in WORDS.items()}
# What {} is, too; what is the same without the call, but for speed.
EMPTY = {"false", "nullptr", "std::nullopt", "0", "{}"}
SAME_WITHOUT = {"std::move", "OLESTR"}
DECLARES = re.compile(r"\s*(using|typedef|namespace|template|friend|class|struct|enum|extern|static_assert|public:|private:)\b")


@dataclass(frozen=True)
class Change:
    """Turns line `number` of `file` from `before` into `after`; the same pair may occur in a file more than once."""

    file: str
    number: int
    before: str
    after: str
    kind: str
    nth: int = 0

    @property
    def key(self):
        """The same as long as the line is, wherever it moves."""
        return f"{self.file}\n{self.before}\n{self.after}\n{self.nth}"

    def place(self, seed):
        """Where the change stands in the random order of this seed; other lines of the file have no say."""
        return hashlib.sha256(f"{seed}\n{self.key}".encode()).digest()


def code_only(text):
    """The text with blanks in the place of comments, and of what stands inside literals; lines keep their lengths."""
    pattern = re.compile(r'//[^\n]*|/\*.*?\*/|R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.S)

    def blank(match):
        said = match.group()
        hidden = re.sub(r"[^\n]", " ", said)
        return hidden if said.startswith("/") else said[0] + hidden[1:-1] + said[-1]

    # 1'000 is no literal of a character.
    return pattern.sub(blank, re.sub(r"(?<=\d)'(?=\d)", "_", text))


def closing(code, opening):
    """The place of the bracket that closes the one at `opening`; -1 when it is on another line."""
    depth = 0
    for place in range(opening, len(code)):
        depth += (code[place] in "([{") - (code[place] in ")]}")
        if depth == 0:
            return place
    return -1


def end_of_operand(code, start):
    """Where the expression at `start` ends: at its level's closing bracket, comma, colon or semicolon."""
    depth = 0
    for place in range(start, len(code)):
        depth += code[place] in "([{"
        if depth == 0 and (code[place] in ")]};," or code.startswith(" : ", place)):
            return place
        depth -= code[place] in ")]}"
    return -1


def operators(line, code):
    for match in re.finditer(r"(?<= )(\S+)(?= |$)", code):
        for other in OPERATORS.get(match.group(), []):
            yield "operator", line[:match.start()] + other + line[match.end():]
    for match in re.finditer(r"(?<![\w)+-])(\+\+|--)(?=\w)|(?<=\w)(\+\+|--)(?=[);\]])", code):
        yield "operator", line[:match.start()] + ("--" if match.group() == "++" else "++") + line[match.end():]
    for match in re.finditer(r"!(?=[\w(])", code):
        yield "negation", line[:match.start()] + line[match.end():]


def constants(line, code):
    for match in re.finditer(r"(?<![\w.])(0x[0-9A-Fa-f]+|\d[\d_]*)(?=U?L{0,2}\b)(?!\.)", code):
        said = match.group()
        number = int(said.replace("_", ""), 0)
        for other in (number + 1, number - 1):
            if other >= 0:
                yield "constant", line[:match.start()] + (hex(other) if said[:2] == "0x" else str(other)) + line[match.end():]
    for match in re.finditer(r"\b(" + "|".join(WORDS) + r")\b", code):
        yield "constant", line[:match.start()] + WORDS[match.group()] + line[match.end():]
    for match in re.finditer(r'"[^"]+"', code):
        yield "text", line[:match.start()] + '""' + line[match.end():]


def conditions(line, code):
    for match in re.finditer(r"\b(if|while) \(", code):
        end = closing(code, match.end() - 1)
        start = code.rfind("; ", match.end(), end) + 2 if "; " in code[match.end():end] else match.end()
        tested = code[start:end]
        # A single comparison or negation has its own changes.
        if end < 0 or tested.startswith("!") or (COMPARISON.search(tested) and not re.search(r"&&|\|\|", tested)):
            continue
        yield "condition", f"{line[:start]}!({line[start:end]}){line[end:]}"
    for match in re.finditer(r" \? ", code):
        middle = end_of_operand(code, match.end())
        end = end_of_operand(code, middle + 3) if middle >= 0 and code.startswith(" : ", middle) else -1
        if end >= 0:
            yield "condition", line[:match.end()] + line[middle + 3:end] + " : " + line[match.end():middle] + line[end:]


def returns(line, code):
    match = re.match(r"\s*(?:.*[ )])?return (.+);$", code)
    if match:
        start, end = match.span(1)
        if code[start:end] not in EMPTY:
            yield "return", line[:start] + "{}" + line[end:]
        if code[start:end] not in {*WORDS, *EMPTY} and not code[start:end].startswith(("{", "!")):
            yield "return", f"{line[:start]}!({line[start:end]}){line[end:]}"


def calls(line, code):
    for match in re.finditer(r"(?<![\w:.>])(?!(?:if|while|for|switch|return|sizeof|catch)\b)[\w:]+\((?=[^)])", code):
        lead = code[:match.start()]
        if re.search(r"\w[*&>]* $", lead) and not re.search(r"\b(return|throw|else) $", lead):
            continue  # it is declared here
        if match.group()[:-1] in SAME_WITHOUT:
            continue
        end = closing(code, match.end() - 1)
        if end >= 0 and not re.match(r"\s*;$", code[end + 1:]):  # dropped statements are another kind
            yield "call", line[:match.start()] + line[match.end() - 1:]


def statements(line, code, previous):
    said = code.strip()
    if not said.endswith(";") or said == ";" or DECLARES.match(code) or "{" in said.split("(")[0]:
        return
    match = re.match(r"\s*(?:\} )?(?:else )?(if|while|for) \(", code)
    if match:
        end = closing(code, match.end() - 1)
        if end >= 0 and code[end + 1:].strip():
            yield "statement", line[:end + 1] + " ;"
    elif closing_is_balanced(code) and re.search(r"(^|[;{}:)]|\belse)$", previous.strip()):
        yield "statement", line[:len(line) - len(line.lstrip())] + ";"


def closing_is_balanced(code):
    return all(code.count(opening) == code.count(end) for opening, end in ("()", "[]", "{}"))


def changes(file, text):
    """Every change of a file, in the order of its lines."""
    lines = text.splitlines()
    found = {}
    previous = ""
    for number, (line, code) in enumerate(zip(lines, code_only(text).splitlines()), 1):
        if not code.strip() or code.lstrip().startswith("#"):
            continue
        made = [*operators(line, code), *constants(line, code), *conditions(line, code), *returns(line, code),
                *calls(line, code), *statements(line, code, previous)]
        previous = code.rstrip()
        for after in dict.fromkeys(after for _, after in made if after != line):
            kind = next(kind for kind, other in made if other == after)
            found.setdefault((line.strip(), after.strip()), []).append((number, kind, line, after))
    ordered = [Change(file, number, before, after, kind, nth)
               for (before, after), places in found.items() for nth, (number, kind, _, _) in enumerate(places)]
    return sorted(ordered, key=lambda change: (change.number, change.after))


def changed(text, change):
    """The text with the change in it."""
    lines = text.splitlines(keepends=True)
    line = lines[change.number - 1]
    assert line.strip() == change.before
    indent = line[:len(line) - len(line.lstrip())]
    lines[change.number - 1] = indent + change.after + "\n"
    return "".join(lines)


def read_reasons(text):
    """The changes that no test can notice, as {(file, before, after): reason}; see tests/mutation/unnoticed.txt."""
    reasons = {}
    entry = []
    for number, line in enumerate([*text.splitlines(), ""], 1):
        if line.startswith("#"):
            continue
        if line.strip():
            entry.append(line)
            continue
        if entry:
            file, _, reason = entry[0].partition(": ")
            marks = [line[:2] for line in entry[1:]]
            if len(entry) < 3 or marks[0] != "- " or set(marks[1:]) != {"+ "} or not reason.strip():
                raise ValueError(f"line {number - len(entry)}: not 'FILE: REASON', '- LINE' and '+ LINE's: {entry[0]}")
            for after in entry[2:]:
                reasons[file, entry[1][2:].strip(), after[2:].strip()] = reason.strip()
            entry = []
    return reasons
