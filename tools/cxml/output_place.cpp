#include "output_place.h"

#include "host/host_error.h"

#include <fmt/format.h>
#include <algorithm>
#include <filesystem>
#include <system_error>

namespace cxml {
namespace {

std::string cannotBeWritten(const std::string& file, const std::string& why) {
    return why.empty() ? why : fmt::format("{}: cannot be written: {}", file, why);
}

}  // namespace

std::string OutputPlace::whyNot(const std::string& file) const {
    std::error_code error;
    const bool isInput = std::ranges::any_of(
        inputs, [&](const std::string& input) { return std::filesystem::equivalent(file, input, error); });
    return cannotBeWritten(file, isInput ? "the command reads it" : whyNotWritable(file, whenThere()));
}

void OutputPlace::expectFree(const std::string& file) const {
    if (const std::string why = whyNot(file); !why.empty()) throw embedded_host::HostError(why);
}

std::string OutputPlace::write(const std::string& file, std::string_view content) const {
    return cannotBeWritten(file, writeFile(file, content, whenThere()));
}

}  // namespace cxml
