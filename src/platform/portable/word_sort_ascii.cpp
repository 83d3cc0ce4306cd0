// The word sort of ASCII texts, which nearly all are, by two tables.
#include "platform/portable/word_sort.h"

#include <array>
#include <cstdint>

namespace symbology_platform {

namespace {

constexpr std::size_t asciiUnits = 128;

/// Space and symbols before digits before letters, in this platform's one order; what is not here (the special units
/// and U+0000) is passed over.
constexpr std::string_view primaryOrder =
    " \t\n\v\f\r!\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789abcdefghijklmnopqrstuvwxyz";

constexpr bool isUpper(WCHAR unit) {
    return unit >= u'A' && unit <= u'Z';
}

constexpr std::array<std::uint8_t, asciiUnits> primaryWeights() {
    std::array<std::uint8_t, asciiUnits> weights{};
    for (std::size_t i = 0; i < primaryOrder.size(); ++i)
        weights[static_cast<unsigned char>(primaryOrder[i])] = static_cast<std::uint8_t>(i + 1);
    for (char letter = 'a'; letter <= 'z'; ++letter)
        weights[static_cast<unsigned char>(letter - 'a' + 'A')] = weights[static_cast<unsigned char>(letter)];
    return weights;
}

constexpr auto primary = primaryWeights();

/// Goes over a text's units that have a primary weight.
class AsciiCursor {
public:
    explicit AsciiCursor(TextView text) : text_(text) {}

    /// The next such unit's weight, 0 at the end or, with `leftAscii` set, before a unit beyond ASCII.
    unsigned next() {
        for (; at_ < text_.size(); ++at_) {
            if (text_[at_] >= asciiUnits) {
                leftAscii = true;
                return 0;
            }
            unit = text_[at_];
            if (const unsigned weight = primary[unit]; weight != 0) {
                ++at_;
                return weight;
            }
            skipped = true;
        }
        return 0;
    }

    WCHAR unit = 0;
    bool skipped = false;
    bool leftAscii = false;

private:
    TextView text_;
    std::size_t at_ = 0;
};

}  // namespace

std::optional<Order> compareAscii(TextView left, TextView right) {
    AsciiCursor leftCursor(left);
    AsciiCursor rightCursor(right);
    Order caseOrder = 0;
    for (;;) {
        const unsigned leftWeight = leftCursor.next();
        const unsigned rightWeight = rightCursor.next();
        if (leftCursor.leftAscii || rightCursor.leftAscii) return std::nullopt;
        if (leftWeight != rightWeight) return leftWeight < rightWeight ? -1 : 1;
        if (leftWeight == 0) break;
        if (caseOrder == 0) caseOrder = int(isUpper(leftCursor.unit)) - int(isUpper(rightCursor.unit));
    }
    if (caseOrder != 0) return caseOrder;
    return leftCursor.skipped || rightCursor.skipped ? compareSpecials(left, right) : 0;
}

}  // namespace symbology_platform
