#!/usr/bin/env python3
"""Symbolizes Parquet files in Spark, and counts the symbols there.

    spark-submit symbolize_frame.py SOURCE TARGET DOCUMENT LAYER [--related NAME=FILE]... [--file FILE]...

SOURCE is whatever Spark reads as Parquet; TARGET a folder that it makes. Document, related tables and the files that expressions are in go
to the workers with the function; the package symbology has to be there, see its page. `python symbolize_frame.py` runs with Spark's own
settings, on this machine unless they say otherwise.
"""

import argparse

import pyarrow.parquet
import symbology.spark
from pyspark.sql import SparkSession


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name in ("source", "target", "document", "layer"):
        parser.add_argument(name)
    parser.add_argument("--related", action="append", default=[], metavar="NAME=FILE", help="a table that rules ask about")
    parser.add_argument("--file", action="append", default=[], help="a further file that the document names")
    arguments = parser.parse_args()
    related = {name: pyarrow.parquet.read_table(path) for name, path in (table.split("=", 1) for table in arguments.related)}

    spark = SparkSession.builder.appName("symbolize_frame").getOrCreate()
    frame = symbology.spark.symbolize(spark.read.parquet(arguments.source), arguments.document, arguments.layer, related=related,
                                      files=arguments.file)
    frame.write.parquet(arguments.target)
    counts = spark.read.parquet(arguments.target).groupBy("SYMBOL_C").count().orderBy("count", "SYMBOL_C", ascending=[False, True])
    for row in counts.collect():
        print(f"{row['count']:9} {row['SYMBOL_C'] or '(none)'}")
    spark.stop()


if __name__ == "__main__":
    main()
