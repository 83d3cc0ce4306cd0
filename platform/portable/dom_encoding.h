// Which encoding a document is written in.
#pragma once

#include <string>
#include <string_view>

namespace symbology_platform::dom {

struct EncodingChoice {
    std::string name;          ///< as ICU knows it
    std::size_t markSize = 0;  ///< bytes of the byte order mark
    std::string failure;       ///< a sentence when the encoding is unknown or contradicts itself, else empty
};

/// Judges by the byte order mark, the first characters and the XML declaration; `start` is the document's beginning.
EncodingChoice detectEncoding(std::string_view start);

/// For a text in memory: UTF-16 of this machine's byte order, unless the XML declaration names an unknown encoding.
EncodingChoice memoryEncoding(std::string_view start);

}  // namespace symbology_platform::dom
