// The last level of the word sort: hyphens, apostrophes and control characters.
#include "platform/portable/word_sort.h"

#include <unicode/uchar.h>

namespace symbology_platform {

namespace {

/// The special units beyond the control characters, the least first. word_sort_rules.h has ICU ignore the same ones.
constexpr TextView specialOrder =
    u"'\uFF07\u07F4\u07F5-\uFF0D\uFE63\u2212\u208B\u207B\u2010\u058A\u2011\u2027\u2043"
    u"\u2012\u2013\uFE32\u2014\uFE58\uFE31\u2015\u301C\u3030";

/// 0 for a unit that is not special.
unsigned specialWeight(WCHAR unit) {
    constexpr unsigned deleteCharacter = 0x7F;
    if (unit < u' ') return unit >= u'\t' && unit <= u'\r' ? 0 : unit;
    if (unit == deleteCharacter) return deleteCharacter;
    if (unit < 0x80 && unit != u'\'' && unit != u'-') return 0;
    const std::size_t place = specialOrder.find(unit);
    return place == TextView::npos ? 0 : deleteCharacter + 1 + static_cast<unsigned>(place);
}

/// How many letters a unit that is not special counts as, where its place in the text matters.
unsigned lettersIn(WCHAR unit) {
    constexpr WCHAR zeroWidthSpace = 0x200B;  // a space like others, whatever Unicode says
    if (unit == 0) return 0;
    if (unit < 0x80 || unit == zeroWidthSpace) return 1;
    constexpr TextView doubles = u"\u00DF\u00E6\u00C6\u0153\u0152\u0133\u0132\u00FE\u00DE\uFB00\uFB01\uFB02\uFB06";
    constexpr TextView triples = u"\uFB03\uFB04";
    if (doubles.find(unit) != TextView::npos) return 2;
    if (triples.find(unit) != TextView::npos) return 3;
    constexpr auto ignored = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
    return (U_GET_GC_MASK(unit) & ignored) != 0 ? 0 : 1;
}

/// Goes from special unit to special unit.
class SpecialCursor {
public:
    explicit SpecialCursor(TextView text) : text_(text) {}

    /// The next one's weight, 0 at the end; `letters` then stand before it.
    unsigned next() {
        while (at_ < text_.size()) {
            const WCHAR unit = text_[at_++];
            if (const unsigned weight = specialWeight(unit); weight != 0) return weight;
            letters += lettersIn(unit);
        }
        return 0;
    }

    std::size_t letters = 0;

private:
    TextView text_;
    std::size_t at_ = 0;
};

}  // namespace

Order compareSpecials(TextView left, TextView right) {
    SpecialCursor leftCursor(left);
    SpecialCursor rightCursor(right);
    for (;;) {
        const unsigned leftWeight = leftCursor.next();
        const unsigned rightWeight = rightCursor.next();
        if (leftWeight == 0 || rightWeight == 0) return int(leftWeight != 0) - int(rightWeight != 0);
        if (leftCursor.letters != rightCursor.letters) return leftCursor.letters < rightCursor.letters ? 1 : -1;
        if (leftWeight != rightWeight) return leftWeight < rightWeight ? -1 : 1;
    }
}

}  // namespace symbology_platform
