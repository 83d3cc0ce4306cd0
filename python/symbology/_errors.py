"""What goes wrong."""

import re
from collections.abc import Iterable


class SymbologyError(RuntimeError):
    """A run, a table or a dataset that cannot be symbolized. Its text names the layer, column, table or file."""


class DocumentError(SymbologyError):
    """A rule document that does not load.

    Attributes:
        file (str): the document's path.
        line (int | None): where, from 1; None where that is not known.
        messages (list[str]): what was said while it loaded, in order, each text once.
    """

    def __init__(self, text: str, file: str = "", messages: Iterable[str] = ()) -> None:
        super().__init__(text)
        self.file = file
        self.messages = list(messages)
        places = [re.search(r"\bline ([1-9]\d*)", said, re.IGNORECASE) for said in (text, *self.messages)]
        self.line = next((int(place.group(1)) for place in places if place), None)
