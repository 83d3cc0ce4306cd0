"""Makes the GeoPackage that the fault runs work on: two layers, one of them spatial, and a table that queries ask."""
import json
import pathlib
import sqlite3
import subprocess

ROWS = 240
TARGETS = "SYMBOL_C TEXT, Xoffset_C DOUBLE, Yoffset_C DOUBLE, Rotate_C DOUBLE, LABEL_C TEXT"
SUBTYPE = ("<GDALMultiDomainMetadata><Metadata><MDI key=\"SUBTYPE_FIELD\">CATLAM</MDI></Metadata>"
           "</GDALMultiDomainMetadata>")


def mark(number):
    return {"type": "Feature", "properties": {"OBJNAM": f"Buoy {number}"},
            "geometry": {"type": "Point", "coordinates": [number / 100, 50]}}


def make_chart(path, *, targets, journal="delete"):
    """A chart whose layers are not symbolized yet. Without `targets`, they lack the fields for it."""
    marks = pathlib.Path(path).with_suffix(".geojson")
    marks.write_text(json.dumps({"type": "FeatureCollection", "features": [mark(n) for n in range(ROWS)]}),
                     encoding="utf-8")
    subprocess.run(["ogr2ogr", "-f", "GPKG", path, marks, "-nln", "MARKS"], check=True)
    chart = sqlite3.connect(path)
    for statement in (
            "CREATE TABLE BOYLAT (fid INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, OBJNAM TEXT, CATLAM MEDIUMINT, "
            "COLOUR TEXT, HEIGHT DOUBLE, NOTE TEXT)",
            "CREATE TABLE LIGHTS (fid INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, BUOY TEXT, LITCHR TEXT)",
            "CREATE INDEX LIGHTS_BUOY ON LIGHTS (BUOY)"):
        chart.execute(statement)
    chart.executemany("INSERT INTO BOYLAT (OBJNAM, CATLAM, COLOUR, HEIGHT, NOTE) VALUES (?, ?, ?, ?, ?)",
                      [(f"Buoy {n}", n // 2 % 4, "3,4" if n % 3 else "1", n % 7 / 2, "x" * 100) for n in range(ROWS)])
    chart.executemany("INSERT INTO LIGHTS (BUOY, LITCHR) VALUES (?, ?)",
                      [(f"Buoy {n // 2 * 2}", f"Fl {n}s") for n in range(ROWS)])
    for table, title in (("BOYLAT", "Lateral buoys"), ("LIGHTS", "LIGHTS")):
        chart.execute("INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES (?, 'attributes', ?)",
                      (table, title))
        chart.execute("INSERT INTO gpkg_ogr_contents (table_name, feature_count) VALUES (?, ?)", (table, ROWS))
    chart.executescript(
        "CREATE TABLE IF NOT EXISTS gpkg_metadata (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, md_scope TEXT NOT NULL DEFAULT "
        "'dataset', md_standard_uri TEXT NOT NULL, mime_type TEXT NOT NULL DEFAULT 'text/xml', metadata TEXT NOT NULL "
        "DEFAULT '');"
        "CREATE TABLE IF NOT EXISTS gpkg_metadata_reference (reference_scope TEXT NOT NULL, table_name TEXT, column_name TEXT, "
        "row_id_value INTEGER, timestamp DATETIME NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ','now')), "
        "md_file_id INTEGER NOT NULL, md_parent_id INTEGER, "
        "CONSTRAINT crmr_mfi_fk FOREIGN KEY (md_file_id) REFERENCES gpkg_metadata(id));")
    number = chart.execute("INSERT INTO gpkg_metadata (md_standard_uri, metadata) VALUES ('http://gdal.org', ?)",
                           (SUBTYPE,)).lastrowid
    chart.execute("INSERT INTO gpkg_metadata_reference (reference_scope, table_name, md_file_id) "
                  "VALUES ('table', 'BOYLAT', ?)", (number,))
    if targets:
        for layer in ("BOYLAT", "MARKS"):
            for column in TARGETS.split(", "):
                chart.execute(f"ALTER TABLE {layer} ADD COLUMN {column}")
    chart.commit()
    chart.execute(f"PRAGMA journal_mode = {journal}")
    chart.close()
    marks.unlink()
