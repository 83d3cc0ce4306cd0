"""A picture of a point symbol: millimetres, x to the right, y up, the symbol's position at 0,0."""
import contextlib
import math
from xml.sax.saxutils import escape

LEAN = 15  # degrees by which buoys and their top marks lean to the right
SLANT = math.tan(math.radians(LEAN))
OUTLINE = 0.2
MARGIN = 0.1


def number(value):
    """At most three digits behind the point, none that says nothing."""
    text = f"{value:.3f}".rstrip("0").rstrip(".")
    return "0" if text == "-0" else text


class Picture:
    def __init__(self, name, title):
        self.name, self.title = name, title
        self.lines = []
        self.width = self.height = 0.5  # half of the view box
        self.transforms = []

    # Bounds: every point of an element, seen through the groups that it is in.
    def reach(self, points, beyond=0.0):
        for x, y in points:
            for move in reversed(self.transforms):
                x, y = move(x, y)
            self.width = max(self.width, abs(x) + beyond + MARGIN)
            self.height = max(self.height, abs(y) + beyond + MARGIN)

    def element(self, text):
        self.lines.append("  " * (1 + len(self.transforms)) + text)

    @staticmethod
    def paint(fill, stroke, width, dash=None):
        """Tokens: which colours they are is the palette's; see Palette.inline()."""
        text = f' fill="{{{fill}}}"' if fill else ' fill="none"'
        if stroke:
            text += f' stroke="{{{stroke}}}" stroke-width="{number(width)}"'
        if dash:
            text += f' stroke-dasharray="{" ".join(map(number, dash))}"'
        return text

    def polygon(self, points, fill=None, stroke="ink", width=OUTLINE):
        self.reach(points, width if stroke else 0)
        places = " ".join(f"{number(x)},{number(-y)}" for x, y in points)
        self.element(f'<polygon points="{places}"{self.paint(fill, stroke, width)} stroke-linejoin="round"/>')

    def line(self, *points, stroke="ink", width=OUTLINE, dash=None):
        self.reach(points, width)
        places = " ".join(f"{number(x)},{number(-y)}" for x, y in points)
        self.element(f'<polyline points="{places}"{self.paint(None, stroke, width, dash)} stroke-linecap="round"'
                     ' stroke-linejoin="round"/>')

    def circle(self, x, y, radius, fill=None, stroke="ink", width=OUTLINE, dash=None):
        self.reach([(x - radius, y - radius), (x + radius, y + radius)], width if stroke else 0)
        cap = ' stroke-linecap="round"' if dash else ""
        self.element(f'<circle cx="{number(x)}" cy="{number(-y)}" r="{number(radius)}"'
                     f"{self.paint(fill, stroke, width, dash)}{cap}/>")

    def ellipse(self, x, y, rx, ry, fill=None, stroke="ink", width=OUTLINE, dash=None):
        self.reach([(x - rx, y - ry), (x + rx, y + ry)], width)
        cap = ' stroke-linecap="round"' if dash else ""
        self.element(f'<ellipse cx="{number(x)}" cy="{number(-y)}" rx="{number(rx)}" ry="{number(ry)}"'
                     f"{self.paint(fill, stroke, width, dash)}{cap}/>")

    def curve(self, *steps, fill=None, stroke="ink", width=OUTLINE):
        """Steps: M and L with a point, C with three, Z. All points count as reached, also a curve's handles."""
        words = []
        for command, *values in steps:
            pairs = list(zip(values[::2], values[1::2]))
            self.reach(pairs, width if stroke else 0)
            words.append(command + " ".join(f"{number(x)},{number(-y)}" for x, y in pairs))
        self.element(f'<path d="{"".join(words)}"{self.paint(fill, stroke, width)} stroke-linecap="round"'
                     ' stroke-linejoin="round"/>')

    @contextlib.contextmanager
    def group(self, transform, move):
        self.element(f'<g transform="{transform}">')
        self.transforms.append(move)
        yield
        self.transforms.pop()
        self.element("</g>")

    def leaning(self):
        """What stands on the line y = 0 and leans: that line stays where it is."""
        return self.group(f"skewX({-LEAN})", lambda x, y: (x + y * SLANT, y))

    def above(self, height):
        """On the axis of what leans, turned as it leans: the place of a top mark."""
        c, s = math.cos(math.radians(LEAN)), math.sin(math.radians(LEAN))
        x0 = height * SLANT
        return self.group(f"translate({number(x0)} {number(-height)}) rotate({LEAN})",
                          lambda x, y: (x0 + x * c + y * s, height - x * s + y * c))

    def text(self, palette):
        w, h = math.ceil(self.width * 20) / 20, math.ceil(self.height * 20) / 20
        box = f'viewBox="{number(-w)} {number(-h)} {number(2 * w)} {number(2 * h)}"'
        head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{number(2 * w)}mm" height="{number(2 * h)}mm" {box}>\n'
                f"  <title>{escape(self.name)}: {escape(self.title)}</title>\n")
        return head + "".join(palette.inline(line) + "\n" for line in self.lines) + "</svg>\n"
