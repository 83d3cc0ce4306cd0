"""Runs the program cxml. Knows nothing of QGIS, so that it runs and is tested without it."""

import json
import os
import shutil
import signal
import subprocess
import tempfile
import time


class ToolError(Exception):
    """The program cannot be run; the text is for the user."""


class Cancelled(Exception):
    """The run was ended because the user asked for it."""


def find_tool(setting=""):
    """The program that the setting names, else the environment variable CXML, else the one in PATH."""
    setting = setting or os.environ.get("CXML", "")
    found = shutil.which(setting or "cxml")
    if found:
        return found
    if setting:
        raise ToolError(f"The program cxml is not at {setting}, which the settings or the environment variable CXML name.")
    raise ToolError("The program cxml was not found in PATH: install it, or name it in the settings.")


def run(tool, arguments, is_cancelled=lambda: False, as_json=True):
    """Returns the exit status, what the JSON says (None without any) or the text, and the text of standard error."""
    # Files, not pipes: a full pipe would stop the program while this loop looks for a cancellation only.
    with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
        try:
            process = subprocess.Popen([tool, *arguments, *(["--json"] if as_json else [])], stdin=subprocess.DEVNULL, stdout=output,
                                       stderr=errors)
        except OSError as error:
            raise ToolError(f"The program {tool} does not start: {error.strerror}.") from error
        cancelled = False
        while process.poll() is None:
            if not cancelled and is_cancelled():
                cancelled = True
                # The program rolls its transaction back upon SIGINT; Windows has only the hard end.
                process.send_signal(signal.SIGINT) if os.name == "posix" else process.terminate()
            time.sleep(0.05)
        # A run that was complete before the signal reached it has its result.
        if cancelled and process.returncode != 0:
            raise Cancelled("The run was cancelled.")
        output.seek(0)
        errors.seek(0)
        text = output.read().decode("utf-8", "replace")
        said = errors.read().decode("utf-8", "replace")
    if not as_json:
        return process.returncode, text, said
    try:
        return process.returncode, json.loads(text) if text.strip() else None, said
    except ValueError as error:
        raise ToolError(f"What {tool} wrote is not JSON: {error}.") from error
