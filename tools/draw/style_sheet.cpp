#include "tools/draw/style_sheet.h"

#include <algorithm>

namespace cxml {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blank = " \t\r\n\f";
    const std::size_t first = text.find_first_not_of(blank);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blank) - first + 1);
}

// Takes what stands before the separator, and the separator, off the text; all of it where there is none.
std::string_view takeUntil(std::string_view& text, std::string_view separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + separator.size(), text.size()));
    return taken;
}

std::string withoutComments(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        result += takeUntil(text, "/*");
        takeUntil(text, "*/");
    }
    return result;
}

bool isClass(std::string_view selector) {
    return selector.starts_with('.') && selector.size() > 1 &&
           selector.find_first_of(" \t\r\n.:#>+~[*,", 1) == std::string_view::npos;
}

}  // namespace

Declarations readDeclarations(std::string_view text) {
    Declarations declarations;
    while (!text.empty()) {
        std::string_view value = takeUntil(text, ";");
        std::string property(trimmed(takeUntil(value, ":")));
        for (char& c : property)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        value = trimmed(value);
        if (!property.empty() && !value.empty()) declarations[property] = value;
    }
    return declarations;
}

std::map<std::string, Declarations> readStyleSheet(std::string_view text) {
    const std::string plain = withoutComments(text);
    std::string_view rest = plain;
    std::map<std::string, Declarations> classes;
    while (!rest.empty()) {
        std::string_view selectors = takeUntil(rest, "{");
        const Declarations declarations = readDeclarations(takeUntil(rest, "}"));
        while (!selectors.empty()) {
            const std::string_view selector = trimmed(takeUntil(selectors, ","));
            if (!isClass(selector)) continue;
            for (const auto& [property, value] : declarations)
                classes[std::string(selector.substr(1))][property] = value;
        }
    }
    return classes;
}

}  // namespace cxml
