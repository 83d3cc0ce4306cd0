#include "platform/portable/dom_encoding.h"

#include <unicode/ucnv.h>
#include <bit>
#include <cstdint>
#include <iterator>

namespace symbology_platform::dom {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view space = " \t\r\n";

enum class Family { Bytes, Utf8, Utf16Little, Utf16Big, Utf32 };

struct Beginning {
    Family family;
    std::size_t markSize;
};

Beginning beginningOf(std::string_view start) {
    // The longer marks first: one of them begins as a shorter one does.
    if (start.starts_with("\xFF\xFE\0\0"sv) || start.starts_with("\0\0\xFE\xFF"sv)) return {Family::Utf32, 4};
    if (start.starts_with("\xEF\xBB\xBF"sv)) return {Family::Utf8, 3};
    if (start.starts_with("\xFF\xFE"sv)) return {Family::Utf16Little, 2};
    if (start.starts_with("\xFE\xFF"sv)) return {Family::Utf16Big, 2};
    if (start.starts_with("<\0\0\0"sv) || start.starts_with("\0\0\0<"sv)) return {Family::Utf32, 0};
    if (start.starts_with("<\0"sv)) return {Family::Utf16Little, 0};
    if (start.starts_with("\0<"sv)) return {Family::Utf16Big, 0};
    return {Family::Bytes, 0};
}

/// The beginning with one byte for each character; whatever is not ASCII becomes a question mark.
std::string asciiOf(std::string_view start, Family family) {
    if (family != Family::Utf16Little && family != Family::Utf16Big) return std::string(start);
    std::string text;
    const std::size_t low = family == Family::Utf16Little ? 0 : 1;
    for (std::size_t i = 0; i + 1 < start.size(); i += 2) text += start[i + 1 - low] == '\0' ? start[i + low] : '?';
    return text;
}

/// The value of the pseudo-attribute `encoding`; empty when there is no XML declaration or none in it.
std::string declaredEncoding(std::string_view text) {
    const std::size_t end = text.find("?>");
    if (!text.starts_with("<?xml") || end == std::string_view::npos) return {};
    text = text.substr(0, end);
    std::size_t at = text.find("encoding", 5);
    if (at == std::string_view::npos) return {};
    at = text.find_first_not_of(space, at + 8);
    if (at == std::string_view::npos || text[at] != '=') return {};
    at = text.find_first_not_of(space, at + 1);
    if (at == std::string_view::npos || (text[at] != '"' && text[at] != '\'')) return {};
    const std::size_t close = text.find(text[at], at + 1);
    return close == std::string_view::npos ? std::string() : std::string(text.substr(at + 1, close - at - 1));
}

/// Whether the bytes in which the declaration was found say the same in the encoding that it names.
bool readsDeclaration(UConverter* converter) {
    constexpr std::string_view bytes = "<?xml";
    constexpr std::u16string_view characters = u"<?xml";
    UChar read[8];
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t length = ucnv_toUChars(converter, read, static_cast<std::int32_t>(std::size(read)), bytes.data(),
                                              static_cast<std::int32_t>(bytes.size()), &status);
    return U_SUCCESS(status) && std::u16string_view(read, static_cast<std::size_t>(length)) == characters;
}

/// Whether the encoding can be that of a text that begins as `family` says.
bool agrees(UConverter* converter, Family family) {
    const UConverterType type = ucnv_getType(converter);
    const int smallestCharacter = ucnv_getMinCharSize(converter);
    switch (family) {
        case Family::Utf8:
            return type == UCNV_UTF8;
        case Family::Utf16Little:
            return smallestCharacter == 2 && type != UCNV_UTF16_BigEndian;
        case Family::Utf16Big:
            return smallestCharacter == 2 && type != UCNV_UTF16_LittleEndian;
        case Family::Bytes:
            return smallestCharacter == 1 && readsDeclaration(converter);
        case Family::Utf32:
            break;
    }
    return false;
}

const char* nameOf(Family family) {
    switch (family) {
        case Family::Utf16Little:
            return "UTF-16LE";
        case Family::Utf16Big:
            return "UTF-16BE";
        default:
            return "UTF-8";
    }
}

icu::LocalUConverterPointer openConverter(const std::string& name) {
    UErrorCode status = U_ZERO_ERROR;
    return icu::LocalUConverterPointer(ucnv_open(name.c_str(), &status));
}

std::string unsupported(const std::string& name) {
    return "The encoding '" + name + "' is not supported.";
}

}  // namespace

EncodingChoice detectEncoding(std::string_view start) {
    const auto [family, markSize] = beginningOf(start);
    if (family == Family::Utf32) return {{}, 0, "Text of four bytes a character is not supported."};
    const std::string declared = declaredEncoding(asciiOf(start.substr(markSize), family));
    EncodingChoice choice{nameOf(family), markSize, {}};
    if (declared.empty()) return choice;
    const icu::LocalUConverterPointer converter = openConverter(declared);
    if (converter.isNull())
        choice.failure = unsupported(declared);
    else if (!agrees(converter.getAlias(), family))
        choice.failure = "The text is not in the encoding '" + declared + "' that it declares.";
    else if (family == Family::Bytes)
        choice.name = declared;
    return choice;
}

EncodingChoice memoryEncoding(std::string_view start) {
    constexpr bool little = std::endian::native == std::endian::little;
    const std::string declared = declaredEncoding(asciiOf(start, little ? Family::Utf16Little : Family::Utf16Big));
    EncodingChoice choice{little ? "UTF-16LE" : "UTF-16BE", 0, {}};
    if (!declared.empty() && openConverter(declared).isNull()) choice.failure = unsupported(declared);
    return choice;
}

}  // namespace symbology_platform::dom
