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


def cairn(picture, ink, fill):
    for x, y in ((-0.7, 0.5), (0.7, 0.5), (0, 0.5), (-0.35, 1.3), (0.35, 1.3), (0, 2.1)):
        picture.circle(x, y, 0.42, fill if fill != ink else "grey", stroke=ink)


def tank(picture, ink, fill):
    picture.circle(0, 0, 1.1, fill, stroke=ink)


def silo(picture, ink, fill):
    picture.polygon([(-1.0, 0), (1.0, 0), (1.0, 2.6), (-1.0, 2.6)], "paper", stroke=ink)
    for x in (-0.33, 0.33):
        picture.line((x, 0), (x, 2.6), stroke=ink)
    picture.polygon([(-1.0, 2.6), (1.0, 2.6), (0.6, 3.1), (-0.6, 3.1)], fill, stroke=ink)


def water_tower(picture, ink, fill):
    picture.line((-0.7, 0), (-0.35, 1.8), stroke=ink)
    picture.line((0.7, 0), (0.35, 1.8), stroke=ink)
    picture.polygon([(-0.9, 1.8), (0.9, 1.8), (0.9, 2.9), (0, 3.4), (-0.9, 2.9)], fill, stroke=ink)


def house(picture, ink, fill):
    picture.polygon([(-0.9, -0.7), (0.9, -0.7), (0.9, 0.7), (-0.9, 0.7)], fill, stroke=ink)


STANDING = {chimney, mast, dome, tower, church, monument, cairn, silo, water_tower}
LANDMARKS = [
    ("CHIMNY01", "CHIMNY11", "chimney", chimney),
    ("MSTCON04", "MSTCON14", "mast", mast),
    ("DOMES001", "DOMES011", "dome", dome),
    ("TOWERS01", "TOWERS03", "tower", tower),
    ("TOWERS02", "TOWERS12", "water tower", water_tower),
    ("CAIRNS01", "CAIRNS11", "cairn", cairn),
    ("TNKCON02", "TNKCON12", "tank", tank),
    ("SILBUI01", "SILBUI11", "silo", silo),
    ("BUISGL01", "BUISGL11", "building", house),
    (None, "BUIREL13", "church", church),
    ("MONUMT02", "MONUMT12", "monument", monument),
]


def pictures():
    for plain, conspicuous, title, draw in LANDMARKS:
        if plain:
            picture = Picture(plain, title)
            draw(picture, "brown", "paper")
            if draw in STANDING:
                base(picture, "brown")
            yield picture
        picture = Picture(conspicuous, "conspicuous " + title)
        draw(picture, "ink", "ink")
        if draw in STANDING:
            base(picture, "ink")
        yield picture
    for name, ink, title in (("POSGEN01", "brown", "place of something on land"),
                             ("POSGEN03", "ink", "conspicuous place of something on land"),
                             ("POSGEN04", "brown", "place of something natural or surveyed on land")):
        picture = Picture(name, title)
        picture.circle(0, 0, 1.0, "paper", stroke=ink, width=0.25)
        picture.circle(0, 0, 0.28, ink, stroke=None)
        yield picture
