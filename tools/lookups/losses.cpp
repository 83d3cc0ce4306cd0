#include "tools/lookups/losses.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <array>

namespace cxml {
namespace {

constexpr std::array kinds{
    LossKindText{LossKind::RowForm, "row-form", "rows that cannot be read"},
    LossKindText{LossKind::AttributeForm, "attribute-form", "rows with an attribute test that cannot be read"},
    LossKindText{LossKind::InstructionForm, "instruction-form",
                 "parts of instructions that cannot be read, or are not closed once"},
    LossKindText{LossKind::DefaultClass, "default-class", "rows for objects of classes that have no rows"},
    LossKindText{LossKind::ClassName, "class-name", "rows of a class that differs from another in small letters only"},
    LossKindText{LossKind::NeverWins, "never-wins", "rows that an earlier one with the same tests takes the place of"},
    LossKindText{LossKind::NeverHolds, "never-holds", "rows that ask for what no object of the class has"},
    LossKindText{LossKind::NoSymbol, "no-symbol", "rows whose instruction names no symbol"},
    LossKindText{LossKind::Procedure, "procedure", "conditional procedures"},
    LossKindText{LossKind::FurtherSymbol, "further-symbol", "symbols, lines and fills beside the one that is named"},
    LossKindText{LossKind::Rotation, "rotation", "rotations by what is neither a number nor an attribute"},
    LossKindText{LossKind::Text, "text", "texts beside the first, and those that no expression can be made of"},
    LossKindText{LossKind::TextFormat, "text-format", "places, fonts and colours of texts"},
    LossKindText{LossKind::Display, "display", "display priorities, radar priorities and categories"},
};

std::string textOf(const Loss& loss) {
    return fmt::format("{} {}{}", nameOf(loss.kind), loss.what,
                       loss.replacement.empty() ? std::string() : fmt::format(" [see {}]", loss.replacement));
}

}  // namespace

std::span<const LossKindText> lossKinds() noexcept {
    return kinds;
}

std::string_view nameOf(LossKind kind) noexcept {
    return std::ranges::find(kinds, kind, &LossKindText::kind)->name;
}

std::string lineOf(const RowReport& report) {
    std::vector<std::string> head{report.className};
    if (!report.primitive.empty()) head.push_back(report.primitive);
    head.insert(head.end(), report.attributes.begin(), report.attributes.end());
    std::vector<std::string> losses;
    losses.reserve(report.losses.size());
    for (const Loss& loss : report.losses) losses.push_back(textOf(loss));
    const std::string_view symbol = report.symbol.empty() ? "no symbol" : std::string_view(report.symbol);
    return fmt::format("{} -> {}: {}", fmt::join(head, " "), report.isCarried ? symbol : "not carried over",
                       fmt::join(losses, "; "));
}

}  // namespace cxml
