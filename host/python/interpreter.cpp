#include "host/python/interpreter.h"

#include "host/host_error.h"
#include "host/library_call.h"

#include <Python.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace embedded_host {

namespace {

void check(const PyStatus& status) {
    if (PyStatus_Exception(status))
        throw HostError(std::string("cannot start Python: ") + (status.err_msg ? status.err_msg : "unknown reason"));
}

/// A copy of the process shares its open files and locks, and would go on with what this one does.
int refuseFork(const char* event, PyObject* /*arguments*/, void* /*context*/) {
    const std::string_view name(event);
    if (name != "os.fork" && name != "os.forkpty") return 0;
    PyErr_SetString(PyExc_PermissionError, "an expression cannot fork this process; it can start programs");
    return -1;
}

/// Where the standard library is: beside a program that was installed with it, else where the host was built.
std::string pythonHome() {
    std::error_code none;  // only Linux has the link
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", none);
    const std::filesystem::path installed = program.parent_path().parent_path() / SYMBOLOGY_INSTALLED_PYTHON;
    if (!none && std::filesystem::exists(installed / "lib/python3.13/os.py", none)) return installed.string();
    return SYMBOLOGY_PYTHON_HOME;
}

}  // namespace

PythonInterpreter::PythonInterpreter(const PythonOptions& options) {
    const LibraryCall call("Python");
    if (PySys_AddAuditHook(refuseFork, nullptr) != 0) throw HostError("cannot start Python: out of memory");
    // UTF-8 whatever the locale, as all narrow text of the host.
    PyPreConfig encoding;
    PyPreConfig_InitIsolatedConfig(&encoding);
    encoding.utf8_mode = 1;
    check(Py_PreInitialize(&encoding));

    PyConfig config;
    PyConfig_InitIsolatedConfig(&config);
    if (options.userSitePackages) {
        config.isolated = 0;  // it would forbid them; what else it stands for stays set
        config.user_site_directory = 1;
    }
    config.write_bytecode = 0;  // importing leaves no files behind
    try {
        const std::string home = options.home.empty() ? pythonHome() : options.home;
        check(PyConfig_SetBytesString(&config, &config.home, home.c_str()));
        check(Py_InitializeFromConfig(&config));
    } catch (...) {
        PyConfig_Clear(&config);
        throw;
    }
    PyConfig_Clear(&config);
    // What expressions print must not get between the results of a tool.
    if (PyObject* const errors = PySys_GetObject("stderr")) PySys_SetObject("stdout", errors);
    mainThread_ = PyEval_SaveThread();
}

PythonInterpreter::~PythonInterpreter() {
    PyEval_RestoreThread(static_cast<PyThreadState*>(mainThread_));
    Py_FinalizeEx();
}

}  // namespace embedded_host
