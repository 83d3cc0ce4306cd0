// The word sort of all other texts: ICU's collator with the rules that make its order the one of Windows.
#include "platform/portable/variant.h"
#include "platform/portable/word_sort.h"
#include "platform/portable/word_sort_rules.h"

#include <unicode/ucol.h>
#include <array>
#include <cstddef>
#include <new>

namespace symbology_platform {

namespace {

// Every combination of the NORM_ flags has its own collator: a collator's attributes are part of it.
constexpr ULONG combinations = (NORM_IGNORECASE | NORM_IGNORENONSPACE | NORM_IGNORESYMBOLS) + 1;
using Collators = std::array<UCollator*, combinations>;

void setAttributes(UCollator* collator, ULONG flags, UErrorCode& status) {
    const bool ignoreCase = (flags & NORM_IGNORECASE) != 0;
    const bool ignoreAccents = (flags & NORM_IGNORENONSPACE) != 0;
    // Accents are also equal when they are given in another order or already composed.
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(collator, UCOL_STRENGTH,
                      ignoreAccents ? UCOL_PRIMARY
                      : ignoreCase  ? UCOL_SECONDARY
                                    : UCOL_TERTIARY,
                      &status);
    ucol_setAttribute(collator, UCOL_CASE_LEVEL, ignoreAccents && !ignoreCase ? UCOL_ON : UCOL_OFF, &status);
    if ((flags & NORM_IGNORESYMBOLS) != 0) {
        ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, UCOL_SHIFTED, &status);
        ucol_setMaxVariable(collator, UCOL_REORDER_CODE_CURRENCY, &status);
    }
}

Collators openCollators() {
    Collators collators{};
    UErrorCode status = U_ZERO_ERROR;
    UCollator* const base = ucol_openRules(wordSortRules, -1, UCOL_DEFAULT, UCOL_DEFAULT_STRENGTH, nullptr, &status);
    for (ULONG flags = 0; flags < combinations; ++flags) {
        UCollator* const collator = flags == 0 ? base : ucol_clone(base, &status);
        setAttributes(collator, flags, status);
        collators[flags] = collator;
    }
    if (U_SUCCESS(status)) return collators;
    for (UCollator* const collator : collators) ucol_close(collator);
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();  // the next comparison tries again
    return {};
}

/// Opened at the first use; comparing does not change a collator, so all threads share them. They are never closed:
/// other objects that live as long as the process may still compare when it ends.
const Collators& sharedCollators() {
    static const Collators collators = openCollators();
    return collators;
}

}  // namespace

std::optional<Order> compareLinguistic(TextView left, TextView right, ULONG flags) {
    const UCollator* const collator = sharedCollators()[flags % combinations];
    if (!collator) return std::nullopt;
    return ucol_strcoll(collator, left.data(), static_cast<std::int32_t>(left.size()), right.data(),
                        static_cast<std::int32_t>(right.size()));
}

}  // namespace symbology_platform
