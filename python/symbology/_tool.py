"""The command-line tool, where it is installed."""

import json
import os
import shutil
import subprocess
from collections.abc import Container, Iterable, Sequence
from typing import Any

from ._errors import SymbologyError


class ToolError(SymbologyError):
    """The tool is not there, or has failed.

    Attributes:
        status (int | None): its exit status; None when it was not run.
        output (dict | None): what it wrote as JSON.
    """

    def __init__(self, text: str, status: int | None = None, output: dict[str, Any] | None = None) -> None:
        super().__init__(text)
        self.status = status
        self.output = output


def _run(arguments: Sequence[str | os.PathLike[str]], fine: Container[int]) -> dict[str, Any]:
    tool = os.environ.get("CXML") or shutil.which("cxml")
    if not tool:
        raise ToolError("the command-line tool cxml is not installed: it is not in PATH, and CXML does not name it")
    done = subprocess.run([tool, *map(os.fsdecode, arguments)], capture_output=True, text=True, encoding="utf-8", errors="replace",
                          check=False, stdin=subprocess.DEVNULL)
    output: dict[str, Any] | None
    try:
        output = json.loads(done.stdout)
    except ValueError:
        output = None
    if done.returncode not in fine or output is None:
        raise ToolError(done.stderr.strip() or f"cxml ended with status {done.returncode}", done.returncode, output)
    return output


def symbolize(dataset: str | os.PathLike[str], document: str | os.PathLike[str], *, layers: Iterable[str] = (), add_fields: bool = True,
              where: str | None = None, output: str | os.PathLike[str] | None = None, options: Iterable[str] = ()) -> dict[str, Any]:
    """Symbolizes a dataset: a GeoPackage, or a database ("PG:...").

    Args:
        dataset (str | os.PathLike): written in place, unless ``output`` is given.
        document (str | os.PathLike): the rule document.
        layers (Iterable[str]): which; all that the document configures when empty.
        add_fields (bool): whether fields that a layer lacks are added.
        where (str | None): an SQL condition on rows.
        output (str | os.PathLike | None): a new file that gets the dataset and the symbols.
        options (Iterable[str]): further options of ``cxml symbolize``.

    Returns:
        dict: what ``cxml symbolize --json`` writes: "document", and "layers" with rows, changes and messages.

    Raises:
        ToolError: the tool is not there, or a layer failed; layers that fail stay as they were.
    """
    arguments: list[str | os.PathLike[str]] = ["symbolize", document, dataset, *layers, "--json"]
    arguments += ["--add-fields"] if add_fields else []
    arguments += ["--where", where] if where is not None else []
    arguments += ["--output", output] if output is not None else []
    return _run([*arguments, *options], fine=(0,))


def check(document: str | os.PathLike[str], dataset: str | os.PathLike[str] | None = None, *,
          options: Iterable[str] = ()) -> dict[str, Any]:
    """The findings of ``cxml check``: mistakes in a document, found without a run.

    Args:
        document (str | os.PathLike): the rule document.
        dataset (str | os.PathLike | None): one to hold it against.
        options (Iterable[str]): further options.

    Returns:
        dict: what ``cxml check --json`` writes; "findings" have file, line, kind, severity and text.

    Raises:
        ToolError: the tool is not there, or cannot read the document or the dataset.
    """
    return _run(["check", document, *([dataset] if dataset is not None else []), "--json", *options], fine=(0, 1))
