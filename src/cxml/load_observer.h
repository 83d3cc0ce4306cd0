// LoadObserver: who wants to know what a document holds and what becomes of it.
#pragma once

#include "cxml/expression_file.h"
#include "cxml/expression_source.h"

#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace ConditionalXml {

class Condition;
class FeatureClassRule;
class Rule;

/// A piece of the function library.
struct LibraryPiece {
    std::optional<CComBSTR> name;    // without one the document does not load
    CComBSTR text;                   // of an inline piece its source, else the path as written
    const ExpressionFile* file;      // what reading the file gave; null for an inline piece
    bool isTaken;                    // an earlier piece has the name: a file may not take it
    std::optional<WideView> source;  // what expressions get; nothing when the piece is refused
};

/// Is told of each element that is read, in document order, with what it became, while a document is read; of what is
/// refused or discarded only where reading goes on there. References are good for the call; objects may be kept.
class LoadObserver {
public:
    virtual ~LoadObserver() = default;

    virtual void onLibraryPiece(IXMLDOMNode* /*element*/, const LibraryPiece& /*piece*/) {}

    /// A `featureClass` without a name.
    virtual void onUnnamedClass(IXMLDOMNode* /*element*/) {}
    /// \param rule a new one, or the earlier one that the element adds to.
    virtual void beginClass(IXMLDOMNode* /*element*/, const CComBSTR& /*name*/, FeatureClassRule& /*rule*/) {}
    /// \param isKept whether rows can get the rule. \param replaced the earlier one whose place it takes, or null.
    virtual void endClass(FeatureClassRule& /*rule*/, bool /*isKept*/, const FeatureClassRule* /*replaced*/) {}

    /// \param number as written; without one the class takes nothing more of its element.
    virtual void beginSubtype(IXMLDOMNode* /*element*/, const std::optional<CComBSTR>& /*number*/,
                              const std::set<LONG>& /*codes*/) {}
    /// \param isKept whether its conditions are in the lists of the codes.
    virtual void endSubtype(const std::set<LONG>& /*codes*/, bool /*isKept*/) {}
    /// Before the conditions of the class itself. \param isKept whether they will be in its default list.
    virtual void beginDefaults(bool /*isKept*/) {}

    /// Nested ones too, inside their rule.
    virtual void beginCondition(IXMLDOMNode* /*element*/) {}
    /// \param attributesAreGood whether its placement could be read. \param isKept false when it is discarded: what the
    ///        condition holds then is what could be read of it.
    virtual void endCondition(const std::shared_ptr<Condition>& /*condition*/, bool /*attributesAreGood*/,
                              bool /*isKept*/) {}

    virtual void beginRule(IXMLDOMNode* /*element*/) {}
    /// Before its nested conditions. \param rule null when the element makes none.
    virtual void onRule(const std::shared_ptr<Rule>& /*rule*/) {}
    virtual void endRule() {}

    /// \param library the name that its attribute gives, if any. \param piece the library's piece of that name, or
    /// null.
    virtual void onExpression(IXMLDOMNode* /*element*/, WideView /*text*/, const std::optional<CComBSTR>& /*library*/,
                              const std::optional<WideView>& /*piece*/) {}
    /// When a condition has any. \param escapesResolved whether backslash pairs in the source were.
    virtual void onExpressionSource(const std::vector<ExpressionSource::Argument>& /*arguments*/, WideView /*source*/,
                                    bool /*escapesResolved*/) {}
};

}  // namespace ConditionalXml
