#include "cxml/class_reader.h"

#include "cxml/condition_reader.h"
#include "cxml/dom.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

std::set<LONG> subtypeCodes(WideView text) {
    std::set<LONG> codes;
    while (!text.empty()) {
        const std::size_t comma = text.find(OLESTR(','));
        const WideView piece = text.substr(0, comma);
        CComVariant code(makeBstr(piece));
        if (!piece.empty() && SUCCEEDED(checked(VariantChangeTypeEx(&code, &code, 0, 0, VT_I4))))
            codes.insert(code.lVal);
        text = comma == WideView::npos ? WideView{} : text.substr(comma + 1);
    }
    return codes;
}

namespace {

class ClassReader {
public:
    ClassReader(FeatureClassRule& rule, const Reading& reading) : rule_(rule), reading_(reading) {}

    /// \return false at the first subtype that is refused: nothing behind it is taken.
    bool read(IXMLDOMNode* element) {
        rule_.enabled = true;
        const CComPtr<IXMLDOMNodeList> subtypes = selectNodes(element, OLESTR("subtype"));
        if (!subtypes) return false;
        isComplete_ = forEachNode(subtypes,
                                  [&](IXMLDOMNode* subtype) {
                                      isComplete_ = readSubtype(subtype) && isComplete_;
                                      return isComplete_ || reading_.goesOn;
                                  }) &&
                      isComplete_;
        if (!isComplete_ && !reading_.goesOn) return false;
        reading_.tell(&LoadObserver::beginDefaults, isComplete_);
        ConditionList read = readConditions(element);
        if (isComplete_) append(rule_.defaultConditions, read);
        return isComplete_;
    }

private:
    using ConditionList = FeatureClassRule::ConditionList;

    static void append(ConditionList& target, const ConditionList& more) {
        target.insert(target.end(), more.begin(), more.end());
    }

    bool readSubtype(IXMLDOMNode* element) {
        const std::optional<CComBSTR> number = attributeText(element, OLESTR("number"));
        if (!number && !reading_.goesOn) return false;
        const std::set<LONG> codes = number ? subtypeCodes(view(*number)) : std::set<LONG>();
        reading_.tell(&LoadObserver::beginSubtype, element, number, codes);
        const ConditionList read = readConditions(element);
        const bool isKept = number && isComplete_;
        if (isKept)
            for (const LONG code : codes) append(rule_.subtypeConditions[code], read);
        reading_.tell(&LoadObserver::endSubtype, codes, isKept);
        return number.has_value();
    }

    /// The conditions of the element that are kept. The document lists them, too, when the class takes them.
    ConditionList readConditions(IXMLDOMNode* element) {
        ConditionList read;
        const CComPtr<IXMLDOMNodeList> nodes = selectNodes(element, OLESTR("condition"));
        if (!nodes) return read;
        forEachNode(nodes, [&](IXMLDOMNode* node) {
            if (auto condition = readCondition(node, rule_, reading_)) {
                if (isComplete_) rule_.owner->conditions.push_back(condition);
                read.push_back(std::move(condition));
            }
            return true;
        });
        return read;
    }

    FeatureClassRule& rule_;
    const Reading& reading_;
    bool isComplete_ = true;  // so far
};

}  // namespace

std::shared_ptr<FeatureClassRule> readFeatureClass(IXMLDOMNode* element, ConditionMap& map, const Reading& reading) {
    const std::optional<CComBSTR> name = attributeText(element, OLESTR("name"));
    if (!name) {
        reading.tell(&LoadObserver::onUnnamedClass, element);
        return nullptr;
    }
    // The keys are upper-case: only a name that is written so is found here and added to.
    if (auto existing = map.find(*name)) {
        reading.tell(&LoadObserver::beginClass, element, *name, *existing);
        ClassReader(*existing, reading).read(element);
        reading.tell(&LoadObserver::endClass, *existing, true, nullptr);
        return existing;
    }
    auto created = map.addClass();
    reading.tell(&LoadObserver::beginClass, element, *name, *created);
    const bool isKept = ClassReader(*created, reading).read(element);
    std::shared_ptr<FeatureClassRule> replaced;
    if (isKept) {
        created->name = *name;
        std::shared_ptr<FeatureClassRule>& place = map.featureClassRules[upperCased(*name)];
        replaced = std::exchange(place, created);
    }
    reading.tell(&LoadObserver::endClass, *created, isKept, replaced.get());
    return isKept ? created : nullptr;
}

}  // namespace ConditionalXml
