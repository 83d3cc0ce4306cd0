// How failures travel in the host over GDAL: exceptions inside, statuses and the thread's error object at the COM edge.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "host/library_call.h"

#include <new>
#include <string>
#include <string_view>

namespace embedded_host {

/// A failure that has a status of its own.
class StatusError : public HostError {
public:
    StatusError(HRESULT status, const std::string& text) : HostError(text), status_(status) {}
    HRESULT status() const noexcept { return status_; }

private:
    HRESULT status_;
};

/// One of GDAL's messages as one line, which is cut where it quotes a long statement.
std::string shortLine(std::string_view text);

/// Collects what GDAL says on this thread while it lives, so that nothing goes to standard error. Lives only where GDAL
/// is called, and no expression.
class GdalErrors {
public:
    GdalErrors();
    ~GdalErrors();
    GdalErrors(const GdalErrors&) = delete;
    GdalErrors& operator=(const GdalErrors&) = delete;

    bool any() const noexcept { return !failures_.empty(); }
    /// GDAL's failures in one line; its warnings when there is no failure; `otherwise` when it said nothing.
    std::string text(std::string_view otherwise) const;

private:
    static void collect(int kind, int number, const char* message) noexcept;

    LibraryCall call_{"GDAL"};
    std::string failures_;
    std::string warnings_;
};

/// For every handler of GDAL's errors: passes one that ends the process on to whoever asked with onFatalError().
void tellOfFatalError(const char* message) noexcept;

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
