#include "tools/lookups/attribute_test.h"

#include "tools/s57/catalogue.h"
#include "tools/text/xml_text.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>

namespace cxml {
namespace {

constexpr std::size_t acronymLength = 6;

bool isOfAcronyms(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '$';
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view space = " \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(space), text.size());
    const std::size_t end = text.find_last_not_of(space);
    return end == std::string_view::npos ? std::string_view() : text.substr(begin, end + 1 - begin);
}

bool isNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// Imported cells have numbers for codes and measures, texts for lists and all else; nothing of what is not S-57's.
std::optional<bool> holdsNumbers(const AttributeTest& test) {
    const S57Attribute* const attribute = S57Catalogue::installed().findAttribute(test.field);
    if (!attribute) return std::nullopt;
    return attribute->type == 'E' || attribute->type == 'I' || attribute->type == 'F';
}

// As an operand that means the text to the letter.
std::string operandOf(const std::string& value) {
    const bool meansAnother = value.starts_with('\'') || value == "NULL" || value == "null";
    return meansAnother ? '\'' + value + '\'' : value;
}

}  // namespace

std::optional<AttributeTest> readAttributeTest(std::string_view text) {
    if (text.size() < acronymLength || !std::ranges::all_of(text.substr(0, acronymLength), isOfAcronyms))
        return std::nullopt;
    AttributeTest test;
    test.field = text.substr(0, acronymLength);
    const std::string_view value = trimmed(text.substr(acronymLength));
    if (value == "?") {
        test.kind = AttributeTest::Kind::NoValue;
    } else if (!value.empty()) {
        test.kind = AttributeTest::Kind::Value;
        test.value = value;
    }
    return test;
}

bool mayHave(std::string_view className, std::string_view field) {
    const S57Class* const ofClass = S57Catalogue::installed().findClass(className);
    const S57Attribute* const attribute = S57Catalogue::installed().findAttribute(field);
    return !ofClass || !attribute || ofClass->has(*attribute);
}

bool canHold(const AttributeTest& test, std::string_view className) {
    if (test.kind != AttributeTest::Kind::NoValue && !mayHave(className, test.field)) return false;
    return test.kind != AttributeTest::Kind::Value || !holdsNumbers(test).value_or(false) || isNumber(test.value);
}

std::string ruleOf(const AttributeTest& test, int indent) {
    const std::string margin(static_cast<std::size_t>(indent), ' ');
    const std::string field = xmlText(test.field);
    if (test.kind == AttributeTest::Kind::Value)
        return fmt::format("{}<rule type=\"A\" field=\"{}\" operator=\"equal\" value=\"{}\"/>\n", margin, field,
                           xmlText(operandOf(test.value)));
    const char* const operatorName = test.kind == AttributeTest::Kind::NoValue ? "equal" : "notequal";
    // A field of numbers has no empty text.
    if (holdsNumbers(test).value_or(false))
        return fmt::format("{}<rule type=\"A\" field=\"{}\" operator=\"{}\" value=\"NULL\"/>\n", margin, field,
                           operatorName);
    return fmt::format(
        "{0}<rule type=\"A\" field=\"{1}\" operator=\"{2}\">\n{0}  <value>NULL</value>\n{0}  <value/>\n{0}</rule>\n",
        margin, field, operatorName);
}

}  // namespace cxml
