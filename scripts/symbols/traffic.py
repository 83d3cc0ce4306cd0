"""Routes and streams, and what is told of them: arrows, which Rotate_C turns, point up."""
import math

from picture import Picture

SIGN = "magenta"


def arrow(picture, half_length, stroke=SIGN, both=False, dash=None):
    """An open arrow as wide as a lane's."""
    h, w, shaft = half_length, 1.5, 0.65
    if both:
        picture.polygon([(0, h), (w, h - 2), (shaft, h - 2), (shaft, 2 - h), (w, 2 - h), (0, -h), (-w, 2 - h), (-shaft, 2 - h),
                         (-shaft, h - 2), (-w, h - 2)], "paper", stroke=stroke, width=0.3)
    elif dash:
        picture.line((-shaft, -h), (-shaft, h - 2), stroke=stroke, width=0.3, dash=dash)
        picture.line((shaft, -h), (shaft, h - 2), stroke=stroke, width=0.3, dash=dash)
        picture.line((-shaft, h - 2), (-w, h - 2), (0, h), (w, h - 2), (shaft, h - 2), stroke=stroke, width=0.3)
    else:
        picture.polygon([(0, h), (w, h - 2), (shaft, h - 2), (shaft, -h), (-shaft, -h), (-shaft, h - 2), (-w, h - 2)], "paper",
                        stroke=stroke, width=0.3)


def stream(name, title, feathers=False, waved=False):
    picture = Picture(name, title)
    if waved:
        # Without tides: the shaft is a snake.
        picture.curve(("M", 0, -4), ("C", -1.1, -3, -1.1, -2.6, 0, -1.8), ("C", 1.1, -1, 1.1, -0.6, 0, 0.2),
                      ("C", -1.1, 1, -1.1, 1.4, 0, 2.2), ("L", 0, 3.9), width=0.25)
    else:
        picture.line((0, -4), (0, 3.9), width=0.25)
    picture.line((-0.8, 2.7), (0, 4), (0.8, 2.7), width=0.25)
    if feathers:
        for y in (-4, -3.2, -2.4):
            picture.line((0, y + 0.6), (-0.9, y), width=0.2)
    return picture


def pointer(picture, sign):
    """A triangle beyond the circle of a calling-in point."""
    y = sign * 1.55
    picture.polygon([(-0.9, y), (0.9, y), (0, sign * 3.2)], SIGN, stroke=None)


def pictures():
    for name, title, both in (("TSSLPT01", "direction of a traffic lane", False), ("DWRTPT01", "direction of a route", False),
                              ("TWRTPT01", "route for both directions", True)):
        picture = Picture(name, title)
        arrow(picture, 4.5, both=both)
        yield picture
    picture = Picture("RCTLPT01", "recommended direction of traffic")
    arrow(picture, 4.5, dash=(1.0, 0.6))
    yield picture

    picture = Picture("TSSRON01", "roundabout of a traffic separation scheme")
    picture.circle(0, 0, 0.5, SIGN, stroke=None)
    for turn in (0, 120, 240):
        def at(radius, degrees, turn=turn):
            angle = math.radians(turn + degrees)
            return radius * math.cos(angle), radius * math.sin(angle)
        # Against the clock, as vessels go around.
        picture.line(*[at(2.2, degrees) for degrees in range(0, 81, 10)], stroke=SIGN, width=0.3)
        picture.line(at(2.85, 65), at(2.2, 86), at(1.5, 65), stroke=SIGN, width=0.3)
    yield picture

    picture = Picture("PRCARE01", "area in which to take care")
    picture.polygon([(0, 2.0), (1.9, -1.3), (-1.9, -1.3)], "white", stroke=SIGN, width=0.35)
    picture.line((0, 1.0), (0, -0.2), stroke=SIGN, width=0.35)
    picture.circle(0, -0.75, 0.22, SIGN, stroke=None)
    yield picture

    for name, title, signs in (("RDOCAL01", "calling-in point of one direction", (1,)),
                               ("RDOCAL02", "calling-in point of both directions", (1, -1)),
                               ("RDOCAL03", "calling-in point", ())):
        picture = Picture(name, title)
        for sign in signs:
            pointer(picture, sign)
        picture.circle(0, 0, 1.4, "white", stroke=SIGN, width=0.3)
        yield picture

    yield stream("CURENT01", "current", waved=True)
    yield stream("FLDSTR01", "flood stream", feathers=True)
    yield stream("EBBSTR01", "ebb stream")
    picture = Picture("TIDSTR01", "place for which a table has tidal streams")
    picture.polygon([(0, 1.7), (1.2, 0), (0, -1.7), (-1.2, 0)], "white", stroke=SIGN, width=0.3)
    yield picture
    picture = Picture("TIDLVL01", "place for which a table has tidal heights")
    picture.polygon([(-1.2, -1.2), (1.2, -1.2), (1.2, 1.2), (-1.2, 1.2)], "white", stroke=SIGN, width=0.3)
    picture.line((-0.6, -0.6), (0.6, -0.6), stroke=SIGN, width=0.25)
    picture.line((0, -0.6), (0, 0.7), stroke=SIGN, width=0.25)
    yield picture

    picture = Picture("MAGVAR01", "variation of the compass")
    picture.line((0, -1.8), (0, 1.9), stroke=SIGN, width=0.25)
    picture.line((0, 1.9), (0.7, 0.7), (0, 0.7), stroke=SIGN, width=0.25)  # half a head, as compass roses have
    picture.line((-0.5, -1.8), (0.5, -1.8), stroke=SIGN, width=0.25)
    yield picture
    picture = Picture("LOCMAG01", "the compass is wrong")
    picture.circle(0, 0, 1.8, "white", stroke=SIGN, width=0.3)
    picture.line((0, -0.2), (0, 1.2), stroke=SIGN, width=0.3)
    picture.line((-0.7, 0.5), (0.7, 0.5), stroke=SIGN, width=0.3)
    picture.line((-0.7, -0.8), (0.7, -0.8), stroke=SIGN, width=0.3)
    yield picture
