"""What people have built or do: berths, gates, quarries, wind farms, forts, customs, logs, cables."""
import math

from picture import Picture


def fort(picture, ink, fill):
    """A wall with four bastions."""
    picture.polygon([(-0.8, -0.8), (0.8, -0.8), (0.8, 0.8), (-0.8, 0.8)], fill, stroke=ink, width=0.25)
    for x in (-1, 1):
        for y in (-1, 1):
            picture.polygon([(0.8 * x, 0.8 * y), (1.5 * x, 0.8 * y), (1.5 * x, 1.5 * y), (0.8 * x, 1.5 * y)], ink, stroke=ink, width=0.12)


def hammer(picture, side):
    picture.line((-1.3 * side, -1.3), (1.0 * side, 1.0), width=0.3)
    picture.polygon([(0.45 * side, 1.35), (0.75 * side, 1.65), (1.65 * side, 0.75), (1.35 * side, 0.45)], "ink", stroke="ink", width=0.12)


def pictures():
    picture = Picture("BERTHS01", "berth")
    picture.circle(0, 0, 1.3, "white", stroke="magenta", width=0.25)
    # A bollard.
    picture.polygon([(-0.3, -0.7), (0.3, -0.7), (0.3, 0.3), (-0.3, 0.3)], "magenta", stroke=None)
    picture.line((-0.55, 0.5), (0.55, 0.5), stroke="magenta", width=0.4)
    yield picture

    picture = Picture("DISMAR01", "distance mark without a post")
    picture.circle(0, 0, 0.9, "white", stroke="magenta", width=0.25)
    picture.circle(0, 0, 0.2, "magenta", stroke=None)
    yield picture

    picture = Picture("GATCON01", "gate")
    picture.line((-1.5, -0.6), (0, 0.6), (1.5, -0.6), width=0.5)
    yield picture

    for name, title, ink, fill in (("FORSTC01", "fortification", "brown", "paper"), ("FORSTC11", "conspicuous fortification", "ink", "paper")):
        picture = Picture(name, title)
        fort(picture, ink, fill)
        yield picture

    picture = Picture("QUARRY01", "quarry or mine")
    for side in (-1, 1):
        hammer(picture, side)
    yield picture

    picture = Picture("WNDFRM01", "wind farm")
    picture.line((0, -2.2), (0, 0.8), width=0.3)
    picture.line((-0.6, -2.2), (0.6, -2.2), width=0.25)
    for degrees in (90, 210, 330):
        x, y = math.cos(math.radians(degrees)), math.sin(math.radians(degrees))
        picture.polygon([(0, 0.8), (1.0 * x - 0.2 * y, 0.8 + 1.0 * y + 0.2 * x), (2.1 * x, 0.8 + 2.1 * y)], "ink", width=0.12)
    picture.circle(0, 0.8, 0.25, "white")
    yield picture

    picture = Picture("CHKPNT01", "customs or another control")
    # Square: a round one says that nobody may enter.
    picture.polygon([(-1.2, -1.2), (1.2, -1.2), (1.2, 1.2), (-1.2, 1.2)], "white", width=0.25)
    picture.line((-1.2, 0), (1.2, 0), width=0.5)
    yield picture

    picture = Picture("SPLARE01", "landing area of seaplanes")
    picture.line((0, 2.0), (0, -1.8), stroke="magenta", width=0.5)
    picture.line((-2.2, 0.6), (2.2, 0.6), stroke="magenta", width=0.5)
    picture.line((-0.8, -1.6), (0.8, -1.6), stroke="magenta", width=0.4)
    for x in (-0.9, 0.9):
        picture.ellipse(x, 0.7, 0.25, 0.9, "magenta", stroke=None)  # floats
    yield picture

    picture = Picture("LOGPON01", "log pond")
    for y in (-0.75, 0, 0.75):
        x = 0.35 if y == 0 else 0
        picture.polygon([(x - 1.5, y - 0.25), (x + 1.5, y - 0.25), (x + 1.5, y + 0.25), (x - 1.5, y + 0.25)], "brown", width=0.12)
    yield picture

    picture = Picture("CBLARE51", "cables on the bottom")
    picture.curve(("M", -2.4, 0), ("C", -1.8, 1.4, -1.4, 1.4, -0.8, 0), ("C", -0.2, -1.4, 0.2, -1.4, 0.8, 0), ("C", 1.4, 1.4, 1.8, 1.4, 2.4, 0),
                  stroke="magenta", width=0.3)
    yield picture
