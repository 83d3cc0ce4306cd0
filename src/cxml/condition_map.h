// ConditionMap: one loaded CXML document.
#pragma once

#include "cxml/feature_class_rule.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace ConditionalXml {

/// Loaded once, then only read, until its last holder lets it go.
class ConditionMap {
public:
    ConditionMap();
    ~ConditionMap();
    ConditionMap(const ConditionMap&) = delete;
    ConditionMap& operator=(const ConditionMap&) = delete;

    /// Loads the function library and the feature classes of `document`, which was read from `path`.
    /// \return false when loading ended early; the reasons that are reported go to `messages` (may be null) as errors.
    ///         What was loaded so far stays.
    /// \throws std::runtime_error when a library file takes a name that is taken.
    bool load(BSTR path, IXMLDOMDocument* document, IGPMessages* messages);

    /// The configuration under an upper-case name; null when there is none.
    std::shared_ptr<FeatureClassRule> find(const CComBSTR& upperName) const;

    /// A new configuration without a name. The map keeps it to its own end, even when it is rejected or replaced: its
    /// conditions and their rules stay in the lists below, and point to it.
    std::shared_ptr<FeatureClassRule> addClass();

    std::vector<std::shared_ptr<Condition>> conditions;  // of all classes, in load order
    std::vector<std::shared_ptr<Rule>> rules;            // of all conditions, in load order
    std::map<CComBSTR, std::shared_ptr<FeatureClassRule>, BstrLess> featureClassRules;  // by upper-case name
    std::map<CComBSTR, CComBSTR, BstrLess> expressions;                                 // the function library
    std::set<CComBSTR, BstrLess> searchDirectories;
    CComBSTR name;

private:
    std::vector<std::shared_ptr<FeatureClassRule>> classes_;  // all that were ever made, in load order
};

}  // namespace ConditionalXml
