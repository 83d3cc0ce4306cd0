#include "console.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <unistd.h>

namespace cxml {
namespace {

// A stream that cannot be written must not end a run; main() looks at standard output once, at the end.
void put(std::FILE* stream, const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stream);
}

}  // namespace

Console::Console(Bar bar) : progress_(bar == Bar::WhenTerminal && isatty(STDERR_FILENO) != 0 ? stderr : nullptr) {}

void Console::message(std::string_view source, std::string_view text) {
    if (listener_) return listener_(source, text);
    progress_.hide();
    put(stderr, fmt::format("{}: {}\n", oneLine(source), printable(text)));
}

void Console::complain(std::string_view text) {
    if (listener_) return listener_({}, text);
    progress_.hide();
    put(stderr, fmt::format("cxml: {}\n", oneLine(text)));
}

void Console::remark(std::string_view line) {
    if (listener_) return listener_({}, line);
    progress_.hide();
    put(stderr, fmt::format("{}\n", oneLine(line)));
}

void Console::result(std::string_view line) {
    if (listener_) return listener_({}, line);
    progress_.hide();
    put(stdout, fmt::format("{}\n", oneLine(line)));
    // In step with standard error, so that both read in order on one terminal.
    std::fflush(stdout);
}

}  // namespace cxml
