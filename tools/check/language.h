// The words of the language, for those who look for the one that was meant.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// An element where it is read; of one name there may be several, with parents of their own.
struct LanguageElement {
    std::vector<std::string> parents;  // the empty one for the root
    std::string name;
    std::vector<std::string> attributes;  // in the order in which people write them
    std::vector<std::string> children;
    bool hasText = false;  // whether its text is read
};

std::span<const LanguageElement> languageElements();

/// What an element may have.
struct ElementWords {
    std::span<const std::string> attributes;
    std::span<const std::string> children;
};

/// Of an element that is read where it stands; without words for others. \param parent empty for the root.
ElementWords wordsOf(std::string_view parent, std::string_view element);

/// "a condition", "a featureClass, a subtype or a rule": the elements in which one of this name is read; empty when
/// none is.
std::string whereReadIn(std::string_view element);

/// The operators of a family of rules: "A", "L" or "Q"; none for other types.
std::span<const std::string> operatorsOf(std::string_view type);

/// The family as people call it: "attribute", "list attribute", "query"; null when there is none of the type.
const char* familyOf(std::string_view type) noexcept;

/// The type of another family that has the operator; empty when none has.
std::string familyWith(std::string_view keyword);

/// The operator of the family that was meant by what was written: a sign ("<=") or a slip; empty when unknown.
std::string meantOperator(std::string_view type, std::string_view written);

}  // namespace cxml
