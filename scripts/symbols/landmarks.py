"""Landmarks: black where they are conspicuous, else brown."""
from picture import Picture


def base(picture, ink):
    picture.line((-1.0, 0), (-0.3, 0), stroke=ink)
    picture.line((0.3, 0), (1.0, 0), stroke=ink)
    picture.circle(0, 0, 0.28, "white", stroke=ink)


def chimney(picture, ink, fill):
    picture.polygon([(-0.45, 0), (0.45, 0), (0.28, 3.0), (-0.28, 3.0)], fill, stroke=ink)
    picture.curve(("M", 0, 3.25), ("C", 0.4, 3.9, 0.9, 3.2, 1.3, 3.8), ("C", 1.5, 4.1, 1.9, 4.1, 2.1, 3.9), stroke=ink, width=0.25)


def mast(picture, ink, fill):
    picture.line((-0.9, 0), (0, 3.4), (0.9, 0), stroke=ink, width=0.25)
    for y in (0.75, 1.5, 2.25):
        x = 0.9 * (1 - y / 3.4)
        picture.line((-x, y), (x, y), stroke=ink, width=0.15)
    picture.circle(0, 3.6, 0.25, fill, stroke=ink)


def dome(picture, ink, fill):
    picture.curve(("M", -1.2, 1.1), ("C", -1.2, 2.8, 1.2, 2.8, 1.2, 1.1), ("Z",), fill=fill, stroke=ink)
    picture.polygon([(-1.0, 0), (1.0, 0), (1.0, 1.1), (-1.0, 1.1)], "white" if fill == ink else fill, stroke=ink)
    picture.line((0, 2.4), (0, 3.0), stroke=ink)


def tower(picture, ink, fill):
    picture.polygon([(-0.6, 0), (0.6, 0), (0.45, 2.6), (-0.45, 2.6)], fill, stroke=ink)
    picture.polygon([(-0.7, 2.6), (0.7, 2.6), (0.7, 3.2), (-0.7, 3.2)], fill, stroke=ink)


def church(picture, ink, fill):
    picture.polygon([(-0.8, 0), (0.8, 0), (0.8, 1.6), (-0.8, 1.6)], fill, stroke=ink)
    picture.line((0, 1.6), (0, 3.4), stroke=ink, width=0.35)
    picture.line((-0.6, 2.7), (0.6, 2.7), stroke=ink, width=0.35)


def monument(picture, ink, fill):
    picture.polygon([(-1.0, 0), (1.0, 0), (1.0, 0.5), (-1.0, 0.5)], fill, stroke=ink)
    picture.polygon([(-0.45, 0.5), (0.45, 0.5), (0.25, 2.7), (0, 3.2), (-0.25, 2.7)], fill, stroke=ink)


LANDMARKS = [
    ("CHIMNY01", "CHIMNY11", "chimney", chimney),
    ("MSTCON04", "MSTCON14", "mast", mast),
    ("DOMES001", "DOMES011", "dome", dome),
    ("TOWERS01", "TOWERS03", "tower", tower),
    (None, "BUIREL13", "church", church),
    (None, "MONUMT12", "monument", monument),
]


def pictures():
    for plain, conspicuous, title, draw in LANDMARKS:
        if plain:
            picture = Picture(plain, title)
            draw(picture, "brown", "paper")
            base(picture, "brown")
            yield picture
        picture = Picture(conspicuous, "conspicuous " + title)
        draw(picture, "ink", "ink")
        base(picture, "ink")
        yield picture
    for name, ink, title in (("POSGEN01", "brown", "place of something on land"),
                             ("POSGEN03", "ink", "conspicuous place of something on land")):
        picture = Picture(name, title)
        picture.circle(0, 0, 1.0, "paper", stroke=ink, width=0.25)
        picture.circle(0, 0, 0.28, ink, stroke=None)
        yield picture
