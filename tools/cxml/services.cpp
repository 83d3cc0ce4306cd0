#include "services.h"

#include "host/geodatabase/gdal_options.h"
#include "host/host_error.h"
#include "host/tarnlib/event_sink.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <array>
#include <cerrno>
#include <ctime>
#include <exception>
#include <system_error>

namespace cxml {
namespace {

void showDebugOutput(LPCSTR text, void* console) {
    static_cast<Console*>(console)->message("debugger", text);
}

// The time now, as ISO 8601 at UTC.
std::string now() {
    const std::time_t seconds = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> text{};
    if (!gmtime_r(&seconds, &parts)) return "?";
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

// One line, on disk at once: it is of most use after a crash.
bool writeEvent(const EventLogEntry& entry, void* file) {
    try {
        const std::string line =
            fmt::format("{} {}; {}; {}\n", now(), oneLine(toUtf8(WideView(entry.text))),
                        oneLine(toUtf8(WideView(entry.source))), oneLine(toUtf8(WideView(entry.details))));
        auto* const log = static_cast<std::FILE*>(file);
        return std::fwrite(line.data(), 1, line.size(), log) == line.size() && std::fflush(log) == 0;
    } catch (const std::exception&) {
        return false;  // the log never changes what happens
    }
}

std::FILE* openLog(const std::optional<std::string>& path) {
    if (!path) return nullptr;
    std::FILE* const file = std::fopen(path->c_str(), "ae");
    if (!file)
        throw embedded_host::HostError(
            fmt::format("{}: the log cannot be written: {}", *path, std::generic_category().message(errno)));
    return file;
}

void setGdalOptions(const std::vector<std::string>& options) {
    for (const std::string& option : options) {
        const std::size_t sign = option.find('=');
        embedded_host::setGdalOption(option.substr(0, sign), option.substr(sign + 1));
    }
}

}  // namespace

void addServiceOptions(CLI::App& command, ServiceOptions& options) {
    command.add_flag("--debug-output", options.debugOutput, "show what is written to the debugger on standard error");
    command.add_option("--log", options.log, "append the diagnostic event log to this file")->type_name("FILE");
    command.add_flag("--user-site", options.userSite, "let expressions import the user's own Python packages");
    command.add_option("--config", options.gdalOptions, "a configuration option of GDAL's; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string& option) {
            const std::size_t sign = option.find('=');
            return sign == 0 || sign == std::string::npos ? "'" + option + "' is not NAME=VALUE" : "";
        })
        ->type_name("NAME=VALUE");
}

Services::Services(const ServiceOptions& options, Console& console) : log_(openLog(options.log)) {
    setGdalOptions(options.gdalOptions);
    if (!options.withoutPython) python_.emplace(embedded_host::PythonOptions{.userSitePackages = options.userSite});
    if (log_) TarnSetEventSink(writeEvent, log_.get());
    if (options.debugOutput) PlatformSetDebugSink(showDebugOutput, &console);
}

Services::~Services() {
    PlatformSetDebugSink(nullptr, nullptr);
    TarnSetEventSink(nullptr, nullptr);
}

}  // namespace cxml
