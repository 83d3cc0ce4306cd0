// Assembling the Python source of a condition.
#pragma once

#include "platform/platform.h"

#include <vector>

namespace ConditionalXml {

/// Collects the texts of a condition's expressions and library pieces, finds the arguments of "Generate" in them and
/// rewrites the source so that it is valid Python.
class ExpressionSource {
public:
    struct Argument {
        WideString piece;  // as written between the commas, "[]" included
        WideString name;   // without "[]"
        bool isList;

        /// A qualified name belongs to another table.
        bool qualified() const { return name.find(OLESTR('.')) != WideString::npos; }
    };

    /// Appends the text of an `expression` element.
    void addExpression(WideView text);
    /// Appends a piece of the function library, on a line of its own.
    void addLibrary(WideView text);

    /// Finds the arguments of the first "Generate(" and rewrites the source for them: "B[]" becomes B, T.C becomes T_C.
    /// \return the arguments in order, names as the row values have them.
    std::vector<Argument> takeArguments();

    /// The finished source. When an expression mentions Generate, backslash pairs for line feed, tab and backslash are
    /// resolved, inside Python's string literals too.
    WideString finish();

    /// Whether an expression mentions Generate, so that finish() resolves backslash pairs.
    bool mentionsGenerate() const noexcept { return mentionsGenerate_; }

private:
    WideString source_;
    bool mentionsGenerate_ = false;
};

}  // namespace ConditionalXml
