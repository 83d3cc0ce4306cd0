// cxml: symbolizes datasets with CXML documents.
#include "commands.h"
#include "document.h"
#include "interrupt.h"
#include "out_of_memory.h"
#include "tools/text/text.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

namespace {

using cxml::ExitStatus;

ExitStatus complain(const std::string& text, ExitStatus status) {
    const std::string line = fmt::format("cxml: {}\n", cxml::oneLine(text));
    std::fwrite(line.data(), 1, line.size(), stderr);
    return status;
}

// Standard output is looked at once, here: a full disk under it must not pass for success.
ExitStatus withOutputWritten(ExitStatus status) {
    std::cout.flush();
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good()) return status;
    return complain("standard output cannot be written", cxml::graver(status, ExitStatus::Unusable));
}

// The parser takes an argument "[A,B]" for a list of two. With a zero behind it, which no argument of a program can
// have, it is one name.
void parse(CLI::App& app, int argc, char** argv) {
    const auto unmarked = [](std::string text) {
        while (!text.empty() && text.back() == '\0') text.pop_back();
        return text;
    };
    const auto all = [](const CLI::App*) { return true; };
    for (CLI::App* command : app.get_subcommands(all)) {
        for (CLI::Option* option : command->get_options()) option->transform(unmarked);
        for (CLI::App* inner : command->get_subcommands(all))
            for (CLI::Option* option : inner->get_options()) option->transform(unmarked);
    }
    std::vector<std::string> arguments;  // the last one first
    for (int i = argc - 1; i > 0; --i) {
        std::string& argument = arguments.emplace_back(argv[i]);
        if (argument.starts_with('[') && argument.ends_with(']')) argument += '\0';
    }
    app.parse(std::move(arguments));
}

ExitStatus run(int argc, char** argv) {
    CLI::App app("Symbolizes nautical chart datasets with CXML documents.", "cxml");
    app.set_version_flag("--version", "cxml " CXML_VERSION);
    app.require_subcommand(0, 1);  // none is refused below, in better words
    app.footer(
        "'cxml COMMAND --help' tells more.\n"
        "Exit status: 0 all well; 1 the document did not load or a layer's run failed; 2 wrong usage, or a dataset or\n"
        "layer that cannot be opened or written; 130 interrupted.");
    cxml::Command command;
    cxml::addImport(app, command);
    cxml::addSymbolize(app, command);
    cxml::addReset(app, command);
    cxml::addExplain(app, command);
    cxml::addLedger(app, command);
    cxml::addDiff(app, command);
    cxml::addCheck(app, command);
    cxml::addDraw(app, command);
    cxml::addSymbols(app, command);
    try {
        parse(app, argc, argv);
    } catch (const CLI::Success& e) {  // help and version
        app.exit(e);
        return ExitStatus::Good;
    } catch (const CLI::ParseError& e) {
        return complain(fmt::format("{} (see 'cxml --help')", cxml::oneLine(e.what())), ExitStatus::Unusable);
    }
    if (!command)
        return complain(
            "a command is missing: import, symbolize, explain, ledger, diff, reset, check, draw or symbols (see 'cxml "
            "--help')",
            ExitStatus::Unusable);
    cxml::installSignalHandlers();
    return command();
}

}  // namespace

int main(int argc, char** argv) {
    ExitStatus status = ExitStatus::Failed;
    try {
        cxml::installLastResorts();
        status = cxml::orEndOutOfMemory([&] { return withOutputWritten(run(argc, argv)); });
    } catch (const CAtlException& e) {
        complain(cxml::describe(e), status);
    } catch (const std::exception& e) {
        complain(e.what(), status);
    }
    cxml::sayGoodbye(status);
    return static_cast<int>(status);
}
