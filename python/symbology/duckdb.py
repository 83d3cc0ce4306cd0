"""GeoParquet in, GeoParquet out, by DuckDB: files of any size in bounded memory.

Needs the packages duckdb and pyarrow.
"""

import os
import pathlib

import duckdb
import pyarrow

from ._document import Document
from ._errors import SymbologyError

_ROWS = 122_880  # of a batch, and of DuckDB's own row groups


def _quoted(text):
    return "'" + str(text).replace("'", "''") + "'"


def _source(source):
    path = pathlib.Path(source)
    return _quoted(path / "**" / "*.parquet" if path.is_dir() else path)


def symbolize(source, target, document, *, layer, subtype_field=None, related=None, connection=None, overwrite=False, **options):
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
    reading, writing = base.cursor(), base.cursor()
    tables = {name: reading.sql(f"SELECT * FROM read_parquet({_source(table)})").to_arrow_table()
              if isinstance(table, (str, os.PathLike)) else table for name, table in (related or {}).items()}
    rows = reading.sql(f"SELECT * FROM read_parquet({_source(source)})").to_arrow_reader(_ROWS)
    result = document.symbolize(rows, layer=layer, subtype_field=subtype_field, related=tables, **options)
    stream = pyarrow.RecordBatchReader.from_stream(result)
    partial = target.with_name(target.name + ".partial")
    try:
        writing.register("symbology_stream", stream)
        writing.execute(f"COPY (SELECT * FROM symbology_stream) TO {_quoted(partial)} (FORMAT parquet, ROW_GROUP_SIZE {_ROWS})")
        os.replace(partial, target)
    except Exception as error:
        if result.is_ended and result._report.failure:
            raise SymbologyError(result._report.failure) from error
        raise
    finally:
        writing.unregister("symbology_stream")
        partial.unlink(missing_ok=True)
    return result
