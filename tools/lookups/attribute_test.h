// What a row of a look-up table asks of an attribute.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace cxml {

struct AttributeTest {
    enum class Kind : std::uint8_t {
        Value,  // exactly this value; of a list these codes, in this order
        AnyValue,
        NoValue
    };

    std::string field;  // the attribute's acronym
    Kind kind = Kind::AnyValue;
    std::string value;  // of Kind::Value

    auto operator<=>(const AttributeTest&) const = default;
};

/// "COLOUR3,4,3", "ORIENT " (any value; the blank may be lost), "DRVAL1?" (no value). Nothing when it does not begin
/// with an acronym of six letters, digits, underscores and dollar signs.
std::optional<AttributeTest> readAttributeTest(std::string_view text);

/// Whether imported objects of a class may have an attribute: true unless S-57 has both and says otherwise.
bool mayHave(std::string_view className, std::string_view field);

/// Whether the test may ever hold for imported objects of the class: no field of numbers has another text, and what
/// the class does not have has no value.
bool canHold(const AttributeTest& test, std::string_view className);

/// The rule of a condition, as lines of a document whose first one stands `indent` blanks from the margin.
std::string ruleOf(const AttributeTest& test, int indent);

}  // namespace cxml
