"""The QGIS plug-in as the zip that QGIS installs and its plug-in repository takes: one folder, no binaries, metadata that is complete."""

import configparser
import re
import zipfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
FOLDER = ROOT / "plugins/qgis/cxml_symbology"
SUFFIXES = {".py", ".txt", ".png", ".svg", ".ui"}
WANTED = ("name", "description", "about", "version", "qgisMinimumVersion", "author", "email", "hasProcessingProvider", "supportsQt6")
# What the repository asks for beyond that and only the project's owner can name.
OWNERS_KEYS = ("repository", "tracker")
OWNERS_FILE = "LICENSE"


class Unfit(Exception):
    """What is wrong with the plug-in, for the log."""


def project_version(root=ROOT):
    return re.search(r"^project\(symbology VERSION ([\d.]+)", (root / "CMakeLists.txt").read_text(encoding="utf-8"), re.MULTILINE)[1]


def metadata(folder=FOLDER):
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str  # names are written as QGIS reads them
    parser.read(folder / "metadata.txt", encoding="utf-8")
    if not parser.has_section("general"):
        raise Unfit("metadata.txt has no section [general]")
    return dict(parser["general"])


def contents(folder=FOLDER):
    """The files of the zip. \\raises Unfit when there is one that it may not have."""
    files = [file for file in sorted(folder.rglob("*")) if file.is_file() and "__pycache__" not in file.parts]
    for file in files:
        if file.name != OWNERS_FILE and (file.suffix not in SUFFIXES or file.name.startswith(".")):
            raise Unfit(f"{file.relative_to(folder)} is nothing that a plug-in may have")
    return files


def check(folder=FOLDER, version=None):
    """\\raises Unfit. Returns what is left for the owner to say before the repository takes it."""
    said = metadata(folder)
    missing = [key for key in WANTED if not said.get(key, "").strip()]
    if missing:
        raise Unfit(f"metadata.txt does not say {', '.join(missing)}")
    if said["version"] != (version or project_version()):
        raise Unfit(f"metadata.txt has version {said['version']}, the project {version or project_version()}")
    names = {file.relative_to(folder).as_posix() for file in contents(folder)}
    if not {"__init__.py", "metadata.txt"} <= names:
        raise Unfit("there is no __init__.py or no metadata.txt")
    return [key for key in OWNERS_KEYS if not said.get(key)] + [name for name in (OWNERS_FILE,) if name not in names]


def write(target, folder=FOLDER):
    """The same files give the same zip."""
    with zipfile.ZipFile(target, "w", zipfile.ZIP_DEFLATED) as packed:
        for file in contents(folder):
            entry = zipfile.ZipInfo(f"{folder.name}/{file.relative_to(folder).as_posix()}", (1980, 1, 1, 0, 0, 0))
            entry.external_attr = 0o644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            packed.writestr(entry, file.read_bytes())
