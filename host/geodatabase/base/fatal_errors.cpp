// The handler of GDAL's fatal errors.
#include "host/geodatabase/base/fatal_errors.h"

#include <cpl_error.h>

#include <atomic>

namespace embedded_host {

namespace {

std::atomic<void (*)(const char*) noexcept> fatalErrorHandler = nullptr;

}  // namespace

void tellOfFatalError(const char* message) noexcept {
    if (auto* const handler = fatalErrorHandler.load()) handler(message ? message : "");
}

void onFatalError(void (*handler)(const char* message) noexcept) noexcept {
    fatalErrorHandler = handler;
    // For errors outside of any GdalErrors; what is no end of the process goes the usual way.
    CPLSetErrorHandler([](CPLErr kind, CPLErrorNum number, const char* message) {
        if (kind == CE_Fatal) tellOfFatalError(message);
        CPLDefaultErrorHandler(kind, number, message);
    });
}

}  // namespace embedded_host
