// In the place of the other files here where there is no Python to build with: documents without expressions work, the
// others do not load.
#include "python/expression.h"

namespace ConditionalXml {

// NOLINTBEGIN(readability-convert-member-functions-to-static,readability-make-member-function-const): with Python they
// are not
void Expression::compile(WideView /*source*/) {
    throw std::runtime_error("This library was built without Python: it has no expressions.");
}

Expression::Outcome Expression::call(std::span<const Argument> /*arguments*/,
                                     const std::function<void(CComBSTR&& text)>& /*accepted*/) {
    return Outcome::NoArgument;
}
// NOLINTEND(readability-convert-member-functions-to-static,readability-make-member-function-const)

Expression::~Expression() = default;

}  // namespace ConditionalXml
