// Texts of nodes, and between libxml2's UTF-8 and the interfaces' UTF-16.
#pragma once

#include "platform/portable/bstr.h"

#include <libxml/tree.h>
#include <string>
#include <string_view>

namespace symbology_platform::dom {

inline std::string_view viewOf(const xmlChar* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}
/// The characters that the parser calls white space.
inline bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
/// Whether there is nothing else in the text.
bool isSpace(std::string_view text);

/// Bytes that are not UTF-8 become U+FFFD.
std::u16string toUtf16(std::string_view text);
/// False when there is a lone surrogate.
bool toUtf8(std::u16string_view text, std::string& result);
/// The caller owns the result, which is never null. Throws std::bad_alloc.
BSTR toBstr(std::string_view text);
BSTR toBstr(std::u16string_view text);
/// Null counts as empty.
std::u16string_view viewOf(BSTR text);

/// The name with its prefix, or the one that the DOM gives to nodes without.
std::string nodeName(const xmlNode* node);
/// Whether nodeName(node) is `name`, for elements and attributes.
bool isNamed(const xmlNode* node, std::string_view name);

std::string attributeValue(const xmlAttr* attribute);
/// The text of the node and its descendants. Where white space does not count, it is trimmed, and one space stands for
/// what was dropped after a text and between tags; CDATA sections are taken as they are.
std::string nodeText(const xmlNode* node);
/// The line in which the element's own text begins, as nodeText() gives it; 0 when unknown or when there is none.
LONG textLine(const xmlNode* element);

}  // namespace symbology_platform::dom
