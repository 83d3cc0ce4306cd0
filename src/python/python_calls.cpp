#include "python/python_calls.h"

#include "platform/loaded_modules.h"
#include "python/py_ref.h"

#include <atomic>
#include <memory>

namespace ConditionalXml {

namespace {

// Found once and never given back: code objects may be released until the process ends.
std::atomic<const PythonCalls*> taken = nullptr;

template <class Pointer>
bool found(LoadedModule module, const char* name, Pointer& pointer) {
    pointer = reinterpret_cast<Pointer>(exportedSymbol(module, name));
    return pointer != nullptr;
}

/// Null when the module is not a Python, or has not all that is needed.
std::unique_ptr<PythonCalls> callsOf(LoadedModule module) {
    auto calls = std::make_unique<PythonCalls>();
    bool complete = true;
#define SYMBOLOGY_FIND(name, ...) complete = complete && found(module, #name, calls->name);
    SYMBOLOGY_PYTHON_FUNCTIONS(SYMBOLOGY_FIND)
    SYMBOLOGY_PYTHON_OBJECTS(SYMBOLOGY_FIND)
#undef SYMBOLOGY_FIND
#define SYMBOLOGY_FIND(name)       \
    PyObject** name##At = nullptr; \
    if (found(module, #name, name##At)) calls->name = *name##At;
    SYMBOLOGY_PYTHON_POINTERS(SYMBOLOGY_FIND)
#undef SYMBOLOGY_FIND
    if (!complete) calls.reset();
    return calls;
}

}  // namespace

PythonState findPython() {
    if (const PythonCalls* const known = taken.load(std::memory_order_acquire))
        return known->Py_IsInitialized() != 0 ? PythonState::Ready : PythonState::NotInitialized;
    PythonState state = PythonState::None;
    for (LoadedModule module : loadedModules("python3")) {
        std::unique_ptr<const PythonCalls> calls = callsOf(module);
        if (!calls) continue;
        state = PythonState::NotInitialized;
        if (calls->Py_IsInitialized() == 0) continue;
        keepLoaded(reinterpret_cast<void*>(calls->Py_IsInitialized));
        const PythonCalls* none = nullptr;
        // Another thread may have been first, with the same.
        if (taken.compare_exchange_strong(none, calls.get(), std::memory_order_acq_rel)) [[maybe_unused]]
            const PythonCalls* const kept = calls.release();
        return PythonState::Ready;
    }
    return state;
}

const PythonCalls& py() noexcept {
    return *taken.load(std::memory_order_acquire);
}

bool isOfType(PyObject* object, PyObject* type) {
    const PyRef own(py().PyObject_Type(object));
    return own && py().PyType_IsSubtype(own.get(), type) != 0;
}

bool isExactly(PyObject* object, PyObject* type) {
    return PyRef(py().PyObject_Type(object)).get() == type;
}

}  // namespace ConditionalXml
