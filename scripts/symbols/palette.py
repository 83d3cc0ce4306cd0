"""The colours of the tokens that pictures are drawn with."""
import re

TOKENS = re.compile(r'(fill|stroke)="\{([a-z0-9-]+)\}"')


class Palette:
    """A picture is written in the colours of the day, so that any viewer shows it as it is meant; the tokens stay beside
    them as classes, by which another palette takes their place."""

    def __init__(self, colours):
        self.colours = colours

    def inline(self, element):
        tokens = TOKENS.findall(element)
        if not tokens:
            return element
        element = TOKENS.sub(lambda found: f'{found[1]}="{self.colours[found[2]]}"', element)
        classes = " ".join(f"{kind}-{token}" for kind, token in tokens)
        return re.sub(r"( fill=)", f' class="{classes}"\\1', element, count=1)
