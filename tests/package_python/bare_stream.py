#!/usr/bin/env python3
"""The Python package where no library of Arrow data is: three buoys by ctypes, and their symbols read likewise.

  bare_stream.py DOCUMENT
"""

import ctypes
import sys

import symbology


class Schema(ctypes.Structure):
    """ArrowSchema of Arrow's C data interface."""


class Array(ctypes.Structure):
    """ArrowArray of it."""


class Stream(ctypes.Structure):
    """ArrowArrayStream of it."""


SchemaRelease = ctypes.CFUNCTYPE(None, ctypes.POINTER(Schema))
ArrayRelease = ctypes.CFUNCTYPE(None, ctypes.POINTER(Array))
StreamRelease = ctypes.CFUNCTYPE(None, ctypes.POINTER(Stream))
Schema._fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p), ("metadata", ctypes.c_void_p), ("flags", ctypes.c_int64),
                   ("n_children", ctypes.c_int64), ("children", ctypes.POINTER(ctypes.POINTER(Schema))), ("dictionary", ctypes.c_void_p),
                   ("release", SchemaRelease), ("private_data", ctypes.c_void_p)]
Array._fields_ = [("length", ctypes.c_int64), ("null_count", ctypes.c_int64), ("offset", ctypes.c_int64), ("n_buffers", ctypes.c_int64),
                  ("n_children", ctypes.c_int64), ("buffers", ctypes.POINTER(ctypes.c_void_p)),
                  ("children", ctypes.POINTER(ctypes.POINTER(Array))), ("dictionary", ctypes.c_void_p), ("release", ArrayRelease),
                  ("private_data", ctypes.c_void_p)]
GetSchema = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(Stream), ctypes.POINTER(Schema))
GetNext = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(Stream), ctypes.POINTER(Array))
LastError = ctypes.CFUNCTYPE(ctypes.c_char_p, ctypes.POINTER(Stream))
Stream._fields_ = [("get_schema", GetSchema), ("get_next", GetNext), ("get_last_error", LastError), ("release", StreamRelease),
                   ("private_data", ctypes.c_void_p)]
NULLABLE = 2

new_capsule = ctypes.pythonapi.PyCapsule_New
new_capsule.restype, new_capsule.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]
pointer_of = ctypes.pythonapi.PyCapsule_GetPointer
pointer_of.restype, pointer_of.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]


@SchemaRelease
def release_schema(schema):
    schema.contents.release = SchemaRelease()


@ArrayRelease
def release_array(array):
    array.contents.release = ArrayRelease()


@StreamRelease
def release_stream(stream):
    stream.contents.release = StreamRelease()


class Buoys:
    """Three buoys: red at port, green at starboard, and one of which nothing is known. Lives as long as its stream is read."""

    def __init__(self):
        self.kept = []  # what the structures point to
        self.batches = 1
        self.stream = Stream(GetSchema(self.get_schema), GetNext(self.get_next), LastError(lambda _: b"no error"), release_stream)

    def pointers(self, structures):
        kind = type(structures[0])
        array = (ctypes.POINTER(kind) * len(structures))(*(ctypes.pointer(one) for one in structures))
        self.kept.append((structures, array))
        return array

    def get_schema(self, _, out):
        columns = [Schema(b"i", b"CATLAM", None, NULLABLE, 0, None, None, release_schema),
                   Schema(b"u", b"COLOUR", None, NULLABLE, 0, None, None, release_schema)]
        out[0] = Schema(b"+s", b"", None, 0, 2, self.pointers(columns), None, release_schema)
        return 0

    def column(self, *values):
        valid = (ctypes.c_uint8 * 1)(0b011)
        buffers = (ctypes.c_void_p * (1 + len(values)))(*(ctypes.cast(one, ctypes.c_void_p) for one in (valid, *values)))
        self.kept.append((valid, values, buffers))
        return Array(3, 1, 0, len(buffers), 0, buffers, None, None, release_array)

    def get_next(self, _, out):
        if not self.batches:
            out[0] = Array()
            return 0
        self.batches -= 1
        columns = [self.column((ctypes.c_int32 * 3)(1, 2, 0)),
                   self.column((ctypes.c_int32 * 4)(0, 1, 2, 2), ctypes.create_string_buffer(b"34", 2))]
        none = (ctypes.c_void_p * 1)(None)
        self.kept.append(none)
        out[0] = Array(3, 0, 0, 1, 2, none, self.pointers(columns), None, release_array)
        return 0

    def __arrow_c_stream__(self, requested_schema=None):
        return new_capsule(ctypes.addressof(self.stream), b"arrow_array_stream", None)


def texts(table, column):
    """The column's texts, of all batches."""
    capsule = table.__arrow_c_stream__()
    stream = Stream.from_address(pointer_of(capsule, b"arrow_array_stream"))
    schema = Schema()
    if stream.get_schema(stream, schema):
        raise SystemExit(stream.get_last_error(stream).decode())
    names = [schema.children[i].contents.name.decode() for i in range(schema.n_children)]
    place = names.index(column)
    if schema.children[place].contents.format != b"u":
        raise SystemExit(f"{column} is {schema.children[place].contents.format}")
    read = []
    while True:
        batch = Array()
        if stream.get_next(stream, batch):
            raise SystemExit(stream.get_last_error(stream).decode())
        if not batch.release:
            break
        array = batch.children[place].contents
        offsets = ctypes.cast(array.buffers[1], ctypes.POINTER(ctypes.c_int32))
        for row in range(array.offset, array.offset + array.length):
            read.append(ctypes.string_at(array.buffers[2] + offsets[row], offsets[row + 1] - offsets[row]).decode())
        batch.release(batch)
    schema.release(schema)
    stream.release(stream)
    return read


def main():
    buoys = Buoys()
    print(*texts(symbology.Document(sys.argv[1]).symbolize(buoys, layer="BOYLAT"), "SYMBOL_C"))


if __name__ == "__main__":
    main()
