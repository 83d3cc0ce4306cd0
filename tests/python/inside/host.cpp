// A program that is not linked with Python. It may load one, and then an expression is evaluated.
//
//   host EVALUATE_LIBRARY [PYTHON_LIBRARY global|local]
//
// Says "STATUS TEXT"; see evaluate.cpp.
#include <dlfcn.h>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace {

template <class Function>
Function* symbol(void* library, const char* name) {
    void* const found = library ? dlsym(library, name) : nullptr;
    if (!found) std::fprintf(stderr, "%s\n", dlerror());
    return reinterpret_cast<Function*>(found);
}

bool startPython(const char* file, bool global) {
    void* const python = dlopen(file, RTLD_NOW | (global ? RTLD_GLOBAL : RTLD_LOCAL));
    auto* const initialize = symbol<void(int)>(python, "Py_InitializeEx");
    auto* const release = symbol<void*()>(python, "PyEval_SaveThread");
    if (!initialize || !release) return false;
    initialize(0);
    release();
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && !startPython(argv[2], std::strcmp(argv[3], "global") == 0)) return 1;
    auto* const evaluate =
        symbol<int(const char*, char*, std::size_t)>(dlopen(argv[1], RTLD_NOW | RTLD_LOCAL), "evaluateExpression");
    if (!evaluate) return 1;
    char said[1000];
    const int status = evaluate("def Generate(a, b, c): return f'{c} {a + b}'", said, sizeof said);
    std::printf("%d %s\n", status, said);
    return 0;
}
