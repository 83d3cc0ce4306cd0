"""Draws the pictures of share/symbology/symbols, in the colours of the day that styles.json has there.

    python3 scripts/symbols DIRECTORY                         writes NAME.svg for each
    python3 scripts/symbols --sheet FILE.svg [PALETTE]        one sheet with all of them, to look at
"""
import json
import math
import sys
from pathlib import Path

import areas
import dangers
import landmarks
import lights
import marks
import nature
import places
import traffic
import works
from palette import Palette

STYLES = Path(__file__).resolve().parents[2] / "share" / "symbology" / "symbols" / "styles.json"
FAMILIES = (marks, lights, dangers, areas, landmarks, places, traffic, nature, works)


def all_pictures():
    return [picture for family in FAMILIES for picture in family.pictures()]


def write_files(folder, palette):
    folder.mkdir(parents=True, exist_ok=True)
    for picture in all_pictures():
        (folder / f"{picture.name}.svg").write_text(picture.text(palette), encoding="utf-8")


def write_sheet(file, palette, columns=10, cell=16):
    pictures = all_pictures()
    rows = math.ceil(len(pictures) / columns)
    width, height = columns * cell, rows * cell
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}mm" height="{height}mm" viewBox="0 0 {width} {height}">',
             f'<rect width="{width}" height="{height}" fill="{palette.colours["paper"]}"/>']
    for i, picture in enumerate(pictures):
        x, y = (i % columns + 0.5) * cell, (i // columns + 0.5) * cell
        lines.append(f'<path d="M{x - 6},{y}h12M{x},{y - 6}v12" stroke="{palette.colours["grey"]}" stroke-width="0.03"/>')
        lines.append(f'<g transform="translate({x} {y})">')
        lines += [palette.inline(line) for line in picture.lines]
        lines.append("</g>")
        lines.append(f'<text x="{x}" y="{y + 7.5}" font-size="1.7" font-family="sans-serif" text-anchor="middle" '
                     f'fill="{palette.colours["ink"]}">{picture.name}</text>')
    Path(file).write_text("\n".join(lines + ["</svg>\n"]), encoding="utf-8")


def main(arguments):
    palettes = json.loads(STYLES.read_text(encoding="utf-8"))["palettes"]
    if len(arguments) in (2, 3) and arguments[0] == "--sheet":
        write_sheet(arguments[1], Palette(palettes[(arguments[2:] or ["day"])[0]]))
    elif len(arguments) == 1 and not arguments[0].startswith("-"):
        write_files(Path(arguments[0]), Palette(palettes["day"]))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
