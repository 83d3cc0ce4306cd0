// The shared library consists of the parts in symbology_core; this file only gives the linker a source to start from.
