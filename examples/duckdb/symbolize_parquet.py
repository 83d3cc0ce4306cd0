#!/usr/bin/env python3
"""Symbolizes Parquet files by DuckDB, in about as much memory as it may take, and counts the symbols with SQL.

    symbolize_parquet.py SOURCE TARGET DOCUMENT LAYER [--related NAME=FILE]... [--memory 1GB]

SOURCE is a (Geo)Parquet file, or a folder of them; TARGET the one that is made. Needs the packages symbology and duckdb.
"""

import argparse
import sys

import duckdb
import symbology
import symbology.duckdb


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("source", "target", "document", "layer"):
        parser.add_argument(name)
    parser.add_argument("--related", action="append", default=[], metavar="NAME=FILE", help="a table that rules ask about")
    parser.add_argument("--memory", default="1GB", help="what DuckDB may take")
    arguments = parser.parse_args()
    related = dict(table.split("=", 1) for table in arguments.related)

    connection = duckdb.connect(config={"memory_limit": arguments.memory})
    try:
        result = symbology.duckdb.symbolize(arguments.source, arguments.target, arguments.document, layer=arguments.layer, related=related,
                                            connection=connection)
    except (symbology.SymbologyError, duckdb.Error, OSError) as error:
        sys.exit(f"{arguments.source}: {error}")
    for message in result.messages:
        print(f"{message.count} times {message.text}", file=sys.stderr)
    print(f"{result.rows} rows, {result.changed} changed")
    counts = connection.execute("SELECT coalesce(SYMBOL_C, '(none)'), count(*) FROM read_parquet($1) GROUP BY 1 ORDER BY 2 DESC, 1",
                                [arguments.target])
    for symbol, count in counts.fetchall():
        print(f"{count:9} {symbol}")


if __name__ == "__main__":
    main()
