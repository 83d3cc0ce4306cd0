#!/usr/bin/env python3
"""The library of the C interface: what it exports, what it needs, and its functions from Python's ctypes."""

import ctypes
import os
import pathlib
import re
import subprocess
import unittest

LIBRARY = os.environ["SYMBOLOGY_C"]
HEADER = pathlib.Path(__file__).resolve().parents[2] / "include/symbology/symbology.h"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class Library(unittest.TestCase):
    def test_exports_what_its_header_declares(self):
        exported = {line.split()[-1] for line in run("nm", "-D", "--defined-only", LIBRARY).splitlines()}
        declared = set(re.findall(r"\b(symbology_\w+)\(", re.sub(r"/\*.*?\*/", "", HEADER.read_text(encoding="utf-8"), flags=re.S)))
        self.assertEqual(exported, declared)

    def test_needs_neither_gdal_nor_python(self):
        needed = re.findall(r"\[(lib[^\]]+)\]", run("readelf", "-d", LIBRARY))
        self.assertTrue(any(name.startswith("libsymbology-platform") for name in needed), needed)
        self.assertEqual([name for name in needed if re.match(r"lib(gdal|python|pq)", name)], [])

    def test_documents_by_ctypes(self):
        library = ctypes.CDLL(LIBRARY)
        library.symbology_open.restype = ctypes.c_void_p
        library.symbology_open.argtypes = [ctypes.c_char_p, ctypes.POINTER(ctypes.c_void_p)]
        library.symbology_class_count.restype = ctypes.c_size_t
        library.symbology_class_count.argtypes = [ctypes.c_void_p]
        library.symbology_class_name.restype = ctypes.c_char_p
        library.symbology_class_name.argtypes = [ctypes.c_void_p, ctypes.c_size_t]
        library.symbology_error_text.restype = ctypes.c_char_p
        library.symbology_error_text.argtypes = [ctypes.c_void_p]
        for free in (library.symbology_close, library.symbology_error_free):
            free.restype = None
            free.argtypes = [ctypes.c_void_p]
        error = ctypes.c_void_p()
        document = library.symbology_open(os.environ["RULES"].encode(), ctypes.byref(error))
        self.assertTrue(document)
        self.assertEqual([library.symbology_class_name(document, i) for i in range(library.symbology_class_count(document))],
                         [b"BOYLAT", b"LIGHTS", b"TWINS"])
        library.symbology_close(document)
        self.assertFalse(library.symbology_open(b"missing.cxml", ctypes.byref(error)))
        self.assertIn(b"missing.cxml", library.symbology_error_text(error))
        library.symbology_error_free(error)


if __name__ == "__main__":
    unittest.main()
