// Symbols that nobody has a picture of.
#include "checks.h"
#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>

namespace cxml {

void checkSymbols(const DocumentModel& model, const CheckedSymbols& symbols, Findings& findings) {
    std::map<std::string, Finding*> missing;  // by name; one that is written again and again is one mistake
    model.forEachCondition([&](const CheckedCondition& checked) {
        if (!checked.isKept || checked.condition->rulename.Length() == 0) return;
        const std::string name = toUtf8(checked.condition->rulename);
        if (std::ranges::binary_search(symbols.names, name)) return;
        const Spot at = attributeSpot(checked.element, OLESTR("rulename"));
        const auto [known, isNew] = missing.try_emplace(name);
        if (!isNew) {
            known->second->alsoAt.push_back({findings.document(), at.line, at.column});
            return;
        }
        Finding& finding =
            findings.add(at, "symbol-without-picture",
                         fmt::format("{} has no picture of the symbol '{}'", symbols.folder, oneLine(name)));
        finding.help = suggestion(name, symbols.names, {});
        finding.within = {checked.at};
        known->second = &finding;
    });
}

}  // namespace cxml
