#include "operand_state.h"

#include "text/text.h"

namespace cxml {

using ConditionalXml::CXAttributeRule;

OperandState::OperandState(const ConditionalXml::ConditionMap& map) {
    for (const auto& rule : map.rules)
        if (auto* const attribute = dynamic_cast<CXAttributeRule*>(rule.get()); attribute && !attribute->values.empty())
            all_.push_back({attribute, attribute->values});
}

void OperandState::restore() {
    const auto isSame = [](const VARIANT& now, const VARIANT& then) {
        return now.vt == then.vt &&
               (now.vt != VT_BSTR || ConditionalXml::view(now.bstrVal) == ConditionalXml::view(then.bstrVal));
    };
    for (Saved& saved : all_)
        for (std::size_t i = 0; i < saved.operands.size(); ++i)
            if (!isSame(saved.rule->values[i], saved.operands[i])) saved.rule->values[i] = saved.operands[i];
}

}  // namespace cxml
