// Whether two documents say the same to those who read them.
#pragma once

#include "platform/platform.h"

namespace cxml {

/// Whether they have the same elements in the same order, with the same attributes and texts. White space counts in
/// texts that the language reads and in elements without others in them.
bool haveSameContent(IXMLDOMDocument* one, IXMLDOMDocument* other);

}  // namespace cxml
