// In the place of the other files here where there is no Python to build with: documents without expressions work, the
// others do not load.
#include "api/failures.h"
#include "cxml/condition.h"

namespace ConditionalXml {

// NOLINTNEXTLINE(readability-make-member-function-const): with Python it is not
void Condition::compileExpression() {
    if (!expressionText.empty()) throwText("This library was built without Python: it has no expressions.");
}

bool Condition::generate(const RowValueMap& /*rowValues*/) {
    return false;
}

CompiledExpression::~CompiledExpression() = default;

}  // namespace ConditionalXml
