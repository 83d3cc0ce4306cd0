// What GDAL says while the host works with it, or with a connection whose SQL functions are GDAL's.
#pragma once

#include "host/library_call.h"

#include <string>
#include <string_view>

namespace embedded_host {

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

}  // namespace embedded_host
