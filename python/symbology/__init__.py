"""Rule-driven symbology for nautical charts.

A rule document (CXML) decides how features are drawn. Here it is put to work on tables of features, whoever has them: anything with
``__arrow_c_stream__`` (pyarrow, polars, pandas, geopandas, duckdb, pyogrio) goes in, and such a thing comes out::

    import symbology

    document = symbology.Document("rules.cxml")
    result = document.symbolize(buoys, layer="BOYLAT", related={"TOPMAR": topmarks})
    table = pyarrow.table(result)   # or polars.DataFrame(result), duckdb.from_arrow(result), ...
    print(result.ledger)

Whole datasets (GeoPackage, PostgreSQL) are symbolized by the command-line tool, where it is installed: :func:`symbolize`.
"""

import atexit as _atexit
from importlib.metadata import PackageNotFoundError as _Missing
from importlib.metadata import version as _version

from . import _symbology
from ._draw import Picture
from ._document import Coverage, Document, Explanation, Fields, Ledger, Message, Result
from ._errors import DocumentError, SymbologyError
from ._tool import ToolError, check, symbolize

# Runs that go on while their reader does not need Python's lock, which a process that ends gives to nobody.
_atexit.register(_symbology.end_streams)

try:
    __version__ = _version("symbology")
except _Missing:  # a module that lies beside its sources
    __version__ = "0"

__all__ = ["Coverage", "Document", "DocumentError", "Explanation", "Fields", "Ledger", "Message", "Picture", "Result", "SymbologyError",
           "ToolError", "check", "symbolize"]
