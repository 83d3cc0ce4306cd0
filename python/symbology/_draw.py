"""Pictures of tables, by the command-line tool."""

from __future__ import annotations

import os
import pathlib
import tempfile
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any

from . import _tool
from ._errors import SymbologyError

if TYPE_CHECKING:
    from ._document import Document, Table


class Picture:
    """A chart as SVG; notebooks show it.

    Attributes:
        svg (str): the picture.
        summary (dict): what ``cxml draw --json`` writes: the scale, the bounds, what was drawn of each layer, names without a picture.
    """

    def __init__(self, svg: str, summary: Mapping[str, Any]) -> None:
        self.svg = svg
        self.summary = {name: value for name, value in summary.items() if name != "picture"}

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes it to a file, replacing what is there."""
        pathlib.Path(path).write_text(self.svg, encoding="utf-8")

    def _repr_svg_(self) -> str:
        return self.svg

    def __repr__(self) -> str:
        layers = ", ".join(f"{layer['layer']} {layer['drawn']}" for layer in self.summary["layers"])
        return f"<symbology.Picture: 1:{self.summary['scale']:.0f}, {layers}>"


def draw(document: Document, tables: Mapping[str, Table], *, subtype_field: str | Mapping[str, str] | None,
         related: Mapping[str, Table] | None, symbols: str | os.PathLike[str] | None, palette: str, scale: float | None,
         bbox: tuple[float, float, float, float] | None) -> Picture:
    """See :meth:`symbology.Document.draw`."""
    try:
        import geopandas
    except ImportError as error:
        raise SymbologyError("pictures need the packages geopandas and pyogrio") from error
    with tempfile.TemporaryDirectory(prefix="symbology-") as folder:
        chart, picture = pathlib.Path(folder) / "chart.gpkg", pathlib.Path(folder) / "chart.svg"
        for layer, table in tables.items():
            field = subtype_field.get(layer) if isinstance(subtype_field, Mapping) else subtype_field
            result = document.symbolize(table, layer=layer, subtype_field=field, related=related, ledger=False)
            try:
                frame = geopandas.GeoDataFrame.from_arrow(result)
            except ValueError as error:
                raise SymbologyError(f"{layer}: the table cannot be drawn: {error}") from error
            if frame.crs is None:
                raise SymbologyError(f"{layer}: the table's geometry has no CRS; set_crs() tells it")
            # Its own numbering: a column of that name may be anything.
            frame.to_file(chart, layer=layer, driver="GPKG", engine="pyogrio", FID="symbology_row")
        options = [f"--palette={palette}"]
        options += [f"--symbols={symbols}"] if symbols is not None else []
        options += [f"--scale=1:{scale:.0f}"] if scale is not None else []
        options += ["--bbox=" + ",".join(map(repr, map(float, bbox)))] if bbox is not None else []
        summary = _tool._run(["draw", chart, "--document", document.path, "-o", picture, "--json", *options], fine=(0,))
        return Picture(picture.read_text(encoding="utf-8"), summary)
