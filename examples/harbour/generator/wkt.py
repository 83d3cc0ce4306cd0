"""Well-known text of the chart's geometries, in degrees of longitude and latitude."""

# A piece of open ocean: the harbour exists nowhere.
ORIGIN_LONGITUDE, ORIGIN_LATITUDE = -20.0, -30.0
METRES_PER_DEGREE_EAST, METRES_PER_DEGREE_NORTH = 96486.0, 110852.0


def pair(position):
    x, y = position
    return f"{ORIGIN_LONGITUDE + x / METRES_PER_DEGREE_EAST:.7f} {ORIGIN_LATITUDE + y / METRES_PER_DEGREE_NORTH:.7f}"


def point(position):
    return f"POINT ({pair(position)})"


def point_z(position, z):
    return f"POINT Z ({pair(position)} {z:.1f})"


def line(positions):
    return f"LINESTRING ({', '.join(map(pair, positions))})"


def polygon(rings):
    return f"POLYGON ({', '.join('(' + ', '.join(map(pair, ring)) + ')' for ring in rings)})"
