// Where exceptions end: statuses and the thread's error object at the COM edge.
#pragma once

#include "host/geodatabase/base/status_error.h"

#include <exception>
#include <new>
#include <string_view>

namespace embedded_host {

/// Makes `text` (UTF-8) the description of the thread's error object.
void setErrorInfo(std::string_view text) noexcept;

/// The one place between exceptions and statuses: runs `body`, which answers a status itself.
template <class Body>
HRESULT atBoundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const StatusError& error) {
        setErrorInfo(error.what());
        return error.status();
    } catch (const CAtlException& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception& error) {
        setErrorInfo(error.what());
        return E_FAIL;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace embedded_host
