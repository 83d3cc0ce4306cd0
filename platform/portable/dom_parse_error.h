// The object that tells why a document was not loaded.
#pragma once

#include "platform/portable/dom_loader.h"
#include "platform/portable/msxml.h"

namespace symbology_platform::dom {

/// With one reference that the caller owns.
IXMLDOMParseError* makeParseError(const ParseFailure& failure);

}  // namespace symbology_platform::dom
