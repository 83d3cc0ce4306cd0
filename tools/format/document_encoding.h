// The text of a document's bytes, and the bytes of its text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cxml {

/// How a document is stored, as far as its bytes tell.
enum class Storage : std::uint8_t {
    Bytes,  // markup is ASCII: UTF-8 and most others
    Utf16Little,
    Utf16Big
};

struct DocumentText {
    std::string text;  // without a byte order mark; of UTF-16 in UTF-8
    std::string mark;  // as it is stored
    Storage storage = Storage::Bytes;
};

/// \param bytes what an XML reader has accepted.
DocumentText decoded(std::string_view bytes);

/// Another text as that document would be stored.
std::string encoded(const DocumentText& document, std::string_view text);

}  // namespace cxml
