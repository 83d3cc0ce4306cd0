// DocumentModel: a document as a check looks at it. Classes, conditions and rules of the library itself, made as
// loading makes them, with the elements they come from; other than loading it goes on after a failure and keeps what
// loading discards. Expressions are assembled and not compiled.
#pragma once

#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "cxml/expression_source.h"
#include "finding.h"
#include "source_lines.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace cxml {

struct CheckedCondition;

struct CheckedRule {
    CComPtr<IXMLDOMNode> element;
    LONG line = 0;
    std::shared_ptr<ConditionalXml::Rule> rule;  // null when the element makes none
    std::vector<CheckedCondition> nested;

    /// The rule when it is of the class; else null.
    template <class RuleClass>
    RuleClass* as() const {
        return dynamic_cast<RuleClass*>(rule.get());
    }
};

/// The Python source of a condition.
struct CheckedExpression {
    LONG line = 0;  // of the first expression element; 0 when there is none
    std::vector<ConditionalXml::ExpressionSource::Argument> arguments;
    WideString source;
    SourceLines lines;
    bool escapesResolved = false;
};

struct CheckedCondition {
    CComPtr<IXMLDOMNode> element;
    LONG line = 0;
    std::shared_ptr<ConditionalXml::Condition> condition;  // its attributes; rules and expressions are here
    bool attributesAreGood = true;
    std::vector<CheckedRule> rules;
    CheckedExpression expression;

    /// Whether loading keeps it.
    bool isKept() const;
    bool isOfExpressionType() const { return condition->type == 2; }
    /// "the condition 'BOYLAT13'" or "the condition".
    std::string title() const;
};

/// A configuration, from one element or from several that merge.
struct CheckedClass {
    using List = std::vector<const CheckedCondition*>;

    LONG line = 0;
    std::shared_ptr<ConditionalXml::FeatureClassRule> rule;
    bool isKept = true;                       // not rejected and not replaced by a later one
    std::deque<CheckedCondition> conditions;  // all, document order
    List defaults;                            // of the kept ones
    std::map<LONG, List> subtypes;            // of the kept ones, by code

    /// The default list, then those of the subtypes.
    std::vector<const List*> lists() const;
    std::string name() const;
};

/// What is wrong with the library, the classes and the subtypes is found while the document is read.
class DocumentModel {
public:
    /// \param path of the document, as the library got it.
    DocumentModel(IXMLDOMDocument* document, Findings& findings);

    const std::deque<CheckedClass>& classes() const noexcept { return classes_; }
    /// The configuration of a class with this alias name; null when there is none.
    const CheckedClass* find(const std::string& alias) const;

    /// Calls body(condition) for a condition and those nested in it, and so for every condition of the document.
    template <class Body>
    void forEachCondition(const Body& body) const {
        for (const CheckedClass& checked : classes_) forEachIn(checked.conditions, body);
    }
    template <class Body>
    static void forEachIn(const auto& conditions, const Body& body) {
        for (const CheckedCondition& condition : conditions) {
            body(condition);
            for (const CheckedRule& rule : condition.rules) forEachIn(rule.nested, body);
        }
    }

private:
    struct LibraryPiece {
        WideString text;
        Place place;
    };

    void readLibrary(IXMLDOMDocument* document);
    void addInlinePiece(IXMLDOMNode* node);
    void addFilePiece(IXMLDOMNode* node);
    void readClass(IXMLDOMNode* node);
    bool readSubtypes(IXMLDOMNode* node, CheckedClass& target);
    CheckedClass::List readConditions(IXMLDOMNode* node, CheckedClass& target);
    CheckedCondition readCondition(IXMLDOMNode* node, ConditionalXml::FeatureClassRule& owner);
    CheckedRule readRule(IXMLDOMNode* node, ConditionalXml::FeatureClassRule& owner);
    CheckedExpression readExpression(IXMLDOMNode* condition);

    Findings& findings_;
    ConditionalXml::ConditionMap map_;  // whose configurations are those of classes_
    std::map<CComBSTR, LibraryPiece, ConditionalXml::BstrLess> library_;
    std::deque<CheckedClass> classes_;
    std::map<CComBSTR, CheckedClass*, ConditionalXml::BstrLess> byKey_;
};

/// The line of an element's start tag.
LONG lineOf(IXMLDOMNode* element);
/// Calls body(node) for each node that the XPath selects; for none when the DOM fails.
template <class Body>
void forEachSelected(IXMLDOMNode* node, const OLECHAR* xpath, const Body& body) {
    const CComPtr<IXMLDOMNodeList> nodes = ConditionalXml::selectNodes(node, xpath);
    if (!nodes) return;
    ConditionalXml::forEachNode(nodes, [&](IXMLDOMNode* selected) {
        body(selected);
        return true;
    });
}
/// An attribute in UTF-8; nothing when it is absent.
std::optional<std::string> attributeOf(IXMLDOMNode* element, const OLECHAR* name);

}  // namespace cxml
