"""Buoys, beacons, light floats, top marks and day marks."""
from picture import Picture

# What stands in the water, by its half width at each height.
SHAPES = {
    "can": [(0, 1.25), (2.0, 1.05)],
    "conical": [(0, 1.4), (0.7, 1.05), (1.5, 0.55), (2.2, 0.05)],
    "spherical": [(0, 1.4), (0.5, 1.33), (0.9, 1.2), (1.3, 0.98), (1.6, 0.72), (1.8, 0.45), (1.9, 0.1)],
    "pillar": [(0, 1.2), (0.55, 1.1), (0.75, 0.5), (2.1, 0.36)],
    "spar": [(0, 0.34), (2.3, 0.26)],
    "barrel": [(0, 1.7), (0.3, 1.85), (0.9, 1.85), (1.2, 1.7)],
    "super": [(0, 2.1), (0.9, 1.75)],
    "tower": [(0, 0.75), (3.2, 0.55)],
    "pole": [(0, 0.2), (3.2, 0.2)],
    "post": [(0, 0.45), (2.8, 0.45)],
}

# Name: shape, bands from the top down, what it is, and what more is drawn.
BUOYS = {
    "BOYLAT13": ("conical", ["green"], "conical buoy, green"),
    "BOYLAT14": ("conical", ["red"], "conical buoy, red"),
    "BOYLAT23": ("can", ["green"], "can buoy, green"),
    "BOYLAT24": ("can", ["red"], "can buoy, red"),
    "BOYPIL01": ("pillar", ["white"], "pillar buoy"),
    "BOYPIL60": ("pillar", ["red"], "pillar buoy, red"),
    "BOYPIL61": ("pillar", ["green"], "pillar buoy, green"),
    "BOYSPR01": ("spar", ["white"], "spar buoy"),
    "BOYSPR60": ("spar", ["red"], "spar buoy, red"),
    "BOYSPR61": ("spar", ["green"], "spar buoy, green"),
    "BOYSPP11": ("pillar", ["yellow"], "special purpose buoy, yellow"),
    "BOYSPP15": ("conical", ["yellow"], "special purpose buoy, conical, yellow"),
    "BOYSPP25": ("can", ["yellow"], "special purpose buoy, can, yellow"),
    "BOYSPP35": ("can", ["orange", "white", "orange"], "regulatory or information buoy, white and orange"),
    "BOYCAR01": ("pillar", ["black", "yellow"], "north cardinal buoy, black over yellow, two cones points up"),
    "BOYCAR02": ("pillar", ["black", "yellow", "black"], "east cardinal buoy, black, yellow, black, two cones base to base"),
    "BOYCAR03": ("pillar", ["yellow", "black"], "south cardinal buoy, yellow over black, two cones points down"),
    "BOYCAR04": ("pillar", ["yellow", "black", "yellow"],
                 "west cardinal buoy, yellow, black, yellow, two cones point to point"),
    # By shape and colour: 01 of unknown colour, 60 red, 61 green, 62 yellow (of cans 63), from 65 on several colours.
    "BOYCON01": ("conical", ["white"], "conical buoy"),
    "BOYCON60": ("conical", ["red"], "conical buoy, red"),
    "BOYCON61": ("conical", ["green"], "conical buoy, green"),
    "BOYCON62": ("conical", ["yellow"], "conical buoy, yellow"),
    "BOYCAN01": ("can", ["white"], "can buoy"),
    "BOYCAN60": ("can", ["red"], "can buoy, red"),
    "BOYCAN61": ("can", ["green"], "can buoy, green"),
    "BOYCAN63": ("can", ["yellow"], "can buoy, yellow"),
    "BOYCAN77": ("can", ["white", "orange", "white"], "can buoy, white and orange"),
    "BOYSPH01": ("spherical", ["white"], "spherical buoy"),
    "BOYSPH62": ("spherical", ["yellow"], "spherical buoy, yellow"),
    "BOYPIL62": ("pillar", ["yellow"], "pillar buoy, yellow"),
    "BOYPIL68": ("pillar", ["black", "yellow"], "north cardinal pillar buoy, black over yellow"),
    "BOYPIL69": ("pillar", ["yellow", "black"], "south cardinal pillar buoy, yellow over black"),
    "BOYPIL70": ("pillar", ["black", "yellow", "black"], "east cardinal pillar buoy, black, yellow, black"),
    "BOYPIL71": ("pillar", ["yellow", "black", "yellow"], "west cardinal pillar buoy, yellow, black, yellow"),
    "BOYPIL72": ("pillar", ["black", "red", "black"], "isolated danger pillar buoy, black, red, black"),
    "BOYPIL78": ("pillar", ["red", "white", "red", "white"], "pillar buoy, red and white"),
    "BOYSPR62": ("spar", ["yellow"], "spar buoy, yellow"),
    "BOYSPR68": ("spar", ["black", "yellow"], "north cardinal spar buoy, black over yellow"),
    "BOYSPR69": ("spar", ["yellow", "black"], "south cardinal spar buoy, yellow over black"),
    "BOYSPR70": ("spar", ["black", "yellow", "black"], "east cardinal spar buoy, black, yellow, black"),
    "BOYSPR71": ("spar", ["yellow", "black", "yellow"], "west cardinal spar buoy, yellow, black, yellow"),
    "BOYSPR72": ("spar", ["black", "red", "black"], "isolated danger spar buoy, black, red, black"),
    "BOYBAR01": ("barrel", ["white"], "barrel buoy"),
    "BOYBAR62": ("barrel", ["yellow"], "barrel buoy, yellow"),
    "BOYINB01": ("super", ["yellow"], "installation buoy"),
    "BOYISD12": ("pillar", ["black", "red", "black"], "isolated danger buoy, black, red, black, two spheres"),
}
BEACONS = {
    "BCNDEF13": ("tower", ["white"], "beacon of unknown kind"),
    "BCNLAT15": ("tower", ["red"], "major lateral beacon, red"),
    "BCNLAT16": ("tower", ["green"], "major lateral beacon, green"),
    "BCNLAT21": ("pole", ["red"], "minor lateral beacon, red"),
    "BCNLAT22": ("pole", ["green"], "minor lateral beacon, green"),
    "BCNSPP13": ("tower", ["yellow"], "major special purpose beacon, yellow"),
    "BCNSPP21": ("pole", ["yellow"], "minor special purpose beacon, yellow"),
    # By shape and colour, numbered as the buoys.
    "BCNSTK02": ("pole", ["white"], "stake"),
    "BCNSTK08": ("pole", ["yellow"], "stake, yellow"),
    "BCNSTK60": ("pole", ["red"], "stake, red"),
    "BCNSTK61": ("pole", ["green"], "stake, green"),
    "BCNSTK78": ("pole", ["red", "white", "red", "white"], "stake, red and white"),
    "BCNTOW01": ("tower", ["white"], "beacon tower"),
    "BCNTOW60": ("tower", ["red"], "beacon tower, red"),
    "BCNTOW61": ("tower", ["green"], "beacon tower, green"),
    "BCNTOW62": ("tower", ["yellow"], "beacon tower, yellow"),
    "BCNTOW65": ("tower", ["green", "white"], "beacon tower, green over white"),
    "BCNTOW68": ("tower", ["black", "yellow"], "north cardinal beacon tower, black over yellow"),
    "BCNTOW69": ("tower", ["yellow", "black"], "south cardinal beacon tower, yellow over black"),
    "BCNTOW70": ("tower", ["black", "yellow", "black"], "east cardinal beacon tower, black, yellow, black"),
    "BCNTOW71": ("tower", ["yellow", "black", "yellow"], "west cardinal beacon tower, yellow, black, yellow"),
    "BCNTOW76": ("tower", ["black", "red", "black"], "isolated danger beacon tower, black, red, black"),
    "BCNGEN01": ("post", ["white"], "beacon"),
    "BCNGEN03": ("post", ["white"], "beacon of unknown shape"),
    "BCNGEN60": ("post", ["red"], "beacon, red"),
    "BCNGEN61": ("post", ["green"], "beacon, green"),
}
TOPMARKS_ON = {"BOYCAR01": "cones-up", "BOYCAR02": "cones-base", "BOYCAR03": "cones-down", "BOYCAR04": "cones-point",
               "BOYISD12": "spheres"}
TOPMARKS = {
    "TOPMAR02": ("cone-up", "cone, point up"),
    "TOPMAR05": ("cones-up", "two cones, points up"),
    "TOPMAR06": ("cones-down", "two cones, points down"),
    "TOPMAR07": ("cones-base", "two cones, base to base"),
    "TOPMAR08": ("cones-point", "two cones, point to point"),
    "TOPMAR10": ("sphere", "sphere"),
    "TOPMAR12": ("spheres", "two spheres"),
    "TOPMAR13": ("cylinder", "cylinder"),
    "TOPMAR65": ("cross", "diagonal cross"),
}
# How high above its mark the middle of a top mark is.
HEIGHTS = {"spheres": 3.5, "cones-up": 4.25, "cones-down": 4.25, "cones-base": 4.25, "cones-point": 4.25}


def half_width(shape, y):
    profile = SHAPES[shape]
    for (y0, w0), (y1, w1) in zip(profile, profile[1:]):
        if y <= y1:
            return w0 + (w1 - w0) * (y - y0) / (y1 - y0)
    return profile[-1][1]


def right_side(shape, low, high, share=1.0):
    heights = [low] + [y for y, _ in SHAPES[shape] if low < y < high] + [high]
    return [(half_width(shape, y) * share, y) for y in heights]


def body(picture, shape, bands):
    top = SHAPES[shape][-1][0]
    for i, colour in enumerate(bands):
        low, high = top * (len(bands) - i - 1) / len(bands), top * (len(bands) - i) / len(bands)
        side = right_side(shape, low, high)
        picture.polygon(side + [(-x, y) for x, y in reversed(side)], colour, stroke=None)
    outline(picture, shape)


def stripes(picture, shape, colours):
    """Upright stripes, from the left to the right."""
    top = SHAPES[shape][-1][0]
    for i, colour in enumerate(colours):
        left, right = (2 * (i + step) / len(colours) - 1 for step in (0, 1))
        picture.polygon(right_side(shape, 0, top, right) + right_side(shape, 0, top, left)[::-1], colour, stroke=None)
    outline(picture, shape)


def outline(picture, shape):
    side = right_side(shape, 0, SHAPES[shape][-1][0])
    picture.polygon(side + [(-x, y) for x, y in reversed(side)])


def position(picture):
    """The small circle on the water line: where the mark is."""
    picture.circle(0, 0, 0.32, "white")


def cone(picture, y, up):
    tip, base = (y + 0.9, y - 0.9) if up else (y - 0.9, y + 0.9)
    picture.polygon([(-1.0, base), (1.0, base), (0, tip)], "black")


def topmark(picture, kind):
    """Its middle is at 0,0."""
    if kind.startswith("cones-"):
        upper, lower = {"up": (True, True), "down": (False, False), "base": (True, False), "point": (False, True)}[kind[6:]]
        picture.line((0, -2.4), (0, 2.0))
        cone(picture, 1.05, upper)
        cone(picture, -1.05, lower)
    elif kind == "spheres":
        picture.line((0, -1.6), (0, 1.0))
        picture.circle(0, 0.75, 0.62, "black")
        picture.circle(0, -0.75, 0.62, "black")
    else:
        picture.line((0, -1.0), (0, 0))
        if kind == "cone-up":
            cone(picture, 0, True)
        elif kind == "sphere":
            picture.circle(0, 0, 0.75, "black")
        elif kind == "cylinder":
            picture.polygon([(-0.65, -0.75), (0.65, -0.75), (0.65, 0.75), (-0.65, 0.75)], "black")
        else:
            picture.line((-0.75, -0.75), (0.75, 0.75), width=0.45)
            picture.line((-0.75, 0.75), (0.75, -0.75), width=0.45)


def question(picture, x, y, size, stroke="magenta"):
    """A question mark, `size` high, its middle at x, y."""
    s = size / 3
    picture.curve(("M", x - 0.7 * s, y + 0.8 * s), ("C", x - 0.7 * s, y + 1.8 * s, x + 0.8 * s, y + 1.8 * s, x + 0.8 * s, y + 0.8 * s),
                  ("C", x + 0.8 * s, y + 0.1 * s, x, y + 0.2 * s, x, y - 0.6 * s), stroke=stroke, width=0.14 * size)
    picture.circle(x, y - 1.3 * s, 0.09 * size, stroke, stroke=None)


def buoy(name, shape, bands, title):
    picture = Picture(name, title)
    with picture.leaning():
        body(picture, shape, bands)
    if name in TOPMARKS_ON:
        kind = TOPMARKS_ON[name]
        with picture.above(HEIGHTS[kind]):
            topmark(picture, kind)
    position(picture)
    return picture


def beacon(name, shape, bands, title):
    picture = Picture(name, title)
    picture.line((-1.1, 0), (1.1, 0))
    body(picture, shape, bands)
    if name in ("BCNDEF13", "BCNGEN03"):
        question(picture, 1.7, 1.8, 1.9)
    position(picture)
    return picture


def other_buoys():
    for name, shape in (("BOYSAW12", "spherical"), ("BOYSPH65", "spherical"), ("BOYPIL73", "pillar"), ("BOYSPR65", "spar")):
        picture = Picture(name, f"safe water buoy{'' if name == 'BOYSAW12' else ', ' + shape}, red and white stripes")
        with picture.leaning():
            stripes(picture, shape, ["red", "white", "red", "white", "red"])
        position(picture)
        yield picture

    for name, title in (("BOYDEF03", "buoy of unknown kind"), ("BOYGEN03", "buoy of unknown shape")):
        picture = Picture(name, title)
        with picture.leaning():
            body(picture, "pillar", ["white"])
        question(picture, 2.0, 1.5, 1.9)
        position(picture)
        yield picture

    picture = Picture("BOYMOR11", "mooring buoy")
    with picture.leaning():
        picture.curve(("M", -1.5, 0), ("C", -1.75, 0.5, -1.75, 0.9, -1.5, 1.4), ("L", 1.5, 1.4),
                      ("C", 1.75, 0.9, 1.75, 0.5, 1.5, 0), ("Z",), fill="black")
        picture.circle(0, 1.85, 0.4, width=0.25)
    position(picture)
    yield picture

    for name, title in (("BOYSUP01", "super-buoy"), ("BOYSUP62", "super-buoy, yellow"), ("BOYSUP02", "super-buoy in the place of a light-vessel")):
        picture = Picture(name, title)
        with picture.leaning():
            body(picture, "super", ["red" if name == "BOYSUP02" else "yellow"])
            picture.polygon([(-0.5, 0.9), (0.5, 0.9), (0.3, 2.4), (-0.3, 2.4)], "white")
            if name == "BOYSUP02":
                picture.polygon([(-0.45, 2.4), (0.45, 2.4), (0.45, 3.0), (-0.45, 3.0)], "magenta")
        position(picture)
        yield picture

    for name, title in (("LITFLT01", "light float"), ("LITFLT02", "light float"), ("LITVES01", "light vessel")):
        picture = Picture(name, title)
        picture.polygon([(-2.2, 0.9), (-1.5, 0), (1.5, 0), (2.2, 0.9)], "red")
        picture.line((0, 0.9), (0, 3.0), width=0.3)
        picture.polygon([(-0.45, 2.5), (0.45, 2.5), (0.45, 3.3), (-0.45, 3.3)], "magenta")
        picture.line((-1.6, 0.9), (0, 2.5), (1.6, 0.9), width=0.15)
        position(picture)
        yield picture


def daymarks():
    boards = {
        "DAYSQR01": ("day mark, square", [(-1, -1), (1, -1), (1, 1), (-1, 1)]),
        "DAYTRI01": ("day mark, triangle", [(-1.15, -0.9), (1.15, -0.9), (0, 1.1)]),
        "DAYREC01": ("day mark, rectangle", [(-0.75, -1.2), (0.75, -1.2), (0.75, 1.2), (-0.75, 1.2)]),
    }
    for name, (title, points) in boards.items():
        picture = Picture(name, title)
        picture.line((0, -1.8), (0, -0.9), width=0.3)
        picture.polygon(points, "white", width=0.3)
        picture.polygon([(x * 0.5, y * 0.5) for x, y in points], "black", stroke=None)
        yield picture
    coloured = {
        "TOPSHP20": ("day mark, triangle, red", boards["DAYTRI01"][1], ["red"]),
        "TOPSHP48": ("day mark, square, green", boards["DAYSQR01"][1], ["green"]),
        "TOPSHP67": ("day mark, rectangle, orange and white", boards["DAYREC01"][1], ["orange", "white"]),
        "TOPSHP72": ("day mark, rectangle, white, red, white", boards["DAYREC01"][1], ["white", "red", "white"]),
    }
    for name, (title, points, colours) in coloured.items():
        picture = Picture(name, title)
        picture.line((0, -1.8), (0, -0.9), width=0.3)
        left, low = points[0]
        width = -2 * left / len(colours)
        for i, colour in enumerate(colours):
            if len(colours) > 1:
                x = left + i * width
                picture.polygon([(x, low), (x + width, low), (x + width, -low), (x, -low)], colour, stroke=None)
        picture.polygon(points, colours[0] if len(colours) == 1 else None, width=0.3)
        yield picture
    for name, side, up in (("PRICKE03", "port", True), ("PRICKE04", "starboard", False)):
        picture = Picture(name, f"withy, {side} hand")
        picture.line((0, 0), (0, 3.4), width=0.3)
        for y in (1.6, 2.2, 2.8):
            rise = 0.5 if up else -0.5
            picture.line((-0.7, y + rise), (0, y), (0.7, y + rise))
        position(picture)
        yield picture


def pictures():
    for name, (shape, bands, title) in BUOYS.items():
        yield buoy(name, shape, bands, title)
    yield from other_buoys()
    for name, (shape, bands, title) in BEACONS.items():
        yield beacon(name, shape, bands, title)
    for name, (kind, title) in TOPMARKS.items():
        picture = Picture(name, "top mark, " + title)
        topmark(picture, kind)
        yield picture
    yield from daymarks()
