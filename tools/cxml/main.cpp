// cxml: symbolizes datasets with CXML documents.
#include "command_line.h"
#include "interrupt.h"
#include "out_of_memory.h"
#include "tools/reports/document.h"
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

ExitStatus run(int argc, char** argv) {
    cxml::Command command;
    try {
        command = cxml::readCommandLine(argc, argv);
    } catch (const cxml::UsageError& error) {
        return complain(error.text, ExitStatus::Unusable);
    }
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
