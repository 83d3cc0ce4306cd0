// The parts of the linguistic comparison ("word sort"): letters decide first, then accents, then case; hyphens,
// apostrophes and control characters, the special units, count only between texts that are equal without them.
#pragma once

#include "platform/portable/types.h"

#include <optional>
#include <string_view>

namespace symbology_platform {

using TextView = std::basic_string_view<WCHAR>;

/// An order as the sign of a number: negative, zero, positive.
using Order = int;

/// Decides as far as ASCII reaches, without ICU; nothing when a unit beyond ASCII was met before the decision.
/// Whatever it decides is what compareSpecials after compareLinguistic would.
std::optional<Order> compareAscii(TextView left, TextView right);

/// Letters, accents and case by ICU, special units left out; NORM_ flags as VarBstrCmp takes them. Any thread.
/// Nothing when ICU's data cannot be opened. \throws std::bad_alloc when there is no memory to open it.
std::optional<Order> compareLinguistic(TextView left, TextView right, ULONG flags);

/// Between texts that are equal but for special units: they are compared pair by pair. One that stands earlier makes
/// its text the greater, at the same place the unit decides, and a text that has no more is the lesser.
Order compareSpecials(TextView left, TextView right);

}  // namespace symbology_platform
