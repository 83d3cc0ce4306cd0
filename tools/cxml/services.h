// What the tool, as a host, provides while documents are loaded: Python, debugger output, the event log, GDAL as
// somebody wants it.
#pragma once

#include "host/python/interpreter.h"
#include "tools/reports/console.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct ServiceOptions {
    bool debugOutput = false;
    std::optional<std::string> log;
    bool userSite = false;
    std::vector<std::string> gdalOptions;  // NAME=VALUE
    bool withoutPython = false;            // no interpreter is started, and no expression runs
};

void addServiceOptions(CLI::App& command, ServiceOptions& options);

/// Construct before the first document, destroy after the last. One at a time.
class Services {
public:
    /// \param console where debugger output is shown; must outlive this.
    /// \throws embedded_host::HostError when Python cannot start or the log cannot be opened.
    Services(const ServiceOptions& options, Console& console);
    ~Services();
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, CloseFile> log_;
    std::optional<embedded_host::PythonInterpreter> python_;
};

}  // namespace cxml
