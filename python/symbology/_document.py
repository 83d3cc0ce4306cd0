"""Documents at work on tables."""

from __future__ import annotations

import html
import json
import os
import pathlib
import tempfile
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass
from typing import Any, Protocol, TypeAlias, cast

from . import _draw, _symbology, _tool
from ._errors import SymbologyError


class ArrowStream(Protocol):
    """A table that gives itself away as an Arrow stream."""

    def __arrow_c_stream__(self, requested_schema: object | None = None) -> object: ...


class ArrowArray(Protocol):
    """A batch of rows that gives itself away as an Arrow array of structs."""

    def __arrow_c_array__(self, requested_schema: object | None = None) -> tuple[object, object]: ...


Table: TypeAlias = ArrowStream | ArrowArray


@dataclass(frozen=True)
class Message:
    """What a run had to say, and how often."""

    text: str
    count: int


@dataclass(frozen=True)
class Fields:
    """The columns that a document needs of a class, and those that it writes, as it names them.

    Names are compared exactly first, then without regard to case.
    """

    read: tuple[str, ...]
    written: tuple[str, ...]

    def _among(self, columns: Iterable[str], subtype_field: str | None) -> list[str]:
        """Those of the columns that a run reads or writes."""
        used = {name.casefold() for name in (*self.read, *self.written, *([subtype_field] if subtype_field else []))}
        return [name for name in columns if name.casefold() in used]


class _Told(Mapping[str, Any]):
    """An object of the tool's ``--json``, and its words."""

    def __init__(self, content: dict[str, Any], text: str) -> None:
        self._content = content
        self._text = text

    def __getitem__(self, key: str) -> Any:
        return self._content[key]

    def __iter__(self) -> Iterator[str]:
        return iter(self._content)

    def __len__(self) -> int:
        return len(self._content)

    def __str__(self) -> str:
        return self._text

    def __repr__(self) -> str:
        return self._text

    def _repr_html_(self) -> str:
        return f"<pre>{html.escape(self._text)}</pre>"


class Ledger(_Told):
    """How every row ended: by a rule, by a default, with an older symbol, without one, or by a failure; which conditions decided;
    what could not be asked. A mapping with what ``cxml ledger --json`` has; ``str()`` gives its tables."""

    def _repr_html_(self) -> str:
        rows = []
        for layer in self["layers"]:
            ends = "".join(f"<td style='text-align:right'>{layer['ends'][end]}</td>" for end in layer["ends"])
            rows.append(f"<tr><th>{html.escape(layer['layer'])}</th><td style='text-align:right'>{layer['rows']}</td>{ends}</tr>")
            for decided in layer["decided"]:
                rows.append(f"<tr><td></td><td style='text-align:right'>{decided['rows']}</td><td colspan='5'>"
                            f"line {decided['line']}: {html.escape(decided['symbol'])}</td></tr>")
        heads = "".join(f"<th>{end}</th>" for end in ("layer", "rows", "rule", "default", "kept", "none", "failed"))
        return f"<table><thead><tr>{heads}</tr></thead><tbody>{''.join(rows)}</tbody></table>"


class Coverage(_Told):
    """What the rows put to the test of the document: a mapping with what ``cxml coverage --json`` has; ``str()`` gives its text."""


class Explanation(_Told):
    """Why a row gets what it gets, condition by condition: a mapping with what ``cxml explain --json`` has of a row.

    Attributes:
        row (int): the row's number, from 1.
    """

    def __init__(self, row: int, content: dict[str, Any], text: str) -> None:
        super().__init__(content, text)
        self.row = row


class Result:
    """A table with what a document writes: give it to whatever reads ``__arrow_c_stream__``, once.

    Rows are symbolized while they are read, batch by batch; memory does not grow with them. What the run has to tell (:attr:`ledger`,
    :attr:`messages` and so on) is there when the last batch has been read; before that, asking for it raises
    :class:`SymbologyError`.
    """

    def __init__(self, capsule: object, report: _symbology.Report) -> None:
        self._capsule: object | None = capsule
        self._report = report

    def __arrow_c_stream__(self, requested_schema: object | None = None) -> object:
        """The Arrow stream. ``requested_schema`` is passed over, as the protocol allows."""
        if self._capsule is None:
            raise SymbologyError("the result has been read already; symbolize the table again, or keep what it was read into")
        capsule, self._capsule = self._capsule, None
        return capsule

    @property
    def is_ended(self) -> bool:
        """bool: whether the run is over."""
        return self._report.is_ended

    def _ended(self) -> _symbology.Report:
        if not self._report.is_ended:
            raise SymbologyError("the result has not been read to its end yet")
        return self._report

    @property
    def rows(self) -> int:
        """int: how many rows were symbolized."""
        return self._ended().rows

    @property
    def changed(self) -> int:
        """int: how many of them got other values than they had."""
        return self._ended().changed

    @property
    def messages(self) -> list[Message]:
        """list[Message]: each text once, in the order of their first coming."""
        return [Message(text, count) for text, count in self._ended().messages]

    @property
    def summary(self) -> dict[str, Any]:
        """dict: "layer", "succeeded", "rows", "changed"; and, where there are any, "unreadable" and "refused": rows with values that
        could not be read, or that their column did not take."""
        summary: dict[str, Any] = json.loads(self._ended().result_json)
        return summary

    @property
    def ledger(self) -> Ledger | None:
        """Ledger | None: None when the table was symbolized with ``ledger=False``."""
        report = self._ended()
        return Ledger(json.loads(report.ledger_json), report.ledger_text) if report.ledger_json else None

    @property
    def coverage(self) -> Coverage | None:
        """Coverage | None: None unless the table was symbolized with ``coverage=True``."""
        report = self._ended()
        return Coverage(json.loads(report.coverage_json), report.coverage_text) if report.coverage_json else None

    def __repr__(self) -> str:
        if not self._report.is_ended:
            return "<symbology.Result, not read to its end yet>"
        return f"<symbology.Result: {self._report.rows} rows, {self._report.changed} changed>"

    def _repr_html_(self) -> str:
        ledger = self.ledger if self._report.is_ended else None
        return ledger._repr_html_() if ledger is not None else html.escape(repr(self))


def _stream(table: Any, what: str) -> object:
    """The capsule with the table's Arrow stream."""
    if type(table).__name__ == "PyCapsule":
        return table
    if type(table).__module__.partition(".")[0] == "geopandas" and hasattr(table, "to_arrow"):  # its geometry needs an encoding
        table = table.to_arrow(geometry_encoding="WKB")
    if hasattr(table, "__arrow_c_stream__"):
        return table.__arrow_c_stream__()
    if hasattr(table, "__arrow_c_array__"):
        return _symbology.stream_of_array(*table.__arrow_c_array__())
    hint = "; collect() it first" if hasattr(table, "collect") else ""
    raise TypeError(f"{what} is a {type(table).__module__}.{type(table).__qualname__}, which gives no Arrow data{hint}")


def _related(related: Mapping[str, Table] | None) -> list[tuple[str, object]]:
    return [(name, _stream(table, f"the related table '{name}'")) for name, table in (related or {}).items()]


class Document:
    """A rule document.

    Args:
        path (str | os.PathLike): the file. Files that it names are found as the command-line tool finds them.

    Raises:
        DocumentError: it cannot be read, is not well-formed, or does not load; with file and line.

    One document may be used from several threads at once. Its expressions run in this Python, under its lock; everything else runs
    without it.
    """

    def __init__(self, path: str | os.PathLike[str]) -> None:
        self._document = _symbology.Document(os.fsdecode(path))
        self._folder: tempfile.TemporaryDirectory[str] | None = None

    @classmethod
    def from_files(cls, files: Mapping[str, bytes], name: str = "rules.cxml") -> Document:
        """A document that travels: of the bytes of its file and of those that it names.

        Args:
            files (Mapping[str, bytes]): by name, without folders; see :meth:`files`.
            name (str): which of them is the document.
        """
        folder = tempfile.TemporaryDirectory(prefix="symbology-")
        for file, content in files.items():
            if pathlib.PurePath(file).name != file:
                raise ValueError(f"'{file}' is not a plain file name")
            (pathlib.Path(folder.name) / file).write_bytes(content)
        document = cls(pathlib.Path(folder.name) / name)
        document._folder = folder  # goes with the document
        return document

    @property
    def path(self) -> str:
        """str: the file."""
        return self._document.path

    @property
    def classes(self) -> list[str]:
        """list[str]: the feature classes that it configures, as it writes them."""
        return self._document.classes

    @property
    def messages(self) -> list[str]:
        """list[str]: what was said while it loaded, each text once."""
        return self._document.messages

    def fields(self, layer: str) -> Fields:
        """The columns that a class needs and gets.

        Args:
            layer (str): the class, in whatever case.

        Returns:
            Fields

        Raises:
            SymbologyError: the document does not configure it.
        """
        read, written = self._document.fields(layer)
        return Fields(tuple(read), tuple(written))

    def symbolize(self, table: Table, *, layer: str, subtype_field: str | None = None, related: Mapping[str, Table] | None = None,
                  ledger: bool = True, coverage: bool = False) -> Result:
        """Symbolizes a table.

        Args:
            table: anything with ``__arrow_c_stream__`` or ``__arrow_c_array__``. Columns that the document does not write pass through
                as they are, geometry too; those that it writes and the table lacks are added at the end: "SYMBOL_C" (text),
                "Xoffset_C" and "Yoffset_C" (millimetres on the chart, to the right and up), "Rotate_C" (degrees, clockwise from
                north), and computed fields (text).
            layer (str): the feature class.
            subtype_field (str | None): the column with the subtypes' codes; without one every row has the class's default list.
            related (Mapping[str, table] | None): tables that rules ask about, by name, read into memory before the run.
            ledger (bool): whether it is counted how rows end.
            coverage (bool): whether it is counted what rows put to the test; some four times slower.

        Returns:
            Result: the table, to be read once.

        Raises:
            SymbologyError: the class is not configured; a column that would be written is of a type that cannot be.
            TypeError: a table gives no Arrow data.

        What goes wrong later (a table that cannot be read, a question without its table) ends the stream with an error of the
        reading library that has our text.
        """
        capsule, report = self._document.symbolize(_stream(table, "the table"), layer, subtype_field, _related(related), ledger,
                                                   coverage)
        return Result(capsule, report)

    def explain(self, table: Table, *, layer: str, rows: Iterable[int] | None = None, most: int = 20, subtype_field: str | None = None,
                related: Mapping[str, Table] | None = None) -> list[Explanation]:
        """Why rows get what they get.

        Args:
            table, layer, subtype_field, related: as in :meth:`symbolize`.
            rows (Iterable[int] | None): their numbers, from 1; the first ``most`` of the table when not given.
            most (int): how many, without ``rows``.

        Returns:
            list[Explanation]: in the order of the rows; numbers that the table does not have are left out.
        """
        wanted = [] if rows is None else [int(row) for row in rows]
        if rows is not None and not wanted:
            return []
        explained = self._document.explain(_stream(table, "the table"), layer, subtype_field, _related(related), wanted, most)
        return [Explanation(row, json.loads(content), text) for row, content, text in explained]

    def draw(self, tables: Table | Mapping[str, Table], *, layer: str | None = None, subtype_field: str | Mapping[str, str] | None = None,
             related: Mapping[str, Table] | None = None, symbols: str | os.PathLike[str] | None = None, palette: str = "day",
             scale: float | None = None, bbox: tuple[float, float, float, float] | None = None) -> _draw.Picture:
        """How tables look on a chart when they are symbolized, by ``cxml draw``, which has to be installed, and geopandas with pyogrio.

        Args:
            tables: a table of geopandas, or another with a geometry that geopandas reads; or several, a mapping by layers.
            layer (str | None): the feature class of a single table.
            subtype_field (str | Mapping[str, str] | None): the column with the subtypes' codes; or several, by layers.
            related: as in :meth:`symbolize`, for all of them.
            symbols (str | os.PathLike | None): a folder with pictures, NAME.svg, instead of the tool's own.
            palette (str): "day", "dusk" or "night".
            scale (float | None): 20000 for 1:20,000, in the middle of the map; one at which the map fits when not given.
            bbox (tuple[float, float, float, float] | None): west, south, east, north, in degrees.

        Returns:
            Picture: notebooks show it; ``svg`` and ``save()`` give it away.

        Raises:
            SymbologyError: a package is missing, or a table has no geometry, or one without a CRS.
            ToolError: the tool is not there, or cannot draw.
        """
        if layer is not None:
            tables = {layer: cast(Table, tables)}
        elif not isinstance(tables, Mapping):
            raise TypeError("a single table needs its layer")
        return _draw.draw(self, tables, subtype_field=subtype_field, related=related,
                          symbols=symbols, palette=palette, scale=scale, bbox=bbox)

    def check(self, dataset: str | os.PathLike[str] | None = None) -> dict[str, Any]:
        """The findings of ``cxml check``, which has to be installed: see :func:`symbology.check`."""
        return _tool.check(self.path, dataset)

    def __repr__(self) -> str:
        return f"symbology.Document({self.path!r})"


def files_of(path: str | os.PathLike[str], more: Iterable[str | os.PathLike[str]] = ()) -> dict[str, bytes]:
    """The bytes of a document and of further files, by name, for :meth:`Document.from_files`."""
    return {pathlib.Path(file).name: pathlib.Path(file).read_bytes() for file in (path, *more)}
