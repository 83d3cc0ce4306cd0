"""Which files belong to the source tree."""

import subprocess
from pathlib import Path

CODE = {".cpp", ".h"}


def root_folder():
    return Path(__file__).resolve().parents[2]


def tree_files(root):
    """The files of the tree as paths relative to `root`: what git knows or would take in; all files without git."""
    if (root / ".git").exists():
        command = ["git", "-c", f"safe.directory={root}", "-C", str(root)]
        command += ["ls-files", "-z", "--cached", "--others", "--exclude-standard"]
        listed = subprocess.run(command, check=True, capture_output=True).stdout.decode()
        paths = [Path(name) for name in sorted(set(listed.split("\0"))) if name]
        return [path for path in paths if (root / path).is_file()]
    return sorted(path.relative_to(root) for path in root.rglob("*") if path.is_file())


def own_files(root):
    """Without what lies in third_party as others made it."""
    return [path for path in tree_files(root) if path.parts[0] != "third_party"]


def code_files(root):
    return [path for path in own_files(root) if path.suffix in CODE]


def read_text(path):
    """The file's text, None when it is not text."""
    data = path.read_bytes()
    if b"\0" in data[:4096]:
        return None
    return data.decode("utf-8", errors="replace")
