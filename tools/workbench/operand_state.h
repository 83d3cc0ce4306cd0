// OperandState: the operands of a document's rules as they were read.
#pragma once

#include "cxml/condition_map.h"
#include "rules/rule.h"

#include <vector>

namespace cxml {

/// Rules give their operands the types of the fields that they meet, in place, and that is all that they keep from row
/// to row. What is to be independent of the runs before has them as they were.
class OperandState {
public:
    /// \param map that nothing has run with; must outlive this.
    explicit OperandState(const ConditionalXml::ConditionMap& map);
    void restore();

private:
    struct Saved {
        ConditionalXml::CXAttributeRule* rule;
        std::vector<CComVariant> operands;
    };
    std::vector<Saved> all_;
};

}  // namespace cxml
