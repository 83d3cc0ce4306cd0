#include "platform/portable/dom_text.h"

#include "platform/portable/dom_tree.h"

#include <unicode/ustring.h>
#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace symbology_platform::dom {

namespace {

/// Joins pieces of text. White space at both ends goes, as far as it is in pieces that do not say otherwise.
class TextJoiner {
public:
    void add(std::string_view piece, bool keepsSpace) {
        if (piece.empty()) return;
        if (gap_ && !text_.empty()) text_ += ' ';
        gap_ = false;
        const std::size_t begin = text_.size();
        text_ += piece;
        if (!keepsSpace) return;
        firstKept_ = std::min(firstKept_, begin);
        lastKept_ = text_.size();
    }
    void addGap() { gap_ = true; }
    std::size_t size() const { return text_.size(); }

    std::string take() { return std::move(text_); }
    std::string takeTrimmed() {
        std::size_t end = text_.size();
        while (end > lastKept_ && isSpace(text_[end - 1])) --end;
        std::size_t begin = 0;
        while (begin < end && begin < firstKept_ && isSpace(text_[begin])) ++begin;
        text_.resize(end);
        text_.erase(0, begin);
        return std::move(text_);
    }

private:
    std::string text_;
    std::size_t firstKept_ = std::numeric_limits<std::size_t>::max();
    std::size_t lastKept_ = 0;
    bool gap_ = false;
};

std::int32_t sizeForIcu(std::size_t size) {
    if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) throw std::bad_alloc();
    return static_cast<std::int32_t>(size);
}

bool countsSpace(const xmlNode* text) {
    return text->type == XML_CDATA_SECTION_NODE || (text->parent && hasMark(text->parent, Mark::PreservesSpace));
}

void joinText(const xmlNode* element, TextJoiner& joiner) {
    const std::size_t sizeBefore = joiner.size();
    for (const xmlNode* child = element->children; child; child = child->next) {
        // Before an element's first text nothing is separated.
        if (hasMark(child, Mark::GapBefore) && joiner.size() > sizeBefore) joiner.addGap();
        if (child->type == XML_ELEMENT_NODE)
            joinText(child, joiner);
        else if (child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE)
            joiner.add(viewOf(child->content), countsSpace(child));
    }
    if (hasMark(element, Mark::GapAtEnd)) joiner.addGap();
}

}  // namespace

bool isSpace(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return isSpace(c); });
}

std::u16string toUtf16(std::string_view text) {
    std::u16string result(text.size(), u'\0');  // no character takes more units than bytes
    const std::int32_t capacity = sizeForIcu(text.size());
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(result.data(), capacity, &length, text.data(), capacity, 0xFFFD, nullptr, &status);
    if (U_FAILURE(status)) throw std::bad_alloc();
    result.resize(static_cast<std::size_t>(length));
    return result;
}

bool toUtf8(std::u16string_view text, std::string& result) {
    constexpr std::size_t bytesPerUnit = 3;
    result.resize(bytesPerUnit * text.size());
    std::int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(result.data(), sizeForIcu(result.size()), &length, text.data(), sizeForIcu(text.size()), &status);
    result.resize(U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
    return U_SUCCESS(status);
}

BSTR toBstr(std::u16string_view text) {
    BSTR result = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!result) throw std::bad_alloc();
    return result;
}

BSTR toBstr(std::string_view text) {
    return toBstr(toUtf16(text));
}

std::u16string_view viewOf(BSTR text) {
    return text ? std::u16string_view(text, SysStringLen(text)) : std::u16string_view();
}

std::string nodeName(const xmlNode* node) {
    switch (node->type) {
        case XML_ELEMENT_NODE:
        case XML_ATTRIBUTE_NODE:
            if (node->ns && node->ns->prefix)
                return std::string(viewOf(node->ns->prefix)).append(1, ':').append(viewOf(node->name));
            return std::string(viewOf(node->name));
        case XML_TEXT_NODE:
            return "#text";
        case XML_CDATA_SECTION_NODE:
            return "#cdata-section";
        case XML_COMMENT_NODE:
            return "#comment";
        case XML_DOCUMENT_NODE:
            return "#document";
        default:
            return std::string(viewOf(node->name));
    }
}

bool isNamed(const xmlNode* node, std::string_view name) {
    const std::string_view local = viewOf(node->name);
    if (!node->ns || !node->ns->prefix) return local == name;
    const std::string_view prefix = viewOf(node->ns->prefix);
    return name.size() == prefix.size() + 1 + local.size() && name.starts_with(prefix) && name[prefix.size()] == ':' &&
           name.ends_with(local);
}

std::string attributeValue(const xmlAttr* attribute) {
    std::string value;
    for (const xmlNode* child = attribute->children; child; child = child->next)
        if (child->type == XML_TEXT_NODE) value += viewOf(child->content);
    return value;
}

std::string nodeText(const xmlNode* node) {
    TextJoiner joiner;
    switch (node->type) {
        case XML_ELEMENT_NODE:
        case XML_DOCUMENT_NODE:
            joinText(node, joiner);
            return hasMark(node, Mark::PreservesSpace) ? joiner.take() : joiner.takeTrimmed();
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
            joiner.add(viewOf(node->content), countsSpace(node));
            return joiner.takeTrimmed();
        case XML_ATTRIBUTE_NODE:
            return attributeValue(reinterpret_cast<const xmlAttr*>(node));
        case XML_COMMENT_NODE:
        case XML_PI_NODE:
            return std::string(viewOf(node->content));
        default:
            return {};
    }
}

LONG textLine(const xmlNode* element) {
    for (const xmlNode* child = element->children; child; child = child->next) {
        if (child->type != XML_TEXT_NODE && child->type != XML_CDATA_SECTION_NODE) continue;
        const std::string_view text = viewOf(child->content);
        const auto begin =
            countsSpace(child) ? text.begin() : std::ranges::find_if_not(text, [](char c) { return isSpace(c); });
        if (begin == text.end()) continue;
        const LONG line = lineOf(child);
        return line == 0 ? 0 : line + static_cast<LONG>(std::count(text.begin(), begin, '\n'));
    }
    return 0;
}

}  // namespace symbology_platform::dom
