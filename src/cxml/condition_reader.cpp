#include "cxml/condition_reader.h"

#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "cxml/rule_reader.h"
#include "cxml/target_fields.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

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

/// \return false at the first rule that the element does not make: the condition is discarded.
bool readRules(Condition& condition, IXMLDOMNode* element, const Reading& reading) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(element, OLESTR("rule"));
    if (!nodes) return false;  // with rules unread it would match rows that it must not match
    bool isComplete = true;
    const bool isRead = forEachNode(nodes, [&](IXMLDOMNode* ruleElement) {
        if (std::shared_ptr<Rule> rule = readRule(ruleElement, *condition.featureClassRule, reading)) {
            condition.rules.push_back(rule);
            condition.conditionMap->rules.push_back(std::move(rule));
            return true;
        }
        if (isComplete) {
            const CComBSTR& name = condition.rulename;
            addMessage(reading.messages, "Discarding condition " +
                                             (name.Length() == 0 ? "[unnamed] " : "'" + narrow(view(name)) + "' ") +
                                             "due to rule parse failure.");
        }
        isComplete = false;
        return reading.goesOn;
    });
    return isRead && isComplete;
}

}  // namespace

std::shared_ptr<Condition> readCondition(IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    if (!attributes) return nullptr;
    reading.tell(&LoadObserver::beginCondition, element);
    ListRollback rollback(*owner.owner);
    auto condition = std::make_shared<Condition>(owner);
    const bool attributesAreGood = readAttributes(*condition, attributes);
    bool isKept = attributesAreGood;
    if (isKept || reading.goesOn) isKept = readRules(*condition, element, reading) && isKept;
    if (isKept || reading.goesOn) isKept = readExpressions(*condition, element, reading) && isKept;
    if (isKept) rollback.keep();
    reading.tell(&LoadObserver::endCondition, condition, attributesAreGood, isKept);
    return isKept ? condition : nullptr;
}

bool readAttributes(Condition& condition, IXMLDOMNamedNodeMap* attributes) {
    if (auto text = attributeText(attributes, OLESTR("rulename"))) condition.rulename = std::move(*text);

    for (const Placement& placement : placements) {
        const auto value = attributeValue(attributes, placement.attribute);
        if (!value) continue;
        condition.featureClassRule->registerReferencedField(CComBSTR(placement.field));
        condition.hasPlacement = true;
        const std::optional<double> number = placementNumber(*value);
        if (!number) return false;
        condition.*placement.value = *number;
    }

    if (auto value = attributeValue(attributes, OLESTR("type"))) {
        CComVariant number;
        if (SUCCEEDED(checked(VariantChangeTypeEx(&number, &*value, 0, 0, VT_I4)))) condition.type = number.lVal;
    }
    if (auto text = attributeText(attributes, OLESTR("field"))) condition.field = std::move(*text);
    return true;
}

bool readExpressions(Condition& condition, IXMLDOMNode* element, const Reading& reading) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(element, OLESTR("expression"));
    if (!nodes) return false;
    ExpressionSource source;
    bool isEmpty = true;
    const bool isComplete = forEachNode(nodes, [&](IXMLDOMNode* expression) {
        isEmpty = false;
        const CComBSTR text = nodeText(expression);
        source.addExpression(view(text));
        const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(expression);
        if (!attributes) return false;
        const std::optional<CComBSTR> library = attributeText(attributes, OLESTR("library"));
        std::optional<WideView> piece;
        if (library) {
            const auto known = condition.conditionMap->expressions.find(*library);
            if (known != condition.conditionMap->expressions.end()) piece = view(known->second);
            if (piece) source.addLibrary(*piece);
        }
        reading.tell(&LoadObserver::onExpression, expression, view(text), library, piece);
        return true;
    });
    if (!isComplete) return false;
    const std::vector<ExpressionSource::Argument> arguments = source.takeArguments();
    for (const ExpressionSource::Argument& argument : arguments)
        condition.addArgument(makeBstr(argument.name), argument.isList, argument.qualified());
    const bool escapesResolved = source.mentionsGenerate();
    condition.expressionText = source.finish();
    if (!isEmpty)
        reading.tell(&LoadObserver::onExpressionSource, arguments, WideView(condition.expressionText), escapesResolved);
    reading.compile(condition);
    return true;
}

}  // namespace ConditionalXml
