"""GeoParquet in, GeoParquet out, by DuckDB: files of any size in as much memory as DuckDB may use.

Needs the packages duckdb and pyarrow.
"""

from __future__ import annotations

import os
import pathlib
import shutil
from collections.abc import Callable, Mapping, Sequence
from concurrent.futures import ThreadPoolExecutor, wait
from typing import Any, TypeAlias

import duckdb
import pyarrow

from ._document import Document, Result, Table
from ._errors import SymbologyError

Path: TypeAlias = str | os.PathLike[str]

_ROWS = 122_880  # of a batch, and of DuckDB's own row groups


def _quoted(text: object) -> str:
    return "'" + str(text).replace("'", "''") + "'"


def _name(name: str) -> str:
    return '"' + name.replace('"', '""') + '"'


def _source(source: Path) -> str:
    path = pathlib.Path(source)
    return _quoted(path / "**" / "*.parquet" if path.is_dir() else path)


def _tables(connection: duckdb.DuckDBPyConnection, related: Mapping[str, Table | Path] | None) -> dict[str, Table]:
    return {name: connection.sql(f"SELECT * FROM read_parquet({_source(table)})").to_arrow_table()
            if isinstance(table, (str, os.PathLike)) else table for name, table in (related or {}).items()}


# A row's place, as DuckDB tells it: that of its file among those that are read, and its own there.
_FILE, _ROW = "file_index", "file_row_number"
# The rows of a source with these columns, in their order: a SELECT.
Rows: TypeAlias = Callable[[str], str]


def _all_rows(source: Path) -> Rows:
    return lambda columns: f"SELECT {columns} FROM read_parquet({_source(source)})"


def _beside(rows: Rows, columns: Sequence[str], answers: Sequence[str]) -> str:
    """The rows with the answers that the stream has for them: a SELECT."""
    there = {name.casefold() for name in columns}
    # A row that meets another one would get its symbol. One answer's check is one of all: they come together.
    checked = (f"CASE WHEN came.{_ROW} = made.symbology_row AND came.{_FILE} = made.symbology_file THEN made.{{0}} "
               "ELSE error('rows came in two orders') END AS {0}")
    replaced: list[str] = []
    added: list[str] = []
    for place, name in enumerate(answers):
        answer = ("made.{0} AS {0}" if place else checked).format(_name(name))
        (replaced if name.casefold() in there else added).append(answer)
    came = f"came.* EXCLUDE ({_FILE}, {_ROW})" + (f" REPLACE ({', '.join(replaced)})" if replaced else "")
    return f"SELECT {', '.join([came, *added])} FROM ({rows(f'*, {_FILE}, {_ROW}')}) came POSITIONAL JOIN symbology_stream made"


def _copy(base: duckdb.DuckDBPyConnection, rows: Rows, target: pathlib.Path, document: Document, *, layer: str,
          subtype_field: str | None, **options: Any) -> Result:
    """Symbolizes rows into a new file, which has its name when it is whole.

    Only the columns that the document reads and writes come here; the others stay with DuckDB, which puts both together by the rows'
    places. Where it may change their order, whole rows come.
    """
    reading, writing = base.cursor(), base.cursor()
    columns = [name for name, *_ in reading.execute(f"DESCRIBE {rows('*')}").fetchall()]
    fields = document.fields(layer)
    in_order = reading.execute("SELECT current_setting('preserve_insertion_order')").fetchall() == [(True,)]
    together = in_order and not {_FILE, _ROW} & {name.casefold() for name in columns}

    cross = "*"
    if together:
        cross = ", ".join([*map(_name, fields._among(columns, subtype_field)), f"{_FILE} AS symbology_file", f"{_ROW} AS symbology_row"])
    result = document.symbolize(reading.sql(rows(cross)).to_arrow_reader(_ROWS), layer=layer, subtype_field=subtype_field, **options)
    stream = pyarrow.RecordBatchReader.from_stream(result)
    select = "SELECT * FROM symbology_stream"
    if together:
        written = {name.casefold() for name in fields.written}
        select = _beside(rows, columns, [name for name in stream.schema.names if name.casefold() in written])
    partial = target.with_name(target.name + ".partial")
    try:
        writing.register("symbology_stream", stream)
        writing.execute(f"COPY ({select}) TO {_quoted(partial)} (FORMAT parquet, ROW_GROUP_SIZE {_ROWS})")
        os.replace(partial, target)
    except Exception as error:
        if result.is_ended and result._report.failure:
            raise SymbologyError(result._report.failure) from error
        raise
    finally:
        writing.unregister("symbology_stream")
        partial.unlink(missing_ok=True)
    return result


def _row_groups(connection: duckdb.DuckDBPyConnection, source: Path) -> list[tuple[str, int, int]]:
    """(file, first row, rows) of each group, in the order in which DuckDB reads them."""
    groups = connection.execute(f"SELECT file_name, row_group_id, any_value(row_group_num_rows) FROM parquet_metadata({_source(source)}) "
                                "GROUP BY ALL ORDER BY ALL").fetchall()
    found: list[tuple[str, int, int]] = []
    first: dict[str, int] = {}
    for file, _, rows in groups:
        found.append((file, first.get(file, 0), rows))
        first[file] = first.get(file, 0) + rows
    return found


def _parts(groups: Sequence[tuple[str, int, int]], parts: int) -> list[Rows]:
    """The rows of each part: runs of whole row groups, of about as many rows each."""
    total, done = max(1, sum(rows for _, _, rows in groups)), 0
    ranges: list[dict[str, tuple[int, int]]] = [{} for _ in range(parts)]
    for file, first, rows in groups:
        part = ranges[min(parts - 1, (done + rows // 2) * parts // total)]
        begin, _ = part.get(file, (first, None))
        part[file] = (begin, first + rows - 1)
        done += rows

    def rows_of(part: dict[str, tuple[int, int]]) -> Rows:
        return lambda columns: " UNION ALL ".join(
            f"SELECT {columns} FROM read_parquet({_quoted(file)}) WHERE {_ROW} BETWEEN {begin} AND {end}"
            for file, (begin, end) in part.items())

    return [rows_of(part) for part in ranges if part]


def symbolize(source: Path, target: Path, document: Document | Path, *, layer: str, subtype_field: str | None = None,
              related: Mapping[str, Table | Path] | None = None, connection: duckdb.DuckDBPyConnection | None = None,
              overwrite: bool = False, **options: bool) -> Result:
    """Symbolizes a Parquet file, or a folder of them, into one new Parquet file.

    Args:
        source (str | os.PathLike): a Parquet file, or a folder whose Parquet files are read together.
        target (str | os.PathLike): the new file; it has its name when it is whole.
        document (Document | str | os.PathLike): the rule document.
        layer (str): the feature class.
        subtype_field (str | None): the column with the subtypes' codes.
        related (Mapping[str, table | path] | None): tables that rules ask about, by name: anything that
            :meth:`Document.symbolize` takes, or a Parquet file. They are held in memory.
        connection (duckdb.DuckDBPyConnection | None): one with settings of yours (memory, threads); a new one otherwise.
        overwrite (bool): whether a target that is there gives way.
        **options: ``ledger`` and ``coverage`` of :meth:`Document.symbolize`.

    Returns:
        Result: what the run has to tell; its table is in the target.

    Raises:
        SymbologyError: the run failed; there is no target then.
        FileExistsError: there is a target already.
        duckdb.Error: a file cannot be read or written.

    Columns keep their types. A geometry column of GeoParquet stays one: DuckDB writes the file's metadata anew.
    """
    target = pathlib.Path(target)
    if target.exists() and not overwrite:
        raise FileExistsError(f"{target} is there already; overwrite=True replaces it")
    if not isinstance(document, Document):
        document = Document(document)
    base = connection or duckdb.connect()
    return _copy(base, _all_rows(source), target, document, layer=layer, subtype_field=subtype_field,
                 related=_tables(base.cursor(), related), **options)


def symbolize_in_parts(source: Path, folder: Path, document: Document | Path, *, layer: str, parts: int, workers: int | None = None,
                       subtype_field: str | None = None, related: Mapping[str, Table | Path] | None = None,
                       connection: duckdb.DuckDBPyConnection | None = None, overwrite: bool = False, **options: bool) -> list[Result]:
    """Symbolizes a Parquet file, or a folder of them, into a new folder of Parquet files, several at a time.

    Args:
        source (str | os.PathLike): as in :func:`symbolize`; files are cut between row groups only.
        folder (str | os.PathLike): the new folder, with the files "part-00001.parquet" and so on: together they have the source's rows
            in its order. It has its name when all of them are whole.
        parts (int): how many files, at least 1; fewer where there are not as many row groups.
        workers (int | None): how many parts at a time; as many as there are processors when not given. Each has a document and related
            tables for itself.
        document, layer, subtype_field, related, connection, overwrite, **options: as in :func:`symbolize`.

    Returns:
        list[Result]: of the parts, in their order. Rows are numbered within their part.

    Raises:
        SymbologyError: a part failed, which is named; there is no folder then.
        FileExistsError: there is something by the folder's name already.
        duckdb.Error: a file cannot be read or written.
    """
    if parts < 1 or workers is not None and workers < 1:
        raise ValueError("parts and workers are at least 1")
    folder = pathlib.Path(folder)
    if folder.exists() and not (overwrite and folder.is_dir()):
        raise FileExistsError(f"{folder} is there already; overwrite=True replaces a folder")
    if not isinstance(document, Document):
        document = Document(document)
    base = connection or duckdb.connect()
    tables = _tables(base.cursor(), related)
    groups = _row_groups(base.cursor(), source)
    cut = _parts(groups, parts) if groups else [_all_rows(source)]
    partial = folder.with_name(folder.name + ".partial")
    shutil.rmtree(partial, ignore_errors=True)
    partial.mkdir()

    def symbolize_part(number: int, rows: Rows) -> Result:
        try:
            return _copy(base, rows, partial / f"part-{number:05}.parquet", document, layer=layer, subtype_field=subtype_field,
                         related=tables, **options)
        except SymbologyError as error:
            raise SymbologyError(f"part {number}: {error}") from error

    try:
        with ThreadPoolExecutor(workers or os.cpu_count() or 1) as pool:
            running = [pool.submit(symbolize_part, number, rows) for number, rows in enumerate(cut, 1)]
            wait(running, return_when="FIRST_EXCEPTION")
            for part in running:
                part.cancel()  # those that have not begun, where one failed
        results = [part.result() for part in sorted(running, key=lambda part: part.cancelled())]
        if folder.exists():
            shutil.rmtree(folder)
        os.replace(partial, folder)
    finally:
        shutil.rmtree(partial, ignore_errors=True)
    return results
