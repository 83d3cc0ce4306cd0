// The starter of Python for hosts of others: libsymbology_python.
#include "symbology/python.h"

#include "host/host_error.h"
#include "host/python/interpreter.h"
#include "platform/loaded_modules.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <optional>
#include <system_error>

namespace symbology::python {

namespace {

// The file that has the address.
std::string fileOf(const void* address) {
    Dl_info info{};
    if (dladdr(address, &info) == 0 || !info.dli_fname) return {};
    std::error_code none;  // a program's name may be as it was called
    const std::filesystem::path file = std::filesystem::canonical(info.dli_fname, none);
    return none ? info.dli_fname : file.string();
}

/// Of several the first that is initialised, as the library looks for it. It stays loaded.
std::optional<Python> findInitialised() {
    for (void* const module : loadedModules("python3")) {
        const auto isInitialized = reinterpret_cast<int (*)()>(exportedSymbol(module, "Py_IsInitialized"));
        const auto version = reinterpret_cast<const char* (*)()>(exportedSymbol(module, "Py_GetVersion"));
        if (!isInitialized || !version || isInitialized() == 0) continue;
        keepLoaded(reinterpret_cast<void*>(isInitialized));
        const std::string text = version();  // "3.13.0 (main, ...", which ends with the compiler
        return Python{text.substr(0, text.find(' ')), fileOf(reinterpret_cast<void*>(isInitialized)), false};
    }
    return std::nullopt;
}

/// The standard library that was installed beside this one; empty when there is none.
std::string installedHome() {
    const std::filesystem::path library = fileOf(reinterpret_cast<void*>(&installedHome));
    const std::filesystem::path home = library.parent_path().parent_path() / SYMBOLOGY_INSTALLED_PYTHON;
    std::error_code none;
    return std::filesystem::exists(home / "lib/python3.13/os.py", none) ? home.string() : std::string();
}

}  // namespace

Error::Error(const std::string& text) : std::runtime_error(text) {}
Error::~Error() = default;

Python start(const StartOptions& options) {
    static std::mutex mutex;
    static std::optional<Python> started;
    const std::scoped_lock lock(mutex);
    if (started) return *started;
    if (std::optional<Python> found = findInitialised()) return *found;
    try {
        // It is never ended: documents and threads that use it may live as long as the process.
        static const embedded_host::PythonInterpreter* const interpreter =
            new embedded_host::PythonInterpreter({.userSitePackages = options.userPackages, .home = installedHome()});
        static_cast<void>(interpreter);
    } catch (const embedded_host::HostError& error) {
        throw Error(error.what());
    }
    started = findInitialised();
    if (!started) throw Error("Python was started and cannot be found");
    started->isOurs = true;
    return *started;
}

}  // namespace symbology::python
