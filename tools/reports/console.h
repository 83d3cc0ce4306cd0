// Console: what a person at the terminal sees of a command.
#pragma once

#include "progress.h"

#include <functional>
#include <string_view>
#include <utility>

namespace cxml {

/// Standard output carries results, standard error everything else; a progress line on the same terminal is moved out
/// of the way. Texts are shown with their control characters made visible.
class Console {
public:
    enum class Bar { WhenTerminal, Never };

    explicit Console(Bar bar);

    /// A console of a process that is no command: whatever would be shown goes to `listener` and nowhere else.
    using Listener = std::function<void(std::string_view source, std::string_view text)>;  // source: "" for its own
    explicit Console(Listener listener) : listener_(std::move(listener)), progress_(nullptr) {}

    /// A text of the library as it comes, "source: text", to standard error.
    void message(std::string_view source, std::string_view text);
    /// The tool's own word, one line "cxml: text", to standard error.
    void complain(std::string_view text);
    /// One line to standard error, as it is.
    void remark(std::string_view line);
    /// One line of results to standard output.
    void result(std::string_view line);

    Progress& progress() noexcept { return progress_; }

private:
    Listener listener_;
    Progress progress_;
};

}  // namespace cxml
