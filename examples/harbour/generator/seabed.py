"""The sea bed off Port Merrow: one formula for the depth of every place, and the depth areas and contours that follow from it.

Positions are metres east and north of the chart's origin; depths are metres below chart datum, negative where the sea
bed dries.
"""
import math

WEST, EAST, SOUTH = -4000.0, 4000.0, -3500.0
NORTH = 3600.0
CONTOURS = [0.0, 2.0, 5.0, 10.0, 15.0, 20.0]
DRYING_HEIGHT = -1.5  # depth at the coastline
ABYSS = 30.0  # the depth that the slope approaches far out
SLOPE = 2500.0

BANK = (2600.0, -1900.0)  # Gannet Bank, which rises out of the deep area
BANK_RINGS = [(600.0, 20.0), (400.0, 10.0), (250.0, 5.0), (120.0, 2.0), (0.0, 0.8)]  # radius, depth
BANK_FOOT = 900.0  # beyond this radius the bank is not felt

# Contours are sampled closely where the approach bends them.
SAMPLES = [-4000, -3600, -3200, -2800, -2400, -2000, -1700, -1400] + list(range(-1200, 1201, 50)) + [
    1400, 1700, 2000, 2400, 2800, 3200, 3600, 4000]


def coast(x):
    """Northing of the coastline."""
    return 2500.0 + 180.0 * math.sin(x / 900.0) + 90.0 * math.sin(x / 310.0 + 1.0)


def steepness(x):
    """How much faster the sea bed falls than elsewhere: four times in the middle of the approach."""
    return 1.0 + 3.0 * math.exp(-((x / 350.0) ** 2))


def slope_depth(x, y):
    run = (coast(x) - y) * steepness(x)
    return DRYING_HEIGHT + (ABYSS - DRYING_HEIGHT) * (1.0 - math.exp(-run / SLOPE))


def depth(x, y):
    """Depth of a place; only meaningful seaward of the coastline."""
    slope = slope_depth(x, y)
    radius = math.hypot(x - BANK[0], y - BANK[1])
    if radius >= BANK_FOOT:
        return slope
    rings = [(BANK_FOOT, slope)] + BANK_RINGS
    for (outer, outer_depth), (inner, inner_depth) in zip(rings, rings[1:]):
        if radius >= inner:
            return inner_depth + (outer_depth - inner_depth) * (radius - inner) / (outer - inner)
    raise AssertionError("the last ring ends at the centre")


def coastline():
    return [(float(x), coast(x)) for x in SAMPLES]


def contour(value):
    """The line of one depth along the coast, from west to east."""
    run = -SLOPE * math.log(1.0 - (value - DRYING_HEIGHT) / (ABYSS - DRYING_HEIGHT))
    return [(float(x), coast(x) - run / steepness(x)) for x in SAMPLES]


def ring(radius):
    """A closed ring around the bank."""
    points = [(BANK[0] + radius * math.sin(math.radians(a)), BANK[1] + radius * math.cos(math.radians(a)))
              for a in range(0, 360, 5)]
    return points + points[:1]


def band(north, south):
    return north + south[::-1] + north[:1]


def depth_areas():
    """(DRVAL1, DRVAL2, rings) of every depth area; the first ring is the outer one. They share their edges."""
    lines = [coastline()] + [contour(value) for value in CONTOURS]
    limits = [DRYING_HEIGHT] + CONTOURS
    areas = [(limits[i], limits[i + 1], [band(lines[i], lines[i + 1])]) for i in range(len(CONTOURS))]
    bottom = [(WEST, SOUTH), (EAST, SOUTH)]
    outermost = ring(BANK_RINGS[0][0])
    areas.append((CONTOURS[-1], ABYSS, [band(lines[-1], bottom), outermost]))
    for (outer, deep), (inner, shoal) in zip(BANK_RINGS, BANK_RINGS[1:]):
        holes = [ring(inner)] if inner else []
        areas.append((0.0 if not inner else shoal, deep, [ring(outer)] + holes))
    return areas


def contour_lines():
    """(VALDCO, points) of every depth contour."""
    lines = [(value, contour(value)) for value in CONTOURS]
    return lines + [(value, ring(radius)) for radius, value in BANK_RINGS if radius]


def inside(point, rings):
    """Whether a point lies in a polygon with holes (even-odd rule)."""
    x, y = point
    crossings = 0
    for points in rings:
        for (x1, y1), (x2, y2) in zip(points, points[1:]):
            if (y1 > y) != (y2 > y) and x < x1 + (y - y1) / (y2 - y1) * (x2 - x1):
                crossings += 1
    return crossings % 2 == 1


def area_of(point):
    """(DRVAL1, DRVAL2) of the depth area that a point lies in; None on land."""
    for shallow, deep, rings in depth_areas():
        if inside(point, rings):
            return shallow, deep
    return None
