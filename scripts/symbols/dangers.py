"""Rocks, wrecks, obstructions and what else lies on the bottom."""
import math

from picture import Picture

DOTS = [0, 0.45]  # with round ends: a row of dots


def danger_line(picture, fill, rx=1.5, ry=1.5):
    """The dotted line around a danger."""
    picture.ellipse(0, 0, rx, ry, fill, width=0.26, dash=DOTS)


def star(picture, arms, reach, width=0.3):
    for i in range(arms):
        angle = math.pi * i / arms + (math.pi / 2 if arms % 2 else 0)
        x, y = reach * math.cos(angle), reach * math.sin(angle)
        picture.line((-x, -y), (x, y), width=width)


def wreck(picture):
    """A wreck seen from the side: keel line, and masts of which the middle one is the longest."""
    picture.line((-1.7, 0), (1.7, 0), width=0.3)
    for x, reach in ((-0.85, 0.6), (0, 1.0), (0.85, 0.6)):
        picture.line((x, -reach), (x, reach), width=0.3)


def hash_sign(picture, size):
    for at in (-size / 3, size / 3):
        picture.line((at - 0.2, -size), (at + 0.2, size), width=0.25)
        picture.line((-size, at), (size, at), width=0.25)


def fish(picture, x, y, size, stroke="ink"):
    s = size
    picture.curve(("M", x + 0.9 * s, y), ("C", x + 0.4 * s, y + 0.75 * s, x - 0.4 * s, y + 0.5 * s, x - 1.1 * s, y - 0.45 * s),
                  ("L", x - 1.1 * s, y + 0.45 * s),
                  ("C", x - 0.4 * s, y - 0.5 * s, x + 0.4 * s, y - 0.75 * s, x + 0.9 * s, y), stroke=stroke, width=0.22)


def pictures():
    for name, fill, title in (("DANGER01", "water-0", "danger of a depth that matters"),
                              ("DANGER02", None, "danger that lies deep"),
                              ("DANGER03", "drying", "danger that covers and uncovers")):
        picture = Picture(name, title)
        danger_line(picture, fill)
        yield picture

    for name, fill, title in (("OBSTRN01", "water-0", "obstruction of unknown depth"),
                              ("OBSTRN03", "drying", "obstruction that covers and uncovers")):
        picture = Picture(name, title)
        danger_line(picture, fill)
        for x in (-0.55, 0, 0.55):
            picture.line((x, -0.5), (x, 0.5), width=0.25)
        yield picture

    picture = Picture("OBSTRN11", "obstruction that is always dry")
    picture.circle(0, 0, 1.2, "land", width=0.3)
    for x in (-0.5, 0, 0.5):
        picture.line((x, -0.45), (x, 0.45), width=0.25)
    yield picture

    picture = Picture("UWTROC03", "rock under water")
    danger_line(picture, "water-0")
    star(picture, 2, 0.9)
    yield picture
    picture = Picture("UWTROC04", "rock that covers and uncovers")
    danger_line(picture, "drying")
    star(picture, 3, 0.95)
    yield picture

    picture = Picture("LNDARE01", "islet or rock above water")
    picture.curve(("M", -1.1, -0.2), ("C", -1.2, 0.7, -0.5, 0.9, 0.1, 0.8), ("C", 0.7, 1.0, 1.2, 0.5, 1.0, -0.1),
                  ("C", 1.1, -0.8, 0.4, -0.9, -0.1, -0.75), ("C", -0.6, -0.95, -1.1, -0.8, -1.1, -0.2), ("Z",),
                  fill="land", stroke="shore", width=0.3)
    yield picture

    picture = Picture("RCKLDG01", "ledge of rock that covers and uncovers")
    picture.line((-2.0, -0.7), (-1.5, 0.2), (-1.1, -0.1), (-0.5, 0.9), (0, 0.1), (0.5, 0.6), (1.0, -0.2), (1.4, 0.3),
                 (2.0, -0.7), (-2.0, -0.7), width=0.25)
    for x in (-1.0, 0.2, 1.1):
        picture.line((x, -0.5), (x + 0.15, 0), width=0.15)
    yield picture

    picture = Picture("WRECKS01", "wreck that shows its hull or masts")
    picture.curve(("M", -1.9, 0.15), ("L", 1.6, 0.95), ("C", 1.9, 0.5, 1.85, 0.2, 1.5, 0), ("L", -1.3, 0), ("Z",), fill="ink")
    picture.line((0.1, 0.5), (-0.35, 2.3), width=0.3)
    picture.line((-0.85, 1.45), (0.5, 1.75), width=0.22)
    picture.line((-2.2, 0), (2.2, 0))
    picture.circle(0, 0, 0.3, "white")
    yield picture
    picture = Picture("WRECKS04", "wreck that is no danger to ships on the surface")
    wreck(picture)
    yield picture
    picture = Picture("WRECKS05", "wreck that is a danger to ships on the surface")
    danger_line(picture, "water-0", 2.4, 1.6)
    wreck(picture)
    yield picture

    picture = Picture("FOULGND1", "foul ground")
    hash_sign(picture, 1.1)
    yield picture
    picture = Picture("FOULAR01", "foul area")
    hash_sign(picture, 1.4)
    yield picture
    picture = Picture("FSHHAV01", "fish haven")
    danger_line(picture, None, 2.0, 1.3)
    fish(picture, 0, 0, 1.0)
    yield picture
