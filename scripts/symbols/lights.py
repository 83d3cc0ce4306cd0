"""Lights: a flare that points up, so that Rotate_C is where it points to."""
from marks import question
from picture import Picture

FLARES = {
    "LIGHTDEF": ("magenta", "light"),
    "LIGHTS11": ("red", "red light"),
    "LIGHTS12": ("green", "green light"),
    "LIGHTS13": ("yellow", "white, yellow or orange light"),
}


def flare(name, colour, title):
    picture = Picture(name, title)
    picture.curve(("M", 0, 0.35), ("C", -0.25, 1.6, -0.95, 2.7, -0.95, 3.7), ("C", -0.95, 4.95, 0.95, 4.95, 0.95, 3.7),
                  ("C", 0.95, 2.7, 0.25, 1.6, 0, 0.35), ("Z",), fill=colour, width=0.12)
    picture.circle(0, 0, 0.22, "ink", stroke=None)
    return picture


def lines(name, colour, title, sides):
    """A line on a bearing, which Rotate_C turns: dashed where a sector ends, with its colour on the side where it goes on."""
    picture = Picture(name, title)
    reach, stripe = 18, 0.45
    for side in sides:
        picture.polygon([(0, 4), (side * stripe, 4), (side * stripe, reach), (0, reach)], colour, stroke=None)
    if len(sides) == 1:
        picture.line((0, 0.7), (0, reach), width=0.15, dash=(1.6, 0.7))
    else:
        picture.line((0, 0.7), (0, reach), width=0.15)
    picture.circle(0, 0, 0.7, colour, width=0.15)
    picture.circle(0, 0, 0.22, "ink", stroke=None)
    return picture


def pictures():
    for name, (colour, title) in FLARES.items():
        yield flare(name, colour, title)
        ending = name[-2:] if name != "LIGHTDEF" else "DE"
        yield lines("LITSEC" + ending, colour, "first limit of the sector of a " + title, (1,))
        yield lines("LITDIR" + ending, colour, "line of a directional " + title, (-1, 1))

    picture = Picture("LIGHTS05", "lighthouse")
    picture.polygon([(-0.85, 0), (0.85, 0), (0.5, 3.0), (-0.5, 3.0)], "white")
    picture.polygon([(-0.75, 1.0), (0.75, 1.0), (0.63, 2.0), (-0.63, 2.0)], "red", stroke=None)
    picture.polygon([(-0.55, 3.0), (0.55, 3.0), (0.55, 3.7), (-0.55, 3.7)], "yellow")
    picture.polygon([(-0.75, 3.7), (0.75, 3.7), (0, 4.4)], "ink")
    picture.line((-0.8, 3.0), (0.8, 3.0))
    picture.circle(0, 0, 0.32, "white")
    yield picture

    picture = Picture("LIGHTS81", "strip light")
    picture.polygon([(-1.6, -0.3), (1.6, -0.3), (1.6, 0.3), (-1.6, 0.3)], "magenta", width=0.12)
    for x in (-1.2, 0, 1.2):
        picture.line((x, 0.75), (x * 1.2, 1.6), stroke="magenta", width=0.25)
        picture.line((x, -0.75), (x * 1.2, -1.6), stroke="magenta", width=0.25)
    yield picture

    picture = Picture("LIGHTS82", "flood light")
    picture.curve(("M", -0.9, 0), ("C", -0.9, 1.2, 0.9, 1.2, 0.9, 0), ("Z",), fill="magenta", width=0.12)
    for x in (-0.9, 0, 0.9):
        picture.line((x * 0.8, -0.5), (x * 1.7, -1.8), stroke="magenta", width=0.25)
    yield picture

    picture = Picture("QUESMRK1", "something that cannot be told")
    picture.circle(0, 0, 1.7, "white", stroke="magenta", width=0.25)
    question(picture, 0, 0, 2.3)
    yield picture
