"""What grows, and what water does: trees, rapids, breakers, sand waves."""
from dangers import fish
from picture import Picture


def wave(picture, y, stroke, half=1.6, height=0.7, width=0.25):
    """Two crests."""
    picture.curve(("M", -half, y), ("C", -half + 0.5, y + height, -0.5, y + height, 0, y), ("C", 0.5, y + height, half - 0.5, y + height, half, y),
                  stroke=stroke, width=width)


def tree(name, title):
    picture = Picture(name, title)
    picture.line((0, 0), (0, 1.3), stroke="brown", width=0.3)
    picture.line((-0.7, 0), (0.7, 0), stroke="brown")
    return picture


def pictures():
    picture = Picture("VEGATN01", "low vegetation")
    picture.line((-1.2, -0.6), (1.2, -0.6), stroke="green")
    for x in (-0.8, 0, 0.8):
        picture.line((0.45 * x, -0.6), (x, 0.9), stroke="green", width=0.25)
    yield picture
    picture = tree("TREPNT01", "tree")
    for x, y in ((-0.65, 1.7), (0.65, 1.7), (0, 2.5)):
        picture.circle(x, y, 0.75, "green", stroke=None)
    picture.circle(0, 1.8, 0.5, "green", stroke=None)
    yield picture
    picture = tree("TREPNT02", "conifer")
    for y in (0.8, 1.7, 2.6):
        picture.polygon([(-1.15 + y / 4, y), (1.15 - y / 4, y), (0, y + 1.4)], "green", stroke=None)
    yield picture
    picture = tree("TREPNT03", "palm")
    picture.line((0, 1.3), (0, 2.5), stroke="brown", width=0.3)
    for x, y in ((-1.4, 2.1), (1.4, 2.1), (-1.0, 3.3), (1.0, 3.3)):
        picture.curve(("M", 0, 2.5), ("C", x / 3, 3.2, 0.8 * x, y + 0.4, x, y), stroke="green", width=0.3)
    yield picture
    picture = Picture("TREPNT04", "mangrove")
    picture.line((0, 0.6), (0, 1.3), stroke="brown", width=0.3)
    for x in (-0.9, -0.3, 0.3, 0.9):
        picture.line((x, -0.5), (0, 0.7), stroke="brown", width=0.2)
    picture.line((-1.4, -0.5), (1.4, -0.5), stroke="blue", width=0.2)
    picture.ellipse(0, 1.7, 1.3, 0.75, "green", stroke=None)
    yield picture

    picture = Picture("RAPIDS01", "rapids")
    for x in (-1.0, 0, 1.0):
        picture.curve(("M", x, -1.5), ("C", x + 0.8, -0.7, x - 0.8, 0.7, x, 1.5), stroke="blue", width=0.25)
    yield picture
    picture = Picture("WATFAL01", "waterfall")
    picture.line((-1.6, 1.2), (1.6, 1.2), stroke="blue", width=0.35)
    for x in (-1.0, 0, 1.0):
        picture.line((x, 1.2), (x, -1.0), stroke="blue", width=0.25)
        picture.curve(("M", x - 0.45, -1.0), ("C", x - 0.2, -1.5, x + 0.2, -1.5, x + 0.45, -1.0), stroke="blue", width=0.25)
    yield picture

    picture = Picture("SNDWAV01", "sand waves")
    for y in (-0.9, 0, 0.9):
        picture.curve(("M", -1.9, y - 0.25), ("C", -1.4, y + 0.7, -1.0, y - 0.5, -0.6, y - 0.25), ("C", -0.1, y + 0.7, 0.2, y - 0.5, 0.7, y - 0.25),
                      ("C", 1.2, y + 0.7, 1.5, y - 0.4, 1.9, y - 0.25), stroke="grey", width=0.25)
    yield picture
    picture = Picture("WATTUR01", "breakers, overfalls or rips")
    wave(picture, 0.4, "ink")
    wave(picture, -0.6, "ink")
    yield picture
    picture = Picture("WATTUR02", "eddies")
    picture.curve(("M", 0.1, 0), ("C", 0.5, 0.6, -0.7, 0.9, -0.8, 0), ("C", -0.9, -1.2, 1.0, -1.3, 1.3, 0), ("C", 1.4, 1.3, -0.4, 1.8, -1.6, 1.3), width=0.25)
    yield picture

    picture = Picture("FSHGRD01", "fishing ground")
    fish(picture, 0.3, 0.6, 1.2, "grey")
    fish(picture, -0.3, -0.7, 1.2, "grey")
    yield picture
