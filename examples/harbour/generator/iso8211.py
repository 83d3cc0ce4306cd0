"""Files of ISO 8211 in the binary form that S-57 edition 3.1 uses: a record that describes the fields, then the records."""
import struct

UNIT, FIELD = b"\x1f", b"\x1e"  # terminators
WHOLE_NUMBERS = {"b11": "<B", "b12": "<H", "b14": "<I", "b24": "<i"}


class Field:
    """A field's description: `subfields` are (label, format); the whole list repeats where `repeats`.

    `wide` fields hold texts of two bytes a character, little end first, and so are their terminators.
    """

    def __init__(self, tag, name, subfields, repeats=False, escape="   ", wide=False):
        self.tag, self.name, self.subfields, self.repeats, self.escape, self.wide = tag, name, subfields, repeats, escape, wide

    def description(self):
        labels = "!".join(label for label, _ in self.subfields)
        formats = ",".join(kind for _, kind in self.subfields)
        numbers = all(kind in WHOLE_NUMBERS for _, kind in self.subfields)
        structure, kind = ("2" if self.repeats else "1"), ("5" if numbers else "6")
        return f"{structure}{kind}00;&{self.escape}{self.name}\x1f{'*' if self.repeats else ''}{labels}\x1f({formats})".encode()

    def encode(self, rows):
        """The bytes of the field; `rows` has one tuple of values for each repetition."""
        data = b"".join(self._subfield(kind, value)
                        for row in rows for (_, kind), value in zip(self.subfields, row, strict=True))
        return data + (FIELD + b"\0" if self.wide else FIELD)

    def _subfield(self, kind, value):
        if kind in WHOLE_NUMBERS:
            return struct.pack(WHOLE_NUMBERS[kind], value)
        if kind.startswith("B("):  # a string of so many bits
            assert len(value) * 8 == int(kind[2:-1]), (kind, value)
            return value
        if kind in ("A", "R"):  # as long as it is
            return value.encode("utf-16-le") + UNIT + b"\0" if self.wide else value.encode("latin-1") + UNIT
        width = int(kind[2:-1])
        assert len(value) <= width, (kind, value)
        return value.ljust(width).encode("ascii")


def _with_directory(leader, fields, lengths):
    """`leader` makes the first 24 bytes of the record's length and the directory's; `lengths` are the directory's digits."""
    length_digits, position_digits = lengths
    directory, data = b"", b""
    for tag, content in fields:
        directory += f"{tag}{len(content):0{length_digits}}{len(data):0{position_digits}}".encode()
        data += content
    start = 24 + len(directory) + 1
    return leader(start + len(data), start) + directory + FIELD + data


def description_record(fields, root="0001"):
    """The first record; `fields` are (description, tag of the field above it)."""
    pairs = "".join(parent + field.tag for field, parent in fields)
    contents = [("0000", b"0000;&   \x1f" + pairs.encode() + FIELD),
                (root, b"0500;&   ISO/IEC 8211 Record Identifier\x1f\x1f(b12)" + FIELD)]
    contents += [(field.tag, field.description() + FIELD) for field, _ in fields]
    return _with_directory(lambda length, start: f"{length:05}3LE1 09{start:05} ! 3404".encode(), contents, (3, 4))


def data_record(number, fields):
    """`fields` are (description, rows)."""
    contents = [("0001", struct.pack("<H", number & 0xFFFF) + FIELD)]
    contents += [(field.tag, field.encode(rows)) for field, rows in fields]
    digits = len(str(sum(len(content) for _, content in contents)))
    return _with_directory(lambda length, start: f"{length:05} D     {start:05}   {digits}{digits}04".encode(), contents,
                           (digits, digits))
