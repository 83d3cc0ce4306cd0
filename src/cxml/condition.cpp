// Building conditions from a document, and evaluating them.
#include "cxml/condition.h"

#include "api/failures.h"
#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "cxml/expression_source.h"

#include <optional>

namespace ConditionalXml {

Condition::Condition(FeatureClassRule& owner) : conditionMap(owner.owner), featureClassRule(&owner) {}

Condition::~Condition() = default;

namespace {

/// Takes back what was appended to the document's lists while a condition was built, unless the condition is kept.
class ListRollback {
public:
    explicit ListRollback(ConditionMap& map)
        : map_(map), conditions_(map.conditions.size()), rules_(map.rules.size()) {}
    ListRollback(const ListRollback&) = delete;
    ListRollback& operator=(const ListRollback&) = delete;
    ~ListRollback() {
        if (kept_) return;
        map_.conditions.resize(conditions_);
        map_.rules.resize(rules_);
    }
    void keep() noexcept { kept_ = true; }

private:
    ConditionMap& map_;
    std::size_t conditions_;
    std::size_t rules_;
    bool kept_ = false;
};

/// Reads a placement number: a decimal point whatever the user's locale, and no comma. Nothing when it is not one.
std::optional<double> placementNumber(const CComVariant& value) {
    if (value.vt == VT_BSTR && view(value.bstrVal).find(OLESTR(',')) != WideView::npos) return std::nullopt;
    CComVariant number;
    if (FAILED(checked(VariantChangeTypeEx(&number, const_cast<CComVariant*>(&value), LOCALE_INVARIANT,
                                           VARIANT_NOUSEROVERRIDE, VT_R8))))
        return std::nullopt;
    return number.dblVal;
}

}  // namespace

std::shared_ptr<Condition> Condition::build(IXMLDOMNode* node, FeatureClassRule& owner, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    if (!attributes) return nullptr;
    ListRollback rollback(*owner.owner);
    auto condition = std::make_shared<Condition>(owner);
    if (!condition->readAttributes(attributes)) return nullptr;
    if (!condition->readRules(node, messages)) return nullptr;
    if (!condition->readExpressions(node)) return nullptr;
    rollback.keep();
    return condition;
}

bool Condition::readAttributes(IXMLDOMNamedNodeMap* attributes) {
    if (auto text = attributeText(attributes, OLESTR("rulename"))) rulename = std::move(*text);

    struct Placement {
        const OLECHAR* attribute;
        const OLECHAR* targetField;
        double Condition::* value;
    };
    static constexpr Placement placements[] = {
        {OLESTR("xoffset"), OLESTR("Xoffset_C"), &Condition::xoffset},
        {OLESTR("yoffset"), OLESTR("Yoffset_C"), &Condition::yoffset},
        {OLESTR("angle"), OLESTR("Rotate_C"), &Condition::angle},
    };
    for (const Placement& placement : placements) {
        const auto value = attributeValue(attributes, placement.attribute);
        if (!value) continue;
        featureClassRule->registerReferencedField(CComBSTR(placement.targetField));
        hasPlacement = true;
        const std::optional<double> number = placementNumber(*value);
        if (!number) return false;
        this->*placement.value = *number;
    }

    if (auto value = attributeValue(attributes, OLESTR("type"))) {
        CComVariant number;
        if (SUCCEEDED(checked(VariantChangeTypeEx(&number, &*value, 0, 0, VT_I4)))) type = number.lVal;
    }
    if (auto text = attributeText(attributes, OLESTR("field"))) field = std::move(*text);
    return true;
}

bool Condition::readRules(IXMLDOMNode* node, IGPMessages* messages) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(node, OLESTR("rule"));
    if (!nodes) return false;  // with rules unread it would match rows that it must not match
    return forEachNode(nodes, [&](IXMLDOMNode* ruleNode) {
        std::shared_ptr<Rule> rule = createRule(ruleNode, *featureClassRule, messages);
        if (!rule) {
            const std::string name = rulename.Length() == 0 ? "[unnamed] " : "'" + narrow(view(rulename)) + "' ";
            addMessage(messages, "Discarding condition " + name + "due to rule parse failure.");
            return false;
        }
        rules.push_back(rule);
        conditionMap->rules.push_back(std::move(rule));
        return true;
    });
}

bool Condition::readExpressions(IXMLDOMNode* node) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(node, OLESTR("expression"));
    if (!nodes) return false;
    ExpressionSource source;
    const bool complete = forEachNode(nodes, [&](IXMLDOMNode* expression) {
        source.addExpression(view(nodeText(expression)));
        const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(expression);
        if (!attributes) return false;
        if (const auto library = attributeText(attributes, OLESTR("library"))) {
            const auto piece = conditionMap->expressions.find(*library);
            if (piece != conditionMap->expressions.end()) source.addLibrary(view(piece->second));
        }
        return true;
    });
    if (!complete) return false;
    for (ExpressionSource::Argument& argument : source.takeArguments()) {
        CComBSTR name = makeBstr(argument.name);
        if (!argument.qualified()) featureClassRule->registerReferencedField(name);
        argumentSlots_.push_back(featureClassRule->fieldNames->intern(name));
        generateArguments.emplace_back(std::move(name), argument.isList);
    }
    expressionText = source.finish();
    compileExpression();
    return true;
}

bool Condition::evaluate(RowValueMap& rowValues, BSTR& ruleName, const Condition*& matched, IGPMessages* messages) {
    const Condition* candidate = this;
    for (const std::shared_ptr<Rule>& rule : rules) {
        if (!rule->evaluate(rowValues, messages)) return false;
        for (const std::shared_ptr<Condition>& nested : rule->nestedConditions)
            nested->evaluate(rowValues, ruleName, candidate, nullptr);
    }
    matched = candidate;
    if (rulename.Length() != 0) ruleName = rulename;
    constexpr LONG expressionType = 2;
    if (type == expressionType) generate(rowValues);
    return true;
}

}  // namespace ConditionalXml
