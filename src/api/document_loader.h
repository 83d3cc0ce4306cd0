// Reading a CXML file into a DOM document, and what stands at its head.
#pragma once

#include "platform/platform.h"

#include <optional>

namespace ConditionalXml {

/// Creates a DOM document and loads the file into it.
/// \return null when the document was not loaded and gives no reason.
/// \throws std::runtime_error when it cannot be created, loaded or parsed.
CComPtr<IXMLDOMDocument> loadDocument(const CComBSTR& path);

struct DocumentHead {
    CComBSTR name;
    CComBSTR alias;
};

/// The name and alias of the root element that `xpath` selects, empty where absent; nothing without such a root.
std::optional<DocumentHead> readHead(IXMLDOMDocument* document, const OLECHAR* xpath, const OLECHAR* nameAttribute);

}  // namespace ConditionalXml
