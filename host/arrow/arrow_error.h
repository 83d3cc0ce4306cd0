// What goes wrong with Arrow data.
#pragma once

#include "host/host_error.h"

#include <nanoarrow.hpp>

#include <cerrno>
#include <new>
#include <string>

namespace embedded_host {

/// \throws HostError that begins with `what`, std::bad_alloc, unless `status` is success.
inline void expect(ArrowErrorCode status, const std::string& what, const ArrowError& error) {
    if (status == NANOARROW_OK) return;
    if (status == ENOMEM) throw std::bad_alloc();
    throw HostError(what + ": " + (error.message[0] != '\0' ? error.message : "it cannot be used"));
}

/// For calls that fail for want of memory only.
inline void expect(ArrowErrorCode status) {
    if (status != NANOARROW_OK) throw std::bad_alloc();
}

}  // namespace embedded_host
