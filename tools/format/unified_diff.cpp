#include "unified_diff.h"

#include <fmt/format.h>
#include <algorithm>
#include <vector>

namespace cxml {
namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t contextLines = 3;
constexpr std::ptrdiff_t mostChanges = 2000;  // that are told apart; the memory for it grows with the square

// With their ends, so that a last line without one differs from the same with one.
Lines linesOf(std::string_view text) {
    Lines lines;
    while (!text.empty()) {
        const std::size_t at = text.find('\n');
        const std::size_t end = at == std::string_view::npos ? text.size() : at + 1;
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end);
    }
    return lines;
}

// The fewest lines to remove and add that make one list of the other, by E. W. Myers' greedy algorithm: how far one
// comes on each diagonal with so many changes. The steps are ' ', '-' and '+'.
class Steps {
public:
    Steps(const Lines& before, const Lines& after) : before_(before), after_(after) {
        while (first_ < std::min(before.size(), after.size()) && before[first_] == after[first_]) ++first_;
        std::size_t last = 0;
        while (last < std::min(before.size(), after.size()) - first_ &&
               before[before.size() - 1 - last] == after[after.size() - 1 - last])
            ++last;
        removable_ = static_cast<std::ptrdiff_t>(before.size() - first_ - last);
        addable_ = static_cast<std::ptrdiff_t>(after.size() - first_ - last);
        last_ = last;
    }

    std::string find() {
        std::string steps(first_, ' ');
        steps += search() ? path()
                          : std::string(static_cast<std::size_t>(removable_), '-') +
                                std::string(static_cast<std::size_t>(addable_), '+');
        return steps.append(last_, ' ');
    }

private:
    using Reach = std::vector<std::ptrdiff_t>;  // by diagonal, from -changes to changes

    bool areSame(std::ptrdiff_t x, std::ptrdiff_t y) const {
        return before_[first_ + static_cast<std::size_t>(x)] == after_[first_ + static_cast<std::size_t>(y)];
    }

    // Where the step to the diagonal begins, on one of its neighbours.
    static std::ptrdiff_t from(const Reach& reach, std::ptrdiff_t changes, std::ptrdiff_t diagonal) {
        const auto at = [&](std::ptrdiff_t k) { return reach[static_cast<std::size_t>(k + changes - 1)]; };
        const bool isAdded = diagonal == -changes || (diagonal != changes && at(diagonal - 1) < at(diagonal + 1));
        return isAdded ? diagonal + 1 : diagonal - 1;
    }

    bool search() {
        for (std::ptrdiff_t changes = 0; changes <= std::min(removable_ + addable_, mostChanges); ++changes) {
            Reach& reach = reaches_.emplace_back(static_cast<std::size_t>(2 * changes + 1), 0);
            for (std::ptrdiff_t diagonal = -changes; diagonal <= changes; diagonal += 2) {
                std::ptrdiff_t x = 0;
                if (changes > 0) {
                    const Reach& earlier = reaches_[static_cast<std::size_t>(changes - 1)];
                    const std::ptrdiff_t origin = from(earlier, changes, diagonal);
                    x = earlier[static_cast<std::size_t>(origin + changes - 1)] + (origin < diagonal ? 1 : 0);
                }
                while (x < removable_ && x - diagonal < addable_ && areSame(x, x - diagonal)) ++x;
                reach[static_cast<std::size_t>(diagonal + changes)] = x;
                if (x >= removable_ && x - diagonal >= addable_) return true;
            }
        }
        return false;
    }

    // Back from the end.
    std::string path() const {
        std::string steps;
        std::ptrdiff_t x = removable_;
        std::ptrdiff_t y = addable_;
        for (auto changes = static_cast<std::ptrdiff_t>(reaches_.size()) - 1; changes > 0; --changes) {
            const Reach& earlier = reaches_[static_cast<std::size_t>(changes - 1)];
            const std::ptrdiff_t origin = from(earlier, changes, x - y);
            const std::ptrdiff_t begin = earlier[static_cast<std::size_t>(origin + changes - 1)];
            const bool isRemoved = origin < x - y;
            const std::ptrdiff_t behind = begin + (isRemoved ? 1 : 0);
            steps.append(static_cast<std::size_t>(x - behind), ' ');
            steps += isRemoved ? '-' : '+';
            x = begin;
            y = begin - origin;
        }
        steps.append(static_cast<std::size_t>(x), ' ');
        std::ranges::reverse(steps);
        return steps;
    }

    const Lines& before_;
    const Lines& after_;
    std::size_t first_ = 0;  // lines that are the same at the beginning
    std::size_t last_ = 0;   // and at the end
    std::ptrdiff_t removable_ = 0;
    std::ptrdiff_t addable_ = 0;
    std::vector<Reach> reaches_;
};

void addLine(std::string& text, char mark, std::string_view line) {
    text += mark;
    text += line;
    if (!line.ends_with('\n')) text += "\n\\ No newline at end of file\n";
}

// Where the change around a step, with its context, ends: where more steps keep their lines than two contexts have.
std::size_t endOfHunk(std::string_view steps, std::size_t at) {
    std::size_t end = at;
    for (std::size_t i = at; i < steps.size() && i <= end + 2 * contextLines + 1; ++i)
        if (steps[i] != ' ') end = i;
    return std::min(end + 1 + contextLines, steps.size());
}

}  // namespace

std::string unifiedDiff(std::string_view before, std::string_view after, const std::string& name) {
    if (before == after) return {};
    const Lines removed = linesOf(before);
    const Lines added = linesOf(after);
    const std::string steps = Steps(removed, added).find();
    std::string text = fmt::format("--- a/{0}\n+++ b/{0}\n", name);
    std::size_t x = 0;
    std::size_t y = 0;
    for (std::size_t i = 0; i < steps.size();) {
        const std::size_t change = std::min(steps.find_first_not_of(' ', i), steps.size());
        const std::size_t begin = std::max(i, change - std::min(change, contextLines));
        x += begin - i;
        y += begin - i;
        i = begin;
        if (change == steps.size()) break;
        const std::size_t end = endOfHunk(steps, change);
        const auto without = [&](char mark) {
            return end - begin - static_cast<std::size_t>(std::ranges::count(steps.substr(begin, end - begin), mark));
        };
        const std::size_t xs = without('+');
        const std::size_t ys = without('-');
        // A range without lines begins behind the line before it.
        text += fmt::format("@@ -{},{} +{},{} @@\n", x + (xs > 0 ? 1 : 0), xs, y + (ys > 0 ? 1 : 0), ys);
        while (i < end) {
            if (steps[i] == ' ') {
                addLine(text, ' ', removed[x++]);
                ++y;
                ++i;
                continue;
            }
            // What goes, then what comes.
            const std::size_t last = std::min(steps.find(' ', i), end);
            for (std::size_t step = i; step < last; ++step)
                if (steps[step] == '-') addLine(text, '-', removed[x++]);
            for (; i < last; ++i)
                if (steps[i] == '+') addLine(text, '+', added[y++]);
        }
    }
    return text;
}

}  // namespace cxml
