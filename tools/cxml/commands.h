// The subcommands, one file each.
#pragma once

#include "tools/runs/exit_status.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace cxml {

/// What the command line asks for; set while it is parsed.
using Command = std::function<ExitStatus()>;

void addInit(CLI::App& app, Command& chosen);
void addImport(CLI::App& app, Command& chosen);
void addSymbolize(CLI::App& app, Command& chosen);
void addExplain(CLI::App& app, Command& chosen);
void addLedger(CLI::App& app, Command& chosen);
void addDiff(CLI::App& app, Command& chosen);
void addCoverage(CLI::App& app, Command& chosen);
void addReport(CLI::App& app, Command& chosen);
void addTest(CLI::App& app, Command& chosen);
void addPin(CLI::App& app, Command& chosen);
void addReset(CLI::App& app, Command& chosen);
void addCheck(CLI::App& app, Command& chosen);
void addFmt(CLI::App& app, Command& chosen);
void addSchema(CLI::App& app, Command& chosen);
void addDraw(CLI::App& app, Command& chosen);
void addLookups(CLI::App& app, Command& chosen);
void addStyle(CLI::App& app, Command& chosen);
void addSymbols(CLI::App& app, Command& chosen);

}  // namespace cxml
