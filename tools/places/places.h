// DocumentPlaces: where the conditions and rules of a loaded document were written, and by what name reviews, pins and
// reports call them.
#pragma once

#include "cxml/load_observer.h"
#include "symbology/host_interfaces.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace cxml {

/// The line of an element's start tag, from 1; 0 when it is not known.
LONG lineOf(IXMLDOMNode* element);

/// A name as a part of an address: what means something there, control characters and blanks are written %2F.
std::string addressPart(std::string_view name);

/// Filled while a document is read, used while its map lives.
///
/// The address of a condition is class/list/name: the class as the document first writes it, the subtype list's codes
/// in ascending order ("-" for the default list), the rule name. The second condition of a name in a list is name~2;
/// one without a name is @n, the n-th without a name of its list. Nested conditions count where they stand. Lines move
/// when something is written above, addresses only with conditions of the same list.
class DocumentPlaces : public ConditionalXml::LoadObserver {
public:
    using Condition = ConditionalXml::Condition;
    using Rule = ConditionalXml::Rule;
    using FeatureClassRule = ConditionalXml::FeatureClassRule;

    /// From 1; 0 for what is not of the document.
    LONG lineOf(const Condition& condition) const noexcept;
    LONG lineOf(const Rule& rule) const noexcept;
    std::string addressOf(const Condition& condition) const;
    /// The operator as written; empty without one.
    const std::string& operatorOf(const Rule& rule) const noexcept;
    /// "-" for the default list, else the codes as in the address.
    const std::string& listOf(const Condition& condition) const noexcept;
    /// The condition that it is nested in; null for one of a list.
    const Condition* outerOf(const Condition& condition) const noexcept;
    /// Ascends with the places of the start tags in the document; 0 for what is not of it.
    std::uint64_t orderOf(const Condition& condition) const noexcept;
    /// Whether nothing has to hold for the condition: it has no rules, and stands in none.
    bool isFallback(const Condition& condition) const noexcept;
    /// A named condition that no row comes to.
    struct Unused {
        std::string name;
        std::string className;
        LONG line;
        bool isDiscarded;  // by itself; else its class was replaced by a later one, or not configured
    };
    const std::vector<Unused>& unused() const noexcept { return unused_; }
    /// The conditions that runs with the class's configuration can come to, nested ones too, in the order of the
    /// document.
    std::vector<const Condition*> conditionsOf(const FeatureClassRule& rule) const;

private:
    struct Written {
        LONG line = 0;
        std::uint32_t list = 0;    // in lists_
        std::uint32_t number = 0;  // among those of its name, or without one, in its list; from 1
        std::uint32_t order = 0;   // of reading: that of the start tags in a list
        const Condition* outer = nullptr;
    };
    // One that has begun.
    struct Open {
        LONG line;
        std::uint32_t order;
        std::vector<const Condition*> nested;  // to be told their outer one
    };

    void beginClass(IXMLDOMNode* element, const CComBSTR& name, FeatureClassRule& rule) override;
    void beginSubtype(IXMLDOMNode* element, const std::optional<CComBSTR>& number,
                      const std::set<LONG>& codes) override;
    void endSubtype(const std::set<LONG>& codes, bool isKept) override;
    void beginDefaults(bool isKept) override;
    void endClass(FeatureClassRule& rule, bool isKept, const FeatureClassRule* replaced) override;
    void beginCondition(IXMLDOMNode* element) override;
    void endCondition(const std::shared_ptr<Condition>& condition, bool attributesAreGood, bool isKept) override;
    void beginRule(IXMLDOMNode* element) override;
    void onRule(const std::shared_ptr<Rule>& rule) override;

    void addUnused(const Condition& condition, bool isDiscarded);
    void beginList(std::string name);
    void endList();
    const Written* find(const Condition& condition) const noexcept;

    std::unordered_map<const Condition*, Written> conditions_;
    struct WrittenRule {
        LONG line = 0;
        std::string operatorName;
    };
    std::unordered_map<const Rule*, WrittenRule> rules_;
    std::vector<Unused> unused_;
    std::vector<std::string> lists_;  // each name once

    // What is being read.
    std::uint32_t order_ = 0;
    std::uint32_t list_ = 0;
    const FeatureClassRule* class_ = nullptr;
    std::vector<std::shared_ptr<Condition>> ended_;  // of the list, in the order of their ends
    // How many of each name the lists of a class have had: several elements may add to one.
    std::unordered_map<const FeatureClassRule*, std::unordered_map<std::string, std::uint32_t>> counts_;
    std::vector<Open> open_;
    CComPtr<IXMLDOMNode> rule_;
};

}  // namespace cxml
