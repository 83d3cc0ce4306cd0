#include "similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <numeric>
#include <vector>

namespace cxml {
namespace {

constexpr std::size_t mostEdits = 2;

}  // namespace

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before(b.size() + 1);  // the row above the last one
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] = std::min({last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1), last[j] + 1, row[j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before.swap(last);
        last.swap(row);
    }
    return last.back();
}

bool areSimilar(std::string_view written, std::string_view name) {
    const std::string wanted = lowerAscii(written);
    const std::string known = lowerAscii(name);
    return wanted == known || editDistance(wanted, known) <= std::min(mostEdits, wanted.size() / 2);
}

std::string mostSimilar(std::string_view written, std::span<const std::string> names) {
    std::string best;
    std::size_t fewest = mostEdits + 1;
    for (const std::string& name : names) {
        if (!areSimilar(written, name)) continue;
        const std::size_t edits = editDistance(lowerAscii(written), lowerAscii(name));
        if (edits < fewest) {
            best = name;
            fewest = edits;
        }
    }
    return best;
}

std::string suggestion(std::string_view written, std::span<const std::string> names, std::string_view otherwise) {
    constexpr std::size_t longestList = 20;
    const std::string meant = mostSimilar(written, names);
    if (!meant.empty()) return fmt::format("did you mean '{}'?", meant);
    if (names.empty()) return {};
    const std::size_t count = std::min(names.size(), longestList);
    std::string text = fmt::format("{}{}", otherwise, fmt::join(names.first(count), ", "));
    if (names.size() > count) text += fmt::format(" and {} more", names.size() - count);
    return text;
}

}  // namespace cxml
