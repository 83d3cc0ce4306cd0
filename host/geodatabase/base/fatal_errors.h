// Errors after which GDAL ends the process.
#pragma once

namespace embedded_host {

/// \param handler is told, on whatever thread that happens, when GDAL cannot go on and would end the process (it does
/// when the handler returns): as a rule it has found no memory. The handler allocates nothing.
void onFatalError(void (*handler)(const char* message) noexcept) noexcept;

/// For every handler of GDAL's errors: passes one that ends the process on to whoever asked with onFatalError().
void tellOfFatalError(const char* message) noexcept;

}  // namespace embedded_host
