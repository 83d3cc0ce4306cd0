#include "host/python/source_description.h"

#include "host/host_error.h"

#include <Python.h>
#include <memory>
#include <utility>

namespace embedded_host {

namespace {

// describe(source, function) gives (line, message) for source that does not compile, else
// (defines, least, most, names, mustBeNamed, numberLines, binds, unboundLines, unboundNames), where `defines` is "no",
// "yes" or "maybe" and `most` is -1 for *args.
// A definition counts as certain when it stands at the top of the module and nothing else in the source binds, deletes
// or could bind the name.
constexpr const char* describeInPython = R"python(
import ast
import builtins
import warnings

def describe(source, function):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        try:
            compile(source, "CalcFields", "exec", dont_inherit=True)
            module = ast.parse(source)
        except SyntaxError as error:
            return error.lineno or 0, error.msg
        except (ValueError, OverflowError, RecursionError, MemoryError) as error:
            return 0, f"{type(error).__name__}: {error}"
    definitions = [node for node in module.body if isinstance(node, ast.FunctionDef) and node.name == function]
    names = names_of(module)
    if any(may_bind(node, function) for node in ast.walk(module) if node not in definitions):
        return "maybe", 0, 0, [], [], [], *names
    if not definitions:
        return "no", 0, 0, [], [], [], *names
    if definitions[-1].decorator_list:
        return "maybe", 0, 0, [], [], [], *names
    found, bound = names, set(names[0])
    arguments = definitions[-1].args
    names = [argument.arg for argument in arguments.posonlyargs + arguments.args]
    named = [argument.arg for argument, default in zip(arguments.kwonlyargs, arguments.kw_defaults) if default is None]
    most = -1 if arguments.vararg else len(names)
    least = len(names) - len(arguments.defaults)
    return "yes", least, most, names, named, numbers_returned(definitions[-1], bound), *found

# The names that the source binds anywhere, and the lines and names of what it reads without that anything could bind it.
def names_of(module):
    binds, reads = set(), []
    for node in ast.walk(module):
        if may_bind(node, None):
            return ["*"], [], []
        if isinstance(node, ast.Name):
            if isinstance(node.ctx, ast.Load):
                reads.append((node.lineno, node.id))
            else:
                binds.add(node.id)
        elif isinstance(node, ast.arg):
            binds.add(node.arg)
        elif isinstance(node, ast.alias):
            binds.add((node.asname or node.name).split(".")[0])
        elif isinstance(node, (ast.Global, ast.Nonlocal)):
            binds.update(node.names)
        for attribute in ("name", "rest"):
            name = getattr(node, attribute, None)
            if isinstance(name, str) and not isinstance(node, ast.alias):
                binds.add(name)
    known = binds | set(dir(builtins)) | {"__file__", "__builtins__", "__cached__", "__annotations__"}
    unbound = [(line, name) for line, name in reads if name not in known]
    return sorted(binds), [line for line, name in unbound], [name for line, name in unbound]

def numbers_returned(definition, bound):
    lines, waiting = [], list(definition.body)
    while waiting:
        node = waiting.pop()
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef, ast.Lambda)):
            continue
        if isinstance(node, ast.Return) and node.value and is_number(node.value, bound):
            lines.append(node.lineno)
        waiting.extend(ast.iter_child_nodes(node))
    return sorted(lines)

def is_number(node, bound):
    if isinstance(node, ast.Constant):
        return isinstance(node.value, (int, float, complex))
    if isinstance(node, ast.UnaryOp):
        return isinstance(node.op, ast.Not) or is_number(node.operand, bound)
    if isinstance(node, ast.BinOp):
        return makes_number(node, is_number(node.left, bound), is_number(node.right, bound))
    if isinstance(node, ast.Call) and isinstance(node.func, ast.Name):
        return node.func.id in ("int", "float", "len", "round", "abs", "ord") and node.func.id not in bound
    return False

# Texts and lists are added to their like, multiplied with whole numbers, and a text is formatted by %: all else that has
# a number on one side is a number, or fails.
def makes_number(node, left, right):
    if isinstance(node.op, ast.Mod):
        return left
    if isinstance(node.op, ast.Mult):
        return left and right or is_fraction(node.left) or is_fraction(node.right)
    return left or right

def is_fraction(node):
    return isinstance(node, ast.Constant) and isinstance(node.value, float)

def may_bind(node, function):
    if isinstance(node, ast.Name):
        reaches_modules = node.id in ("exec", "eval", "globals", "locals", "vars", "setattr", "__import__", "__dict__")
        return reaches_modules or (node.id == function and not isinstance(node.ctx, ast.Load))
    if isinstance(node, ast.Attribute):
        return node.attr in ("modules", "__dict__")
    if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef, ast.ClassDef)):
        return function is not None and node.name == function
    if isinstance(node, ast.alias):
        return "*" in node.name or function is not None and function in (node.asname or node.name).split(".")
    return function is not None and function in (getattr(node, "name", None), getattr(node, "rest", None))
)python";

class Lock {
public:
    Lock() : state_(PyGILState_Ensure()) {}
    ~Lock() { PyGILState_Release(state_); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    PyGILState_STATE state_;
};

struct Release {
    void operator()(PyObject* object) const noexcept { Py_XDECREF(object); }
};
using Object = std::unique_ptr<PyObject, Release>;

// Takes a new reference; null is a failure of Python's own.
Object taken(PyObject* object) {
    if (object) return Object(object);
    const Object error(PyErr_GetRaisedException());
    const Object text(error ? PyObject_Str(error.get()) : nullptr);
    const char* const utf8 = text ? PyUnicode_AsUTF8(text.get()) : nullptr;
    std::string message = std::string("Python source cannot be looked at: ") + (utf8 ? utf8 : "no reason given");
    PyErr_Clear();
    throw HostError(message);
}

std::string textAt(PyObject* sequence, Py_ssize_t index) {
    const Object item = taken(PySequence_GetItem(sequence, index));
    const Object text = taken(PyObject_Str(item.get()));
    const char* const utf8 = PyUnicode_AsUTF8(text.get());
    PyErr_Clear();
    return utf8 ? utf8 : "?";
}

long numberAt(PyObject* sequence, Py_ssize_t index) {
    const Object item = taken(PySequence_GetItem(sequence, index));
    return PyLong_AsLong(item.get());
}

std::vector<std::string> textsAt(PyObject* sequence, Py_ssize_t index) {
    const Object list = taken(PySequence_GetItem(sequence, index));
    const Py_ssize_t count = PyList_Size(list.get());
    std::vector<std::string> texts;
    texts.reserve(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i) texts.push_back(textAt(list.get(), i));
    return texts;
}

std::vector<int> linesAt(PyObject* sequence, Py_ssize_t index) {
    const Object list = taken(PySequence_GetItem(sequence, index));
    const Py_ssize_t count = PyList_Size(list.get());
    std::vector<int> lines;
    lines.reserve(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i) lines.push_back(static_cast<int>(numberAt(list.get(), i)));
    return lines;
}

PythonSource readDescription(PyObject* description) {
    PythonSource result;
    if (PyTuple_Size(description) == 2) {
        result.error = PythonSyntaxError{static_cast<int>(numberAt(description, 0)), textAt(description, 1)};
        return result;
    }
    result.numberLines = linesAt(description, 5);
    result.binds = textsAt(description, 6);
    const std::vector<int> lines = linesAt(description, 7);
    const std::vector<std::string> names = textsAt(description, 8);
    for (std::size_t i = 0; i < lines.size(); ++i) result.unbound.push_back({lines[i], names[i]});
    const std::string defines = textAt(description, 0);
    if (defines == "no") result.function = PythonSource::Defines::No;
    if (defines != "yes") return result;
    result.function = PythonSource::Defines::Yes;
    PythonSignature& signature = result.signature.emplace();
    signature.least = static_cast<std::size_t>(numberAt(description, 1));
    if (const long most = numberAt(description, 2); most >= 0) signature.most = static_cast<std::size_t>(most);
    signature.names = textsAt(description, 3);
    signature.mustBeNamed = textsAt(description, 4);
    return result;
}

}  // namespace

PythonSource describePythonSource(const std::string& source, const std::string& function) {
    const Lock lock;
    const Object names = taken(PyDict_New());
    const Object done = taken(PyRun_String(describeInPython, Py_file_input, names.get(), names.get()));
    PyObject* const describe = PyDict_GetItemString(names.get(), "describe");  // borrowed
    // As bytes, and up to the first zero: so the library gives it to the compiler.
    const Object description = taken(PyObject_CallFunction(describe, "ys", source.c_str(), function.c_str()));
    return readDescription(description.get());
}

}  // namespace embedded_host
