"""Documents at work in Apache Spark: frames in, frames out; and a function for ``DataFrame.mapInArrow``.

Needs the package pyspark, and this one on every worker; see the page on Python for how environments travel. Nothing of the driver's file
system is needed there: the document, the files that it names and the related tables go with the function, as bytes.
"""

from __future__ import annotations

import io
import os
from collections.abc import Callable, Iterable, Iterator, Mapping
from typing import TYPE_CHECKING

from ._document import Document, Table
from ._errors import SymbologyError

if TYPE_CHECKING:
    import pyarrow
    from pyspark.sql import Column, DataFrame, types


def _to_bytes(table: Table) -> bytes:
    import pyarrow
    from ._document import _stream
    reader = pyarrow.RecordBatchReader._import_from_c_capsule(_stream(table, "the related table"))
    sink = io.BytesIO()
    with pyarrow.ipc.new_stream(sink, reader.schema) as writer:
        for batch in reader:
            writer.write_batch(batch)
    return sink.getvalue()


class _Symbolizer:
    """What travels: plain bytes and names."""

    def __init__(self, files: dict[str, bytes], name: str, layer: str, subtype_field: str | None, related: dict[str, bytes]) -> None:
        self.files = files
        self.name = name
        self.layer = layer
        self.subtype_field = subtype_field
        self.related = related

    def __call__(self, batches: Iterable[pyarrow.RecordBatch]) -> Iterator[pyarrow.RecordBatch]:
        import pyarrow
        first = next(iter_batches := iter(batches), None)
        if first is None:
            return

        def rows() -> Iterator[pyarrow.RecordBatch]:
            yield first
            yield from iter_batches

        document = Document.from_files(self.files, self.name)
        related = {name: pyarrow.ipc.open_stream(data).read_all() for name, data in self.related.items()}
        reader = pyarrow.RecordBatchReader.from_batches(first.schema, rows())
        result = document.symbolize(reader, layer=self.layer, subtype_field=self.subtype_field, related=related, ledger=False)
        yield from pyarrow.RecordBatchReader.from_stream(result)


def symbolizer(document: str | os.PathLike[str], layer: str, *, subtype_field: str | None = None,
               related: Mapping[str, Table] | None = None,
               files: Iterable[str | os.PathLike[str]] = ()) -> Callable[[Iterable[pyarrow.RecordBatch]], Iterator[pyarrow.RecordBatch]]:
    """A function for ``mapInArrow``.

    Args:
        document (str | os.PathLike): the rule document.
        layer (str): the feature class.
        subtype_field (str | None): the column with the subtypes' codes.
        related (Mapping[str, table] | None): tables that rules ask about, by name; they go to every worker whole, so they should be
            below about 1 GB.
        files (Iterable[str | os.PathLike]): further files that the document names (expressions); all in one folder on the worker.

    Returns:
        a function of batches, for ``frame.mapInArrow(function, schema)``; see :func:`schema`. Each task has the document for itself.
        A stream that fails fails its task, with our text.
    """
    import pathlib
    from ._document import files_of
    return _Symbolizer(files_of(document, files), pathlib.Path(document).name, layer, subtype_field,
                       {name: _to_bytes(table) for name, table in (related or {}).items()})


def schema(frame: DataFrame, document: Document | str | os.PathLike[str], layer: str) -> types.StructType:
    """The schema of a symbolized frame: the frame's own, with the fields that the document writes and the frame lacks.

    Args:
        frame (pyspark.sql.DataFrame): what is symbolized.
        document (Document | str | os.PathLike): the rule document.
        layer (str): the feature class.

    Raises:
        SymbologyError: the document does not configure the class.
    """
    from pyspark.sql import types
    if not isinstance(document, Document):
        document = Document(document)
    written = document.fields(layer).written
    if not written:
        raise SymbologyError(f"{document.path}: nothing is written for '{layer}'")
    have = {field.name.upper() for field in frame.schema}
    fields = [*frame.schema]
    for name in written:
        if name.upper() not in have:
            number = name.upper() in ("XOFFSET_C", "YOFFSET_C", "ROTATE_C")
            fields.append(types.StructField(name, types.DoubleType() if number else types.StringType()))
    return types.StructType(fields)


def symbolize(frame: DataFrame, document: str | os.PathLike[str], layer: str, *, subtype_field: str | None = None,
              related: Mapping[str, Table] | None = None, files: Iterable[str | os.PathLike[str]] = ()) -> DataFrame:
    """A frame with what the document writes. Only the columns that it reads and writes leave the JVM; the others may be of any type.

    Args:
        frame (pyspark.sql.DataFrame): what is symbolized.
        document, layer, subtype_field, related, files: as :func:`symbolizer` has them.

    Returns:
        pyspark.sql.DataFrame: lazy, as Spark's are; its columns are those of :func:`schema`.

    Raises:
        SymbologyError: the document does not configure the class.
    """
    import pyarrow
    from pyspark.sql import functions, types
    function = symbolizer(document, layer, subtype_field=subtype_field, related=related, files=files)
    loaded = Document(document)
    fields = loaded.fields(layer)
    written = {name.casefold() for name in fields.written}
    whole = schema(frame, loaded, layer)
    answers = [field for field in whole if field.name.casefold() in written]
    names = [field.name for field in answers]

    def decide(batches: Iterator[pyarrow.Array]) -> Iterator[pyarrow.Array]:
        for batch in function(map(pyarrow.RecordBatch.from_struct_array, batches)):
            yield pyarrow.StructArray.from_arrays([batch.column(name) for name in names], names=names)

    # By these Spark knows what kind of function it is; as they stand above they are texts.
    decide.__annotations__ = {"batches": Iterator[pyarrow.Array], "return": Iterator[pyarrow.Array]}

    def column(name: str) -> Column:
        return functions.col("`" + name.replace("`", "``") + "`")

    asked = [column(name) for name in fields._among(frame.columns, subtype_field)] or [functions.lit(True)]
    decided = functions.arrow_udf(decide, types.StructType(answers))(functions.struct(*asked))
    made = {name: functions.col("symbology_decided").getField(name).alias(name) for name in names}
    return frame.withColumn("symbology_decided", decided).select(
        *[made[field.name] if field.name in made else column(field.name) for field in whole])
