// Documents for tests: parsed from text, loaded into the library's own map, or written to a file for a while.
#pragma once

#include "memhost/messages.h"
#include "memhost/text.h"

#include <string>
#include <string_view>

/// A document parsed from UTF-8 text by the DOM that the library uses. \throws std::runtime_error when it is not well
/// formed.
CComPtr<IXMLDOMDocument> parseDocument(std::string_view xml);

/// The one node that `xpath` selects. \throws std::runtime_error when there is none.
CComPtr<IXMLDOMNode> selectNode(IXMLDOMNode* node, std::string_view xpath);

/// The path of a file under tests/, such as "api/data/buoys.xml".
std::string testFile(std::string_view name);

/// The whole of a file, as bytes. \throws std::runtime_error when it cannot be read.
std::string readFile(const std::string& path);

/// An empty folder that goes away, with all that is in it, when this does.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Ends without a separator; the separators are the system's.
    const std::string& path() const noexcept { return path_; }
    /// The path of a file of that name, as a user of the system would write it.
    std::string pathOf(std::string_view name) const;
    /// Writes a file of that name and returns its path.
    std::string write(std::string_view name, std::string_view content) const;

private:
    std::string path_;
};
