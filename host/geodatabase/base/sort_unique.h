// Putting values in order, each of them once.
#pragma once

#include <algorithm>
#include <vector>

namespace embedded_host {

template <class Value>
void sortUnique(std::vector<Value>& values) {
    std::ranges::sort(values);
    // Not std::ranges::unique: clang 14 cannot read the one of GCC 12's library.
    values.erase(std::unique(values.begin(), values.end()), values.end());  // NOLINT(modernize-use-ranges)
}

}  // namespace embedded_host
