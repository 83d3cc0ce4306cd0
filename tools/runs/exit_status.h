// What the tool's exit status says.
#pragma once

namespace cxml {

enum class ExitStatus : int {
    Good = 0,
    Failed = 1,    // the document did not load, a layer's run failed, or check found something
    Unusable = 2,  // wrong usage, or a dataset or layer that cannot be opened or written
    Interrupted = 130,
};

/// The graver of two: it decides when several layers end differently.
constexpr ExitStatus graver(ExitStatus a, ExitStatus b) noexcept {
    return static_cast<int>(a) < static_cast<int>(b) ? b : a;
}

}  // namespace cxml
