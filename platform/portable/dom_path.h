// The text of paths: those that need no XPath at all, and names in the others.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace symbology_platform::dom {

/// Names of elements, each a child of the one before.
struct SimplePath {
    bool fromDocument = false;
    std::vector<std::string_view> steps;  ///< views into the parsed text; empty: the path is not a simple one
};

/// Reads "a", "a/b", "/a/b" with names of ASCII letters, digits, '_', '-', '.' and at most one prefix.
SimplePath parseSimplePath(std::string_view path);

/// Makes every name test of an XPath expression compare names with their prefixes and nothing else: `p:a` becomes
/// `*[name()='p:a']`. Empty for an expression with variables or with functions that XPath does not have; whether the
/// rest is an expression is not judged.
std::string matchNamesAsWritten(std::string_view expression);

}  // namespace symbology_platform::dom
