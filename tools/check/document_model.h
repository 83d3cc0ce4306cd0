// DocumentModel: a document as a check looks at it: classes, conditions and rules as the library's own reader makes
// them, with the elements they come from, and what the reader refuses or discards. Expressions are assembled and not
// compiled.
#pragma once

#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "cxml/load_observer.h"
#include "finding.h"
#include "source_lines.h"
#include "tools/places/places.h"

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace cxml {

struct CheckedCondition;

struct CheckedRule {
    CComPtr<IXMLDOMNode> element;
    Spot at;
    Spot condition;                              // the one that it is a rule of
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
    Spot at;  // of the first expression element; without a line when there is none
    std::vector<ConditionalXml::ExpressionSource::Argument> arguments;
    WideString source;
    SourceLines lines;
    bool escapesResolved = false;
};

struct CheckedCondition {
    CComPtr<IXMLDOMNode> element;
    Spot at;
    std::shared_ptr<ConditionalXml::Condition> condition;  // as far as it could be read
    bool attributesAreGood = true;
    bool isKept = true;  // by loading
    std::vector<CheckedRule> rules;
    CheckedExpression expression;

    /// "the condition 'BOYLAT13'" or "the condition".
    std::string title() const;
};

/// A configuration, from one element or from several that merge.
struct CheckedClass {
    using List = std::vector<const CheckedCondition*>;

    Spot at;
    std::string name;                         // as written
    bool isKept = true;                       // not rejected and not replaced by a later one
    std::deque<CheckedCondition> conditions;  // all, document order
    List defaults;                            // of the kept ones
    std::map<LONG, List> subtypes;            // of the kept ones, by code
    std::optional<Spot> firstSubtype;         // its element, kept or not

    /// The default list, then those of the subtypes.
    std::vector<const List*> lists() const;
};

/// What is wrong with the library, the classes and the subtypes is found while the document is read.
class DocumentModel : private ConditionalXml::LoadObserver {
public:
    /// \param findings has the path of the document, as the library got it.
    DocumentModel(IXMLDOMDocument* document, Findings& findings);
    DocumentModel(const DocumentModel&) = delete;
    DocumentModel& operator=(const DocumentModel&) = delete;

    const std::deque<CheckedClass>& classes() const noexcept { return classes_; }
    /// The configuration of a class with this alias name; null when there is none.
    const CheckedClass* find(const std::string& alias) const;
    /// The names of the library's pieces.
    std::vector<std::string> pieceNames() const;

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
    // The source of a library piece, and where it begins.
    struct Piece {
        WideString text;
        Place place;   // of the text
        Spot element;  // its name
    };

    void onLibraryPiece(IXMLDOMNode* element, const ConditionalXml::LibraryPiece& piece) override;
    void onUnnamedClass(IXMLDOMNode* element) override;
    void beginClass(IXMLDOMNode* element, const CComBSTR& name, ConditionalXml::FeatureClassRule& rule) override;
    void endClass(ConditionalXml::FeatureClassRule& rule, bool isKept,
                  const ConditionalXml::FeatureClassRule* replaced) override;
    void beginSubtype(IXMLDOMNode* element, const std::optional<CComBSTR>& number,
                      const std::set<LONG>& codes) override;
    void endSubtype(const std::set<LONG>& codes, bool isKept) override;
    void beginDefaults(bool isKept) override;
    void beginCondition(IXMLDOMNode* element) override;
    void endCondition(const std::shared_ptr<ConditionalXml::Condition>& condition, bool attributesAreGood,
                      bool isKept) override;
    void beginRule(IXMLDOMNode* element) override;
    void onRule(const std::shared_ptr<ConditionalXml::Rule>& rule) override;
    void endRule() override;
    void onExpression(IXMLDOMNode* element, WideView text, const std::optional<CComBSTR>& library,
                      const std::optional<WideView>& piece) override;
    void onExpressionSource(const std::vector<ConditionalXml::ExpressionSource::Argument>& arguments, WideView source,
                            bool escapesResolved) override;

    std::string folder() const;
    void findDuplicate(IXMLDOMNode* element, const ConditionalXml::LibraryPiece& piece);

    Findings& findings_;
    ConditionalXml::ConditionMap map_;
    std::map<CComBSTR, Piece, ConditionalXml::BstrLess> library_;
    std::deque<CheckedClass> classes_;
    std::map<const ConditionalXml::FeatureClassRule*, CheckedClass*> byRule_;

    // What is being read: the class, its conditions that belong to one list, and what is nested in each other.
    CheckedClass* class_ = nullptr;
    Spot element_;  // of the class
    CheckedClass::List list_;
    bool defaultsAreKept_ = true;
    std::vector<CheckedCondition> openConditions_;
    std::vector<CheckedRule> openRules_;
};

/// Where an element's start tag or an attribute begins.
Spot spotOf(IXMLDOMNode* node);
/// Where an attribute of the element begins; the element when it has none of the name.
Spot attributeSpot(IXMLDOMNode* element, const OLECHAR* name);
/// Where an operand of a rule is written: the attribute, or the n-th <value>.
Spot operandSpot(const CheckedRule& rule, std::size_t index);
/// What a trace lists, in the order of the document; that does not count as reading.
std::vector<CComPtr<IXMLDOMNode>> listed(INodeTrace* trace,
                                         HRESULT (STDMETHODCALLTYPE INodeTrace::*list)(IXMLDOMNodeList**));
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
