// Python's stable C interface, as it is from 3.10 on: nothing else of Python is to be seen in this folder.
#pragma once

#ifdef Py_PYTHON_H
#error "Python.h has been included with all that it has"
#endif
#define Py_LIMITED_API 0x030A0000
#include <Python.h>
