#include "platform/portable/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>
#include <utility>

namespace ole {

namespace {

constexpr long largestExponent = 100000;

bool isDigit(char16_t unit) {
    return unit >= u'0' && unit <= u'9';
}

/// The value of a digit in base 8 or 16; -1 for anything else.
int patternDigit(char16_t unit, unsigned base) {
    int value = -1;
    if (isDigit(unit)) value = unit - u'0';
    if (unit >= u'a' && unit <= u'f') value = unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'F') value = unit - u'A' + 10;
    return std::cmp_less(value, base) ? value : -1;
}

/// Takes a text apart from left to right: signs, currency and parenthesis, the number, what may follow it.
class NumberReader {
public:
    NumberReader(std::u16string_view text, LCID locale, NumberText& number)
        : text_(text.substr(0, text.find(u'\0'))),
          currency_(locale == LOCALE_INVARIANT ? u'\u00A4' : u'$'),
          number_(number) {}

    HRESULT read() {
        readPrefix();
        const bool found = next() == u'&' ? readPattern() : readDecimal();
        if (!found) return DISP_E_TYPEMISMATCH;
        readSuffix();
        if (at_ != text_.size() || opened_ != closed_) return DISP_E_TYPEMISMATCH;
        number_.negative = !number_.isPattern && (minus_ || opened_);
        return S_OK;
    }

private:
    char16_t next() const { return at_ < text_.size() ? text_[at_] : u'\0'; }
    bool take(char16_t unit) {
        if (next() != unit || unit == u'\0') return false;
        ++at_;
        return true;
    }
    /// Takes what may stand once only.
    bool takeOnce(char16_t unit, bool& seen) {
        if (seen || !take(unit)) return false;
        seen = true;
        return true;
    }
    bool takeBlank() {
        if (at_ == text_.size() || !isBlank(next())) return false;
        ++at_;
        return true;
    }

    void readPrefix() {
        while (takeBlank() || takeOnce(u'+', plus_) || takeOnce(u'-', minus_) || takeOnce(currency_, currencySeen_) ||
               takeOnce(u'(', opened_)) {
        }
        leadingPlus_ = plus_;
        leadingMinus_ = minus_;
    }

    void readSuffix() {
        // A sign may stand before or after the number. Behind it the platform is not strict about repetitions.
        while (takeBlank() || (!number_.isPattern && take(u',')) || (!leadingPlus_ && take(u'+')) ||
               takeTrailingMinus() || take(currency_) || (opened_ && takeOnce(u')', closed_))) {
        }
    }
    bool takeTrailingMinus() {
        if (leadingMinus_ || !take(u'-')) return false;
        minus_ = true;
        return true;
    }

    bool readPattern() {
        ++at_;
        const unsigned base = take(u'H') || take(u'h') ? 16 : (take(u'O') || take(u'o')) ? 8 : 0;
        if (base == 0) return false;
        number_.isPattern = true;
        const std::size_t first = at_;
        for (; patternDigit(next(), base) >= 0; ++at_) {
            if (number_.pattern > UINT64_MAX / base) number_.patternTooLong = true;
            number_.pattern = number_.pattern * base + static_cast<unsigned>(patternDigit(next(), base));
        }
        return at_ != first;
    }

    bool readDecimal() {
        bool point = false;
        bool anyDigit = false;
        for (; at_ < text_.size(); ++at_) {
            const char16_t unit = next();
            if (isDigit(unit)) {
                anyDigit = true;
                addDigit(static_cast<char>(unit), point);
            } else if (unit == u'.' && !point) {
                point = true;
            } else if (unit != u',' || !(anyDigit || point)) {
                break;
            }
        }
        if (!anyDigit || !readExponent()) return false;
        trim();
        return true;
    }

    void addDigit(char digit, bool afterPoint) {
        if (afterPoint) --number_.exponent;
        if (number_.digitCount == 0 && digit == '0') return;
        if (number_.digitCount < NumberText::maxDigits) {
            number_.digits[number_.digitCount++] = digit;
        } else {
            // Beyond the last place kept only the size counts, and whether anything but zero stood there.
            ++number_.exponent;
            if (digit != '0') number_.digits[NumberText::maxDigits - 1] = '1';
        }
    }

    /// \return false when an exponent begins and does not end.
    bool readExponent() {
        // An amount of money has none. The letter of Fortran and of the older Basics is understood too.
        if (currencySeen_) return true;
        if (!take(u'e') && !take(u'E') && !take(u'd') && !take(u'D')) return true;
        const bool negative = take(u'-');
        if (!negative) take(u'+');
        if (!isDigit(next())) return false;
        long exponent = 0;
        for (; isDigit(next()); ++at_) exponent = std::min(exponent * 10 + (next() - u'0'), largestExponent);
        number_.exponent += negative ? -exponent : exponent;
        return true;
    }

    void trim() {
        while (number_.digitCount > 0 && number_.digits[number_.digitCount - 1] == '0') {
            --number_.digitCount;
            ++number_.exponent;
        }
        if (number_.digitCount == 0) number_.exponent = 0;
    }

    std::u16string_view text_;
    std::size_t at_ = 0;
    char16_t currency_;
    bool plus_ = false;
    bool minus_ = false;
    bool leadingPlus_ = false;
    bool leadingMinus_ = false;
    bool currencySeen_ = false;
    bool opened_ = false;
    bool closed_ = false;
    NumberText& number_;
};

/// Of a pattern only what fits 32 bits with sign is a real.
HRESULT realOfPattern(const NumberText& number, double& value) {
    constexpr std::uint64_t signBit = 0x80000000U;
    if (number.patternTooLong || number.pattern > signBit) return DISP_E_OVERFLOW;
    value = static_cast<double>(number.pattern);
    if (number.pattern == signBit) value = -value;
    return S_OK;
}

/// Whether the value lies exactly between two numbers of so many significant digits.
bool isTie(double value, int significantDigits) {
    char buffer[64];
    // The shortest form tells at once that almost no value does.
    const char* end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific).ptr;
    const std::string_view shortest(buffer, static_cast<std::size_t>(end - buffer));
    const std::size_t mantissa = shortest.find('e');
    const std::size_t next = (value < 0 ? 2U : 1U) + static_cast<std::size_t>(significantDigits);
    if (mantissa != next + 1 || shortest[next] != '5') return false;
    constexpr int further = 24;
    end =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::scientific, significantDigits + further)
            .ptr;
    const std::string_view exact(buffer, static_cast<std::size_t>(end - buffer));
    return exact[next] == '5' && exact.substr(next + 1, further).find_first_not_of('0') == std::string_view::npos;
}

/// Writes a number below one without its exponent, when so many decimal places show all of its digits.
bool addSmall(ShortText& text, std::string_view mantissa, std::string_view exponent, int places) {
    if (exponent.front() != '-') return false;
    int zeros = 0;
    std::from_chars(exponent.data() + 1, exponent.data() + exponent.size(), zeros);
    const bool negative = mantissa.front() == '-';
    if (negative) mantissa.remove_prefix(1);
    const int digits = static_cast<int>(mantissa.size()) - (mantissa.size() > 1 ? 1 : 0);
    if (zeros >= places || zeros + digits - 1 > places) return false;
    text.add(negative ? "-0." : "0.");
    for (; zeros > 1; --zeros) text.add('0');
    text.add(mantissa.substr(0, 1));
    if (mantissa.size() > 1) text.add(mantissa.substr(2));
    return true;
}

}  // namespace

HRESULT readNumber(std::u16string_view text, LCID locale, NumberText& number) {
    return NumberReader(text, locale, number).read();
}

HRESULT realOf(const NumberText& number, double& value) {
    if (number.isPattern) return realOfPattern(number, value);
    double magnitude = 0;
    if (number.digitCount > 0) {
        char buffer[NumberText::maxDigits + 32];
        std::memcpy(buffer, number.digits, number.digitCount);
        char* end = buffer + number.digitCount;
        *end++ = 'e';
        end = std::to_chars(end, buffer + sizeof buffer, number.exponent).ptr;
        const auto [rest, error] = std::from_chars(buffer, end, magnitude);
        if (error == std::errc::result_out_of_range) {
            if (number.exponent + static_cast<long>(number.digitCount) > 0) return DISP_E_OVERFLOW;
            magnitude = 0;
        }
    }
    value = number.negative ? -magnitude : magnitude;
    return S_OK;
}

bool scaledMagnitudeOf(const NumberText& number, unsigned scale, UInt128& magnitude) {
    magnitude = 0;
    if (number.digitCount == 0) return true;
    // Negative when the number is less than a tenth: then it rounds to nothing.
    const long whole = static_cast<long>(number.digitCount) + number.exponent + static_cast<long>(scale);
    if (whole > 38) return false;
    if (whole < 0) return true;
    const auto wholeDigits = static_cast<unsigned>(whole);
    for (unsigned i = 0; i < wholeDigits; ++i)
        magnitude = magnitude * 10 + static_cast<unsigned>(i < number.digitCount ? number.digits[i] - '0' : 0);
    if (wholeDigits < number.digitCount) {
        const char first = number.digits[wholeDigits];
        const bool more = wholeDigits + 1 < number.digitCount;
        if (first > '5' || (first == '5' && (more || (magnitude & 1) != 0))) ++magnitude;
    }
    return true;
}

ShortText textOfInteger(std::int64_t value) {
    char buffer[24];
    ShortText text;
    text.add({buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr});
    return text;
}

ShortText textOfInteger(std::uint64_t value) {
    char buffer[24];
    ShortText text;
    text.add({buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr});
    return text;
}

ShortText textOfReal(double value, int significantDigits) {
    ShortText text;
    if (std::isnan(value)) {
        text.add(std::signbit(value) ? "-1.#IND" : "1.#QNAN");
        return text;
    }
    if (std::isinf(value)) {
        text.add(value < 0 ? "-1.#INF" : "1.#INF");
        return text;
    }
    // A tie goes away from zero.
    if (isTie(value, significantDigits)) value = std::nextafter(value, value < 0 ? -HUGE_VAL : HUGE_VAL);
    char buffer[48];
    // Adding zero takes the sign from a negative zero.
    char* end =
        std::to_chars(buffer, buffer + sizeof buffer, value + 0.0, std::chars_format::general, significantDigits).ptr;
    char* const exponent = std::find(buffer, end, 'e');
    if (exponent == end || !addSmall(text, {buffer, exponent}, {exponent + 1, end}, significantDigits)) {
        std::replace(buffer, end, 'e', 'E');
        text.add({buffer, end});
    }
    return text;
}

ShortText textOfDecimal(UInt128 magnitude, unsigned scale, bool negative) {
    for (; scale > 0 && magnitude % 10 == 0; --scale) magnitude /= 10;
    char buffer[48];
    char* const end = buffer + sizeof buffer;
    char* first = end;
    for (unsigned place = 0; magnitude != 0 || place <= scale; ++place) {
        if (place == scale && scale > 0) *--first = '.';
        *--first = static_cast<char>('0' + static_cast<int>(magnitude % 10));
        magnitude /= 10;
    }
    ShortText text;
    if (negative) text.add('-');
    text.add({first, end});
    return text;
}

bool isBlank(char16_t unit) {
    return (unit >= 0x09 && unit <= 0x0D) || unit == 0x20 || unit == 0x85 || unit == 0xA0 || unit == 0x1680 ||
           (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 || unit == 0x202F || unit == 0x205F ||
           unit == 0x3000;
}

}  // namespace ole
