"""Writes the chart as text, a file per layer, or as an S-57 cell with its updates. The same input gives the same bytes
everywhere.

    python3 generator DIRECTORY
    python3 generator --cell DIRECTORY
"""
import csv
import pathlib
import sys

import cell
import features
from layers import Chart, LAYERS


def write_text(chart, directory):
    for layer in LAYERS:
        with open(directory / f"{layer}.csv", "w", encoding="utf-8", newline="") as file:
            writer = csv.writer(file, lineterminator="\n")
            writer.writerow(Chart.header(layer))
            writer.writerows(chart.rows[layer])
        (directory / f"{layer}.csvt").write_text(",".join(Chart.types(layer)) + "\n", encoding="utf-8")


def write_cell(chart, directory):
    for name, content in cell.files(chart).items():
        (directory / name).write_bytes(content)


def main(arguments):
    write = write_text
    if arguments[:1] == ["--cell"]:
        write, arguments = write_cell, arguments[1:]
    if len(arguments) != 1 or arguments[0].startswith("-"):
        sys.exit("usage: python3 generator [--cell] DIRECTORY")
    directory = pathlib.Path(arguments[0])
    directory.mkdir(parents=True, exist_ok=True)
    chart = Chart()
    features.draw(chart)
    write(chart, directory)


if __name__ == "__main__":
    main(sys.argv[1:])
