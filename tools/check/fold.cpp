#include "fold.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>
#include <tuple>

namespace cxml {
namespace {

template <std::size_t Count>
bool isOneOf(const std::array<std::string_view, Count>& kinds, const std::string& kind) {
    return std::ranges::find(kinds, kind) != kinds.end();
}

// Said of an element that lacks something, which may stand there under a misspelled name.
bool saysSomethingIsMissing(const Finding& finding) {
    static constexpr std::array<std::string_view, 13> kinds{
        "rule-discarded",   "unreachable",      "never-holds",        "always-replaced",     "class-unnamed",
        "subtype-number",   "query-incomplete", "library-unnamed",    "param-without-value", "fetch-field-incomplete",
        "between-operands", "generate-missing", "type2-without-field"};
    return isOneOf(kinds, finding.kind);
}

// Said of what is in an element that is not what was written, or behind it.
bool saysSomethingIsLost(const Finding& finding) {
    static constexpr std::array<std::string_view, 8> kinds{"unread-attribute", "unread-element", "condition-discarded",
                                                           "unreachable",      "never-holds",    "always-replaced",
                                                           "generate-missing", "python-name"};
    return isOneOf(kinds, finding.kind) && !finding.isMisspelling;
}

class Folding {
public:
    explicit Folding(std::vector<Finding> findings) : findings_(std::move(findings)), folded_(findings_.size()) {
        for (std::size_t i = 0; i < findings_.size(); ++i)
            for (const Spot& spot : findings_[i].within)
                if (spot.line != 0) byElement_[spot].push_back(i);
    }

    std::vector<Finding> run() {
        for (std::size_t i = 0; i < findings_.size(); ++i)
            if (findings_[i].isMisspelling) takeMissing(i);
        for (std::size_t i = 0; i < findings_.size(); ++i)
            if (!folded_[i]) takeLost(i);
        return gather();
    }

private:
    // A misspelled child lacks in its parent, a misspelled attribute in its element.
    void takeMissing(std::size_t cause) {
        const Finding& finding = findings_[cause];
        const bool isElement = finding.kind == "unread-element";
        if (finding.within.size() <= (isElement ? 1U : 0U)) return;
        const Spot element = finding.within[isElement ? 1 : 0];
        for (const std::size_t other : byElement_[element])
            if (findings_[other].within.front() == element && saysSomethingIsMissing(findings_[other]))
                take(cause, other);
    }

    void takeLost(std::size_t cause) {
        for (std::size_t i = 0; i < findings_[cause].spoils.size(); ++i)
            for (const std::size_t other : byElement_[findings_[cause].spoils[i]])
                if (saysSomethingIsLost(findings_[other])) take(cause, other);
    }

    void take(std::size_t cause, std::size_t other) {
        if (cause == other || folded_[other]) return;
        folded_[other] = true;
        Finding& finding = findings_[cause];
        Finding& taken = findings_[other];
        finding.follows.push_back({taken.place, taken.kind, taken.text});
        finding.severity = std::max(finding.severity, taken.severity);
        finding.spoils.insert(finding.spoils.end(), taken.spoils.begin(), taken.spoils.end());
        std::ranges::move(taken.follows, std::back_inserter(finding.follows));
    }

    // The same slip again and again is one mistake.
    std::vector<Finding> gather() {
        std::vector<Finding> result;
        std::map<std::tuple<std::string, std::string, std::string>, std::size_t> first;
        for (std::size_t i = 0; i < findings_.size(); ++i) {
            if (folded_[i]) continue;
            Finding& finding = findings_[i];
            if (finding.kind == "unread-attribute" || finding.kind == "unread-element") {
                const auto [known, isNew] =
                    first.try_emplace({finding.kind, finding.text, finding.help}, result.size());
                if (!isNew) {
                    Finding& earlier = result[known->second];
                    earlier.alsoAt.push_back(finding.place);
                    earlier.severity = std::max(earlier.severity, finding.severity);
                    std::ranges::move(finding.follows, std::back_inserter(earlier.follows));
                    continue;
                }
            }
            result.push_back(std::move(finding));
        }
        return result;
    }

    std::vector<Finding> findings_;
    std::vector<bool> folded_;
    std::map<Spot, std::vector<std::size_t>> byElement_;
};

}  // namespace

std::vector<Finding> fold(std::vector<Finding> findings) {
    return Folding(std::move(findings)).run();
}

}  // namespace cxml
