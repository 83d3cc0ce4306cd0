"""Writes the chart's layers as text: python3 generator DIRECTORY. The same input gives the same bytes everywhere."""
import csv
import pathlib
import sys

import features
from layers import Chart, LAYERS


def main(directory):
    chart = Chart()
    features.draw(chart)
    directory.mkdir(parents=True, exist_ok=True)
    for layer in LAYERS:
        with open(directory / f"{layer}.csv", "w", encoding="utf-8", newline="") as file:
            writer = csv.writer(file, lineterminator="\n")
            writer.writerow(Chart.header(layer))
            writer.writerows(chart.rows[layer])
        (directory / f"{layer}.csvt").write_text(",".join(Chart.types(layer)) + "\n", encoding="utf-8")


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit("usage: python3 generator DIRECTORY")
    main(pathlib.Path(sys.argv[1]))
