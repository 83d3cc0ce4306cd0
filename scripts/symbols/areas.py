"""What is not allowed in an area, drawn in the middle of it."""
from dangers import fish
from picture import Picture

RULE = "magenta"


def sign(picture, letter):
    """What stands to the lower right: 6 for further rules, 7 for information."""
    x, y = 2.3, -1.5
    if letter == "6":
        picture.line((x, y + 0.9), (x, y - 0.25), stroke=RULE, width=0.35)
        picture.circle(x, y - 0.85, 0.22, RULE, stroke=None)
    elif letter == "7":
        picture.circle(x, y + 0.75, 0.22, RULE, stroke=None)
        picture.line((x, y + 0.15), (x, y - 1.0), stroke=RULE, width=0.35)


def bar(picture):
    picture.line((-1.6, 1.6), (1.6, -1.6), stroke=RULE, width=0.35)


def anchor(picture):
    picture.circle(0, 1.5, 0.35, stroke=RULE, width=0.25)
    picture.line((0, 1.15), (0, -1.5), stroke=RULE, width=0.3)
    picture.line((-0.7, 0.7), (0.7, 0.7), stroke=RULE, width=0.25)
    picture.curve(("M", -1.4, -0.4), ("C", -1.2, -1.3, -0.5, -1.5, 0, -1.6), ("C", 0.5, -1.5, 1.2, -1.3, 1.4, -0.4),
                  stroke=RULE, width=0.3)


def pictures():
    further = {"5": "", "6": ", and further rules", "7": ", and more to know"}
    for letter, more in further.items():
        picture = Picture(f"ENTRES{letter}1", "no entry" + more)
        picture.circle(0, 0, 1.7, "white", stroke=RULE, width=0.35)
        picture.line((-1.0, 0), (1.0, 0), stroke=RULE, width=0.6)
        sign(picture, letter)
        yield picture
        picture = Picture(f"ACHRES{letter}1", "no anchoring" + more)
        anchor(picture)
        bar(picture)
        sign(picture, letter)
        yield picture
    for letter in "57":
        picture = Picture(f"FSHRES{letter}1", "no fishing" + further[letter])
        fish(picture, 0, 0, 1.5, RULE)
        bar(picture)
        sign(picture, letter)
        yield picture
    picture = Picture("RSRDEF51", "rules that are not told")
    picture.circle(0, 0, 1.7, stroke=RULE, width=0.35)
    bar_end = 1.2
    picture.line((-bar_end, bar_end), (bar_end, -bar_end), stroke=RULE, width=0.35)
    yield picture
    picture = Picture("INFARE51", "something to know")
    picture.polygon([(-1.4, -1.4), (1.4, -1.4), (1.4, 1.4), (-1.4, 1.4)], "white", stroke=RULE, width=0.3)
    picture.circle(0, 0.8, 0.25, RULE, stroke=None)
    picture.line((0, 0.25), (0, -0.9), stroke=RULE, width=0.4)
    yield picture
