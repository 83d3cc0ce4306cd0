// The word sort of ASCII texts, which nearly all are, by two tables.
#include "platform/portable/word_sort.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace symbology_platform {

namespace {

constexpr std::size_t asciiUnits = 128;

/// Space and symbols before digits before letters, in this platform's one order; what is not here (the special units
/// and U+0000) is passed over.
constexpr std::string_view primaryOrder =
    " \t\n\v\f\r!\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789abcdefghijklmnopqrstuvwxyz";

constexpr std::array<std::uint8_t, asciiUnits> primaryWeights() {
    std::array<std::uint8_t, asciiUnits> weights{};
    for (std::size_t i = 0; i < primaryOrder.size(); ++i)
        weights[static_cast<unsigned char>(primaryOrder[i])] = static_cast<std::uint8_t>(i + 1);
    for (char letter = 'a'; letter <= 'z'; ++letter)
        weights[static_cast<unsigned char>(letter - 'a' + 'A')] = weights[static_cast<unsigned char>(letter)];
    return weights;
}

constexpr auto primary = primaryWeights();

std::size_t commonPrefix(TextView left, TextView right) {
    return static_cast<std::size_t>(std::ranges::mismatch(left, right).in1 - left.begin());
}

/// What is left of the longer text once the shorter has ended: a weight makes it the greater one.
std::optional<bool> hasWeight(TextView rest) {
    for (const WCHAR unit : rest) {
        if (unit >= asciiUnits) return std::nullopt;
        if (primary[unit] != 0) return true;
    }
    return false;
}

}  // namespace

std::optional<Order> compareAscii(TextView left, TextView right) {
    // What is common may be anything: a unit of ASCII means the same after all of them.
    const std::size_t common = commonPrefix(left, right);
    left.remove_prefix(common);
    right.remove_prefix(common);
    std::size_t leftAt = 0;
    std::size_t rightAt = 0;
    Order caseOrder = 0;
    while (leftAt < left.size() && rightAt < right.size()) {
        const WCHAR leftUnit = left[leftAt];
        const WCHAR rightUnit = right[rightAt];
        if (std::cmp_greater_equal(leftUnit | rightUnit, asciiUnits)) return std::nullopt;
        const unsigned leftWeight = primary[leftUnit];
        const unsigned rightWeight = primary[rightUnit];
        if (leftWeight != 0 && rightWeight != 0) {
            if (leftWeight != rightWeight) return leftWeight < rightWeight ? -1 : 1;
            // Small letters have the greater codes.
            if (leftUnit != rightUnit && caseOrder == 0) caseOrder = leftUnit > rightUnit ? -1 : 1;
        }
        leftAt += leftWeight == 0 || rightWeight != 0 ? 1 : 0;
        rightAt += rightWeight == 0 || leftWeight != 0 ? 1 : 0;
    }
    const auto leftGreater = hasWeight(left.substr(leftAt));
    const auto rightGreater = hasWeight(right.substr(rightAt));
    if (!leftGreater || !rightGreater) return std::nullopt;
    if (*leftGreater != *rightGreater) return *leftGreater ? 1 : -1;
    return caseOrder != 0 ? caseOrder : compareSpecials(left, right);
}

}  // namespace symbology_platform
