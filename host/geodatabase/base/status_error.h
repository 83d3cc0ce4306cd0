// A failure with the status that a caller through COM gets.
#pragma once

#include "host/host_error.h"
#include "platform/platform.h"

#include <string>

namespace embedded_host {

/// A failure that has a status of its own.
class StatusError : public HostError {
public:
    StatusError(HRESULT status, const std::string& text) : HostError(text), status_(status) {}
    HRESULT status() const noexcept { return status_; }

private:
    HRESULT status_;
};

}  // namespace embedded_host
