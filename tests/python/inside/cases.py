"""Expressions in the Python that runs this, whichever: cases.py EVALUATE_LIBRARY. Ends with status 0 when all held."""
import ctypes
import gc
import sys
import threading
import types

library = ctypes.CDLL(sys.argv[1])  # gives the lock back for the time of a call
library.evaluateExpression.argtypes = [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_size_t]


def evaluate(source):
    said = ctypes.create_string_buffer(5000)
    status = library.evaluateExpression(source.encode(), said, len(said))
    return status, said.value.decode()


def function(body):
    return "def Generate(a, b, c):\n" + "".join(f"    {line}\n" for line in body.splitlines())


ACCEPTED, NOT_TEXT, RAISED = 0, 2, -1

# Each source, what becomes of it, and what is said of it (all of these words).
CASES = [
    (function("return f'{a} {b} {c}'"), ACCEPTED, ["7 2.5 tide"]),
    (function("return ' '.join(type(x).__name__ for x in (a, b, c))"), ACCEPTED, ["int float str"]),
    (function("return None"), ACCEPTED, [""]),
    (function("return '\\u00e6\\U0001F6A2'"), ACCEPTED, ["\u00e6\U0001F6A2"]),
    (function("class Text(str): pass\nreturn Text('derived')"), ACCEPTED, ["derived"]),
    (function("return a"), NOT_TEXT, [""]),
    (function("class Pretends:\n    __class__ = str\nreturn Pretends()"), NOT_TEXT, [""]),
    ("import math\n" + function("return str(math.floor(b))"), ACCEPTED, ["2"]),
    (function("return __name__ + ' ' + __file__ + ' ' + str(__spec__ is not None)"), ACCEPTED, ["CalcFields CalcFields True"]),
    (function("return str(1 / (a - 7))"), RAISED, ["ptype = <class 'ZeroDivisionError'>", "frame0: CalcFields@2"]),
    (function("raise SystemExit(3)"), RAISED, ["<class 'SystemExit'>", "pvalue = 3"]),
    (function("return f()") + "def f(): return g()\ndef g(): raise KeyError('deep')\n", RAISED,
     ["KeyError", "frame0: CalcFields@4"]),
    ("x = (\n", RAISED, ["ptype = <class 'SyntaxError'>"]),
    ("raise ValueError('body')\n" + function("return ''"), RAISED, ["ValueError", "body"]),
    ("x = 1\n", RAISED, ["AttributeError", "the expression does not define the function 'Generate'"]),
]


def check(held, said):
    if not held:
        sys.exit(f"{sys.version}: {said}")


for source, status, words in CASES:
    found = evaluate(source)
    check(found[0] == status and all(word in found[1] for word in words), f"{source!r}: {found}, expected {(status, words)}")

# Modules of calls do not pile up, where references are counted.
if not hasattr(sys, "_is_gil_enabled") or sys._is_gil_enabled():
    gc.collect()
    gc.disable()
    for _ in range(1000):
        evaluate(CASES[0][0])
    modules = [one for one in gc.get_objects() if isinstance(one, types.ModuleType) and one.__name__ == "CalcFields"]
    check(len(modules) <= 3, f"{len(modules)} modules are left")
    functions = [one for one in gc.get_objects() if isinstance(one, types.FunctionType) and one.__name__ == "Generate"]
    check(len(functions) <= 3, f"{len(functions)} functions are left")
    gc.enable()

# Threads get their own answers.
wrong = []


def ask(number):
    for _ in range(200):
        found = evaluate(function(f"return '{number}'"))
        if found != (ACCEPTED, str(number)):
            wrong.append((number, found))


threads = [threading.Thread(target=ask, args=(number,)) for number in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
check(not wrong, wrong[:1])
print(sys.version.split()[0], "all held")
