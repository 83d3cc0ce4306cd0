"""Datasets for the tests of cxml report: names and values that would be markup, and many rows."""
import sqlite3
import struct
import subprocess

HOSTILE = {
    "markup": "</script><script>window.attacked = 1</script>",
    "attribute": "\" onload=\"window.attacked = 2\" x='<b>",
    "comment": "<!-- <script> ]]> --> &lt;&#60; {{css}} {{{script}}}",
    "control": "a\x01\x07\x1b[31m\x7f\u0085 \u2028 b\r\nc\td",
    "right to left": "\u202e\u05d0\u05d1\u05d2 \u0627\u0644\u0639\u0631\u0628\u064a\u0629\u202c",
    "long": "<b>x</b>&\"'" * 100_000,
}


def points(dataset, layer, rows, columns):
    """A GeoPackage with one layer of points: for each row its place and the values of its columns."""
    source = dataset.with_suffix(".geojson")
    source.write_text('{"type": "Feature", "geometry": {"type": "Point", "coordinates": [0, 0]}, "properties": {}}', encoding="utf-8")
    subprocess.run(["ogr2ogr", "-q", "-f", "GPKG", dataset, source, "-nln", layer, "-lco", "SPATIAL_INDEX=NO"], check=True)
    connection = sqlite3.connect(dataset)
    table = quoted(layer)
    with connection:
        # GDAL's triggers call functions that only its own connections have.
        for (trigger,) in connection.execute("SELECT name FROM sqlite_master WHERE type = 'trigger'").fetchall():
            connection.execute(f"DROP TRIGGER {quoted(trigger)}")
        for column, kind in [*columns, ("SYMBOL_C", "TEXT"), ("Xoffset_C", "REAL"), ("Yoffset_C", "REAL"), ("Rotate_C", "REAL")]:
            connection.execute(f"ALTER TABLE {table} ADD COLUMN {column} {kind}")
        connection.execute(f"DELETE FROM {table}")
        names = ", ".join(column for column, _ in columns)
        # The header of GeoPackage's geometries, and a point as well-known binary.
        connection.executemany(f"INSERT INTO {table} (fid, geom, {names}) VALUES (?, ?{', ?' * len(columns)})",
                               ((fid, struct.pack("<2sBBiBIdd", b"GP", 0, 1, 4326, 1, 1, *place), *values)
                                for fid, (place, *values) in enumerate(rows, 1)))
        connection.execute("UPDATE gpkg_ogr_contents SET feature_count = (SELECT COUNT(*) FROM " + table + ")")
    connection.close()
    return dataset


def quoted(name):
    return '"' + name.replace('"', '""') + '"'


def xml(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace('"', "&quot;")


def hostile_points(folder):
    """A document whose names, and a dataset whose layer and values are hostile."""
    layer = "L</script><b>'\"&"
    rows = [((-20 + i / 1000, -30 + i / 1000), value, i % 2) for i, value in enumerate(HOSTILE.values())]
    dataset = points(folder / "hostile's <b>.gpkg", layer, rows, [("V", "TEXT"), ("K", "INTEGER")])
    document = folder / "rules' <i>.cxml"
    document.write_text(f"""<?xml version="1.0" encoding="UTF-8"?>
<conditionMap name="&lt;/i&gt;">
  <featureClass name="{xml(layer)}">
    <condition rulename="{xml(HOSTILE['markup'])}"/>
    <condition rulename="{xml(HOSTILE['attribute'])}">
      <rule type="A" field="K" operator="equal" value="1"/>
      <rule type="A" field="V" operator="notequal" value="{xml(HOSTILE['comment'])}"/>
    </condition>
  </featureClass>
</conditionMap>
""", encoding="utf-8")
    return document, dataset


def many_points(folder, count):
    rows = (((-20 + i % 200 / 1000, -30 + i // 200 % 100 / 1000), i % 7) for i in range(count))
    dataset = points(folder / "many.gpkg", "MARKS", rows, [("KIND", "INTEGER")])
    document = folder / "many.cxml"
    conditions = "".join(f"""
    <condition rulename="{name}"><rule type="A" field="KIND" operator="equal" value="{i}"/></condition>"""
                         for i, name in enumerate(("BOYLAT13", "BOYLAT24", "BOYSPR60", "BOYSPR61", "LNDARE01", "WRECKS05", "LIGHTS11")))
    document.write_text(f"""<?xml version="1.0" encoding="UTF-8"?>
<conditionMap name="many">
  <featureClass name="MARKS">{conditions}
  </featureClass>
</conditionMap>
""", encoding="utf-8")
    return document, dataset
