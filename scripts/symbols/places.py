"""What is at a place: stations, moorings, stakes, and what a chart only points to."""
from areas import anchor
from dangers import fish
from picture import Picture


def boxed(name, title, stroke, draw):
    picture = Picture(name, title)
    picture.polygon([(-1.4, -1.4), (1.4, -1.4), (1.4, 1.4), (-1.4, 1.4)], "white", stroke=stroke, width=0.25)
    draw(picture, stroke)
    return picture


def exclamation(picture, stroke):
    picture.line((0, 1.0), (0, -0.2), stroke=stroke, width=0.35)
    picture.circle(0, -0.85, 0.22, stroke, stroke=None)


def information(picture, stroke):
    picture.circle(0, 0.85, 0.22, stroke, stroke=None)
    picture.line((0, 0.3), (0, -1.0), stroke=stroke, width=0.35)


def boat(picture, stroke):
    picture.polygon([(-1.0, -0.4), (1.0, -0.4), (0.6, -0.9), (-0.6, -0.9)], stroke, stroke=None)
    picture.polygon([(0, -0.2), (0, 1.0), (0.8, -0.2)], None, stroke=stroke)


def lattice_beacon():
    picture = Picture("BCNLTC01", "lattice beacon")
    picture.line((-1.1, 0), (-0.4, 3.2), (0.4, 3.2), (1.1, 0))
    for low, high in ((0, 1.1), (1.1, 2.2), (2.2, 3.2)):
        left, right = -1.1 + 0.7 * low / 3.2, 1.1 - 0.7 * high / 3.2
        picture.line((left, low), (right, high), width=0.15)
        picture.line((-left, low), (-right, high), width=0.15)
    picture.circle(0, 0, 0.32, "white")
    return picture


def pictures():
    yield lattice_beacon()
    yield boxed("CHINFO06", "caution, to be read", "magenta", exclamation)
    yield boxed("CHINFO07", "something to read", "magenta", information)
    yield boxed("SMCFAC02", "marina for small craft", "magenta", boat)

    for name, title in (("ACHARE02", "anchorage"), ("ACHBRT07", "anchor berth")):
        picture = Picture(name, title)
        anchor(picture)
        if name == "ACHBRT07":
            picture.circle(0, 0, 2.0, stroke="magenta", width=0.25)
        yield picture

    picture = Picture("AIRARE02", "airfield")
    picture.circle(0, 0, 1.5, "paper", stroke="brown")
    picture.line((0, 1.1), (0, -1.0), stroke="brown", width=0.35)
    picture.line((-1.0, 0), (0, 0.5), (1.0, 0), stroke="brown", width=0.35)
    picture.line((-0.45, -1.0), (0.45, -1.0), stroke="brown", width=0.3)
    yield picture

    picture = Picture("BUAARE02", "settlement")
    picture.circle(0, 0, 1.0, "brown", stroke="ink")
    yield picture

    for name, title, stroke in (("RDOSTA02", "radio station", "magenta"), ("FOGSIG01", "fog signal", "magenta")):
        picture = Picture(name, title)
        if name == "RDOSTA02":
            picture.circle(0, 0, 1.9, stroke=stroke, width=0.25)
            picture.circle(0, 0, 0.25, stroke, stroke=None)
        else:
            for reach in (1.4, 2.0, 2.6):
                picture.curve(("M", -reach, 0.2), ("C", -reach, -0.5 * reach, -0.6 * reach, -0.85 * reach, -0.3 * reach, -reach),
                              stroke=stroke, width=0.25)
        yield picture
    for name, title, turns in (("RTPBCN02", "radar beacon", 2), ("RADRFL03", "radar reflector", 1)):
        picture = Picture(name, title)
        if turns == 2:
            picture.circle(0, 0, 2.0, stroke="magenta", width=0.2)
            picture.circle(0, 0, 1.4, stroke="magenta", width=0.2)
        else:
            for x, y in ((0, 1), (0.87, -0.5), (-0.87, -0.5)):
                picture.line((0.5 * x, 0.5 * y), (1.5 * x, 1.5 * y), stroke="magenta", width=0.25)
        yield picture
    picture = Picture("RETRFL01", "retro-reflector")
    for y in (-0.4, 0, 0.4):
        picture.line((-0.9, y), (0.9, y), stroke="magenta", width=0.2)
    yield picture

    for name, title, letters in (("SISTAT02", "signal station", "s"), ("CGUSTA02", "coastguard station", "c"),
                                 ("RSCSTA02", "rescue station", "r")):
        picture = Picture(name, title)
        picture.circle(0, 0, 0.9, "white", stroke="magenta", width=0.25)
        if letters == "s":
            picture.line((0, 0.9), (0, 2.6), (1.1, 2.1), (0, 1.6), stroke="magenta", width=0.25)
        elif letters == "c":
            picture.line((0, 0.9), (0, 2.4), stroke="magenta", width=0.25)
            picture.line((-0.8, 1.7), (0.8, 1.7), stroke="magenta", width=0.25)
        else:
            picture.line((-0.5, 0), (0.5, 0), stroke="magenta", width=0.35)
            picture.line((0, -0.5), (0, 0.5), stroke="magenta", width=0.35)
        yield picture

    picture = Picture("SPRING02", "spring in the seabed")
    picture.curve(("M", 0, -1.2), ("L", 0, 0.4), ("C", 0, 1.4, -1.2, 1.4, -1.2, 0.5), width=0.25)
    picture.curve(("M", 0, 0.4), ("C", 0, 1.4, 1.2, 1.4, 1.2, 0.5), width=0.25)
    yield picture

    picture = Picture("FSHFAC03", "fishing stakes")
    picture.line((-1.6, -0.6), (1.6, -0.6), stroke="grey", width=0.25)
    for x in (-1.2, 0, 1.2):
        picture.line((x, -0.6), (x, 0.8), stroke="grey", width=0.25)
    yield picture
    picture = Picture("FSHFAC02", "fish trap or net")
    picture.polygon([(-1.7, -0.9), (1.7, -0.9), (1.7, 0.9), (-1.7, 0.9)], None, stroke="grey", width=0.2)
    fish(picture, 0, 0, 1.0, "grey")
    yield picture

    picture = Picture("MORFAC03", "dolphin")
    picture.polygon([(-0.8, -0.8), (0.8, -0.8), (0.8, 0.8), (-0.8, 0.8)], "brown", width=0.2)
    yield picture
    picture = Picture("MORFAC04", "deviation dolphin")
    picture.polygon([(-0.8, -0.8), (0.8, -0.8), (0.8, 0.8), (-0.8, 0.8)], "brown", width=0.2)
    picture.line((0, 0.8), (0, 2.2))
    picture.circle(0, 1.9, 0.35)
    yield picture
    picture = Picture("PILPNT02", "pile")
    picture.circle(0, 0, 0.5, "brown", width=0.2)
    yield picture
    picture = Picture("SBDARE01", "place of a sample of the seabed")
    picture.circle(0, 0, 0.18, "grey", stroke=None)
    yield picture

    picture = Picture("WEDKLP03", "weed or kelp")
    for y in (-0.6, 0.2, 1.0):
        picture.curve(("M", -1.4, y), ("C", -0.7, y + 0.8, -0.5, y - 0.8, 0.2, y), ("C", 0.7, y + 0.6, 0.9, y - 0.4, 1.4, y),
                      stroke="green", width=0.2)
    yield picture

    picture = Picture("HULKES01", "hulk")
    picture.polygon([(-1.9, -0.5), (1.2, -0.5), (1.9, 0), (1.2, 0.5), (-1.9, 0.5)], "brown")
    yield picture
    picture = Picture("CRANES01", "crane")
    picture.line((-0.6, 0), (0.6, 0), (0, 0), (0, 2.2), (1.8, 3.2), stroke="brown", width=0.35)
    picture.line((1.8, 3.2), (1.8, 1.6), stroke="brown")
    yield picture
    picture = Picture("OFSPLF01", "offshore platform")
    picture.polygon([(-1.1, -1.1), (1.1, -1.1), (1.1, 1.1), (-1.1, 1.1)], "white", width=0.35)
    picture.circle(0, 0, 0.25, "ink", stroke=None)
    yield picture
    picture = Picture("PILBOP02", "pilot boarding place")
    picture.circle(0, 0, 1.7, "white", stroke="magenta", width=0.25)
    picture.polygon([(-1.1, -0.1), (1.1, -0.1), (0.7, -0.7), (-0.7, -0.7)], "magenta", stroke=None)
    picture.line((0, -0.1), (0, 1.0), stroke="magenta", width=0.3)
    yield picture
