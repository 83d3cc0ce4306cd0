// What people are told of the words of the language, in a sentence or two.
#pragma once

#include <string_view>

namespace cxml {

struct AttributeHelp {
    std::string_view says;
    bool isNeeded = false;  // without it nothing, or not what was meant, becomes of the element
};

/// \param parent of the element; counts where elements of a name differ by it. Empty when nothing is said.
std::string_view helpOfElement(std::string_view parent, std::string_view element);
AttributeHelp helpOfAttribute(std::string_view parent, std::string_view element, std::string_view attribute);
/// \param type "A", "L" or "Q".
std::string_view helpOfOperator(std::string_view type, std::string_view keyword);

}  // namespace cxml
