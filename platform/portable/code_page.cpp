// UTF-8 to UTF-16 and back, with the counts and failures of the Windows converters.
#include "platform/portable/nls.h"

#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr char32_t replacement = 0xFFFD;
constexpr char32_t invalid = 0xFFFFFFFF;

bool isUtf8(UINT codePage) {
    return codePage == CP_ACP || codePage == CP_THREAD_ACP || codePage == CP_UTF8;
}

bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

/// Writes into a target that may end too early, or only counts when the target has no size.
template <class Unit>
class Output {
public:
    Output(Unit* target, int size)
        : target_(size > 0 ? target : nullptr), limit_(size > 0 ? size : std::numeric_limits<int>::max()) {}

    /// False when the target is full, or the count more than can be told.
    bool put(Unit unit) {
        if (count_ == limit_) return false;
        if (target_) target_[count_] = unit;
        ++count_;
        return true;
    }
    int count() const { return count_; }

private:
    Unit* target_;
    int limit_;
    int count_ = 0;
};

/// How a lead byte's sequence goes on.
struct Sequence {
    int trailing;             // continuation bytes, 0 for a byte that starts nothing
    unsigned char secondMin;  // the second byte's range keeps out overlong forms, surrogates and
    unsigned char secondMax;  // what is beyond U+10FFFF
};

Sequence sequenceOf(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return {1, 0x80, 0xBF};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return {2, 0x80, 0xBF};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return {3, 0x80, 0xBF};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {0, 0, 0};
}

/// Takes one character off the front of `bytes`; `invalid` for a piece that begins none. As on Windows such a piece
/// ends before the first byte that is no continuation, or after the second byte when that is the wrong one.
char32_t takeCharacter(std::string_view& bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    bytes.remove_prefix(1);
    if (lead < 0x80) return lead;
    Sequence sequence = sequenceOf(lead);
    if (sequence.trailing == 0) return invalid;
    char32_t character = lead & (0x3FU >> sequence.trailing);
    for (int i = 0; i < sequence.trailing; ++i) {
        if (bytes.empty()) return invalid;
        const auto next = static_cast<unsigned char>(bytes.front());
        if ((next & 0xC0U) != 0x80U) return invalid;
        bytes.remove_prefix(1);
        if (next < sequence.secondMin || next > sequence.secondMax) return invalid;
        character = character << 6U | (next & 0x3FU);
        sequence.secondMin = 0x80;
        sequence.secondMax = 0xBF;
    }
    return character;
}

bool putUtf16(Output<WCHAR>& output, char32_t character) {
    if (character < 0x10000) return output.put(static_cast<WCHAR>(character));
    const char32_t offset = character - 0x10000;
    return output.put(static_cast<WCHAR>(0xD800 + (offset >> 10U))) &&
           output.put(static_cast<WCHAR>(0xDC00 + (offset & 0x3FFU)));
}

/// Takes one character off the front of `units`; `invalid` for half a surrogate pair.
char32_t takeCharacter(std::u16string_view& units) {
    const char32_t first = units.front();
    units.remove_prefix(1);
    if (isLowSurrogate(first)) return invalid;
    if (!isHighSurrogate(first)) return first;
    if (units.empty() || !isLowSurrogate(units.front())) return invalid;
    const char32_t character = 0x10000 + ((first - 0xD800) << 10U) + (units.front() - 0xDC00U);
    units.remove_prefix(1);
    return character;
}

bool putUtf8(Output<char>& output, char32_t character) {
    const auto put = [&](char32_t byte) { return output.put(static_cast<char>(byte)); };
    const auto trail = [&](unsigned shift) { return put(0x80U | (character >> shift & 0x3FU)); };
    if (character < 0x80) return put(character);
    if (character < 0x800) return put(0xC0U | character >> 6U) && trail(0);
    if (character < 0x10000) return put(0xE0U | character >> 12U) && trail(6) && trail(0);
    return put(0xF0U | character >> 18U) && trail(12) && trail(6) && trail(0);
}

/// Both directions: character by character until the source or the target ends.
template <class View, class Unit>
int convert(View source, Output<Unit> output, bool strict, bool (*put)(Output<Unit>&, char32_t)) {
    while (!source.empty()) {
        char32_t character = takeCharacter(source);
        if (character == invalid) {
            if (strict) return 0;
            character = replacement;
        }
        if (!put(output, character)) return 0;
    }
    return output.count();
}

}  // namespace

int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceBytes, LPWSTR target, int targetUnits) {
    if (!isUtf8(codePage) || (flags & ~MB_ERR_INVALID_CHARS) != 0) return 0;
    if (!source || sourceBytes == 0 || targetUnits < 0 || (targetUnits > 0 && !target)) return 0;
    const std::string_view bytes(source,
                                 sourceBytes < 0 ? std::strlen(source) + 1 : static_cast<std::size_t>(sourceBytes));
    return convert(bytes, Output<WCHAR>(target, targetUnits), (flags & MB_ERR_INVALID_CHARS) != 0, putUtf16);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceUnits, LPSTR target, int targetBytes,
                        LPCSTR defaultChar,
                        LPBOOL usedDefault) {  // NOLINT(readability-non-const-parameter): Windows' own signature
    if (!isUtf8(codePage) || (flags & ~WC_ERR_INVALID_CHARS) != 0 || defaultChar || usedDefault) return 0;
    if (!source || sourceUnits == 0 || targetBytes < 0 || (targetBytes > 0 && !target)) return 0;
    const std::size_t length = sourceUnits < 0 ? std::char_traits<WCHAR>::length(source) + 1 : std::size_t(sourceUnits);
    const std::u16string_view units(source, length);
    return convert(units, Output<char>(target, targetBytes), (flags & WC_ERR_INVALID_CHARS) != 0, putUtf8);
}
