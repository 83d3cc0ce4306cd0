"""Random documents over the tables MARKS, which has subtypes by KIND, and OTHERS, with rows for them."""

import random

FIELDS = [("KIND", "integer"), ("A", "integer"), ("B", "real"), ("C", "text"), ("D", "text"), ("E", "boolean"), ("F", "small"), ("G", "big"),
          ("H", "float"), ("DAY", "date"), ("WHEN_C", "moment"), ("SYMBOL_C", "text"), ("Rotate_C", "real")]
VALUES = {
    "integer": [None, 0, 1, 2, 3, -5, 100000],
    "real": [None, 0.0, 0.5, -1.5, 3.0, 1e9, 0.1],
    "text": [None, "", "1", "3,4", "4,3", "3,4,3", "red", "Stø", "a", "ab", "AB", "A*", "O'Neill", " b ", "%s", "two\nlines", "灯台"],
    "boolean": [None, 0, 1],
    "small": [None, 0, 3, -7, 32767],
    "big": [None, 0, 3, -3, 9007199254740993],
    "float": [None, 0.0, 0.5, 3.0, -0.25],
    "date": [None, "2024-02-29", "1999-12-31"],
    "moment": [None, "2024-02-29T12:30:15.250", "1999-12-31T00:00:00.000"],
}
NAMES = [name for name, _ in FIELDS if name not in ("SYMBOL_C", "Rotate_C")]


class Maker:
    """Makes one document and its rows, by chance."""

    def __init__(self, chance: random.Random):
        self.chance = chance
        self.names = 0

    def row(self):
        special = {"KIND": [None, 1, 2, 3], "SYMBOL_C": [None, "S1", "OLD"], "Rotate_C": [None, 15.0, 90.0]}
        return [self.chance.choice(special.get(name) or VALUES[kind]) for name, kind in FIELDS]

    def one_in(self, number):
        return self.chance.randrange(number) == 0

    def operand(self):
        return self.chance.choice(["NULL", "0", "1", "3", "0.5", "2.5", "-5", "red", "", "3,4", "a*", "*b*", "'3'", "''", "1e1", "Stø",
                                   "2024-02-29"])

    def values(self, number):
        return "".join(f"<value>{self.operand()}</value>" for _ in range(number))

    def query(self):
        """Clauses of which every database makes the same: whole numbers with columns of numbers, texts with texts."""
        clause, parameters = self.chance.choice([
            ("A = %s", ["A"]), ("A = %s", ["F"]), ("G &gt;= %s", ["A"]), ("C = '%s'", ["C"]), ("D = '%s'", ["C"]), ("B &gt; 0", []),
            ("C = '%s' AND A &lt;&gt; %s", ["D", "A"]), ("A IS NOT NULL AND %s = A", ["KIND"]), ("C IS NULL", []),
            ("A IN (%s)", ["A"]), ("C = '%s'", ["'red'"]), ("C = '%s'", ["NONE"]), ("F * 2 = %s", ["KIND"]), ("NOWHERE = 1", [])])
        params = "".join(f'<param value="{name}"/>' for name in parameters)
        table = self.chance.choice(["OTHERS", "OTHERS", "OTHERS", "NOTHING"]) if self.one_in(4) else "OTHERS"
        if self.one_in(2):
            return f'<rule type="Q" operator="exists" table="{table}"><query>{clause}</query><params>{params}</params>'
        option = ' selectOption="multiple"' if self.one_in(2) else ""
        field = self.chance.choice(["A", "B", "C", "D"])
        return (f'<rule type="Q" operator="fetch" table="{table}"{option}><query>{clause}</query><params>{params}</params>'
                f'<fields><field name="{field}" alias="O.{field}"/></fields>')

    def rule(self, depth):
        if self.one_in(5):
            rule = self.query()
        elif self.one_in(5):
            operator = self.chance.choice(["equal", "notequal", "containsany", "containsnone", "containsall", "hasmultiple"])
            rule = f'<rule type="L" field="{self.chance.choice(["C", "D", "A"])}" operator="{operator}">{self.values(self.chance.randint(0, 3))}'
        else:
            operator = self.chance.choice(["equal", "equal", "notequal", "lt", "lte", "gt", "gte", "like", "notlike", "between"])
            field = self.chance.choice([*NAMES, "NONE", "O.A", "O.C"])
            if self.one_in(8):
                rule = f'<rule type="A" field="{field}" operator="{operator}" fieldValue="{self.chance.choice(NAMES)}">'
            else:
                number = 2 if operator == "between" else self.chance.choice([0, 1, 1, 1, 2, 3])
                rule = f'<rule type="A" field="{field}" operator="{operator}">{self.values(number)}'
        if depth < 2 and self.one_in(6):
            rule += self.condition(depth + 1, False)
        return rule + "</rule>"

    def expression(self):
        source = self.chance.choice([
            'def Generate(A, C):\n    return "%s-%s" % (A, C) if A else 1 / A\n',
            'def Generate(B, H):\n    return "%r %r" % (B, H)\n',
            'def Generate(G, F, E):\n    return "%r %r %r" % (G, F, E)\n',
            'def Generate(O.C[], D):\n    return "|".join(map(str, O_C)) if isinstance(O_C, list) else D\n',
            'def Generate(DAY, WHEN_C):\n    return "%r %r" % (DAY, WHEN_C)\n',
            'def Generate(C):\n    return C\n',
            'def Generate(A):\n    return A\n',
            'def Generate(NONE):\n    return "never"\n'])
        return f"<expression><![CDATA[\n{source}]]></expression>"

    def condition(self, depth, may_lack_rules):
        rules = "".join(self.rule(depth) for _ in range(self.chance.randint(0 if may_lack_rules else 1, 3)))
        self.names += 1
        if depth == 0 and self.one_in(5):
            return f'<condition type="2" field="{self.chance.choice(["LABEL", "LABEL", "D"])}">{rules}{self.expression()}</condition>'
        placement = "".join(f' {name}="{self.chance.choice(values)}"' for name, values in
                            {"angle": [0, 15, 90, -45.5], "xoffset": [1, 0.1], "yoffset": [-2, 0]}.items() if self.one_in(4))
        name = f' rulename="S{self.names}"' if not self.one_in(8) or not placement else ""
        return f"<condition{name}{placement}>{rules}</condition>"

    def conditions(self, most):
        return "".join(self.condition(0, number == 0) for number in range(self.chance.randint(1, most)))

    def document(self):
        content = self.conditions(12)
        for code in ("1", "2", "1,2"):
            if self.one_in(3):
                content += f'<subtype number="{code}">{self.conditions(4)}</subtype>'
        return (f'<?xml version="1.0" encoding="UTF-8"?>\n<conditionMap name="random"><featureClass name="MARKS">{content}</featureClass>'
                f'</conditionMap>\n')
