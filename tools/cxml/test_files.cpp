#include "test_files.h"

#include "host/host_error.h"

#include <fmt/format.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace cxml {

using embedded_host::HostError;
namespace fs = std::filesystem;

bool isThere(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::status_known(status)) throw HostError(fmt::format("{}: {}", path, error.message()));
    return fs::exists(status);
}

std::string readTestFile(const std::string& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::status_known(status)) throw HostError(fmt::format("{}: {}", path, error.message()));
    if (!fs::exists(status)) throw HostError(path + ": there is no such file");
    if (!fs::is_regular_file(status)) throw HostError(path + ": is no regular file");
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file && file.peek() != std::ifstream::traits_type::eof()) content << file.rdbuf();
    if (!file.is_open() || file.bad() || !content) throw HostError(path + ": cannot be read");
    return content.str();
}

TestFile readTests(const std::string& path, const std::string& filter) {
    TestFile file;
    file.path = path;
    try {
        file.sections = readMarkdown(readTestFile(path));
        for (const MarkdownSection& section : file.sections)
            if (section.name.find(filter) != std::string::npos)
                file.runs.push_back(std::make_unique<SectionRun>(section));
    } catch (const MarkdownError& e) {
        throw HostError(fmt::format("{}:{}:{}: {}", path, e.place.line, e.place.column, e.what()));
    }
    return file;
}

}  // namespace cxml
