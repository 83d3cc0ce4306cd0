// What of a look-up table does not come into a rule document, row by row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

enum class LossKind : std::uint8_t {
    RowForm,
    AttributeForm,
    InstructionForm,
    DefaultClass,
    ClassName,
    NeverWins,
    NeverHolds,
    NoSymbol,
    Procedure,
    FurtherSymbol,
    Rotation,
    Text,
    TextFormat,
    Display
};

struct LossKindText {
    LossKind kind;
    std::string_view name;     // "further-symbol"
    std::string_view meaning;  // for people
};

/// All kinds, in the order in which they are counted.
std::span<const LossKindText> lossKinds() noexcept;
std::string_view nameOf(LossKind kind) noexcept;

struct Loss {
    LossKind kind;
    std::string what;         // as it is written in the table, or why
    std::string replacement;  // the document that does the same, of a procedure; empty when there is none
};

/// A row, what it became, and what it lost on the way.
struct RowReport {
    std::size_t number = 0;  // of the row in the tables' file
    long line = 0;           // where it stands there
    std::string className;
    std::string primitive;  // "point"; empty of a row that could not be read
    std::vector<std::string> attributes;
    bool isCarried = false;
    std::string symbol;  // of its condition; may be empty
    std::vector<Loss> losses;
};

/// One line: "BOYLAT point CATLAM1 -> MARKAA06: further-symbol SY(MARKAA07); ..."
std::string lineOf(const RowReport& report);

}  // namespace cxml
