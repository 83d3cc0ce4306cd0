// The kinds of findings: how grave they are, and what they are about.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace cxml {

enum class Severity : std::uint8_t {
    Note,     // worth knowing
    Warning,  // likely not what was meant
    Error     // no row can behave as written
};

/// "note", "warning" or "error".
const char* nameOf(Severity severity) noexcept;

struct Kind {
    const char* name;
    Severity severity;
    const char* summary;  // a sentence: what was found
    const char* help;     // a sentence: the way out
};

/// All of them, by name.
std::span<const Kind> allKinds() noexcept;
/// Null when there is none of the name.
const Kind* findKind(std::string_view name) noexcept;

}  // namespace cxml
