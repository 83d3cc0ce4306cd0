// What a parse error says.
#pragma once

#include "platform/portable/dom_loader.h"

#include <libxml/parser.h>

namespace symbology_platform::dom {

/// The failure with the place where the parser stands in the document. `reason` becomes one sentence of bounded length.
ParseFailure describeFailure(std::string_view reason, const xmlParserCtxt* context);

/// Whether the parser has come to the end of the text that it was given, but for an unfinished token.
bool isAtEnd(const xmlParserCtxt* context);

}  // namespace symbology_platform::dom
