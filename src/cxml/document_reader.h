// From a document to a ConditionMap: the name, the function library, the feature classes.
#pragma once

#include "cxml/condition_map.h"
#include "cxml/reading.h"

namespace ConditionalXml {

/// Reads the function library and the feature classes of `document`, which was read from `path`, into `map`.
/// \return false when reading ended early; the reasons that are reported go to the messages as errors. What was read so
///         far stays.
/// \throws std::runtime_error when a library file takes a name that is taken, or from the compiler.
bool readDocument(ConditionMap& map, BSTR path, IXMLDOMDocument* document, const Reading& reading);

}  // namespace ConditionalXml
