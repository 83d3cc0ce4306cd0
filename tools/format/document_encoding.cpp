#include "document_encoding.h"

#include "tools/text/text.h"

namespace cxml {
namespace {

using namespace std::string_view_literals;

OLECHAR unitOf(char low, char high) {
    return static_cast<OLECHAR>(static_cast<unsigned char>(low) | static_cast<unsigned char>(high) << 8U);
}

}  // namespace

DocumentText decoded(std::string_view bytes) {
    DocumentText document;
    for (const auto& [mark, storage] : {std::pair{"\xEF\xBB\xBF"sv, Storage::Bytes},
                                        {"\xFF\xFE"sv, Storage::Utf16Little},
                                        {"\xFE\xFF"sv, Storage::Utf16Big}}) {
        if (!bytes.starts_with(mark)) continue;
        document.mark = mark;
        document.storage = storage;
        bytes.remove_prefix(mark.size());
        break;
    }
    if (document.mark.empty() && bytes.starts_with("<\0"sv)) document.storage = Storage::Utf16Little;
    if (document.mark.empty() && bytes.starts_with("\0<"sv)) document.storage = Storage::Utf16Big;
    if (document.storage == Storage::Bytes) {
        document.text = bytes;
        return document;
    }
    const std::size_t low = document.storage == Storage::Utf16Little ? 0 : 1;
    WideString wide;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) wide += unitOf(bytes[i + low], bytes[i + 1 - low]);
    document.text = toUtf8(wide);
    return document;
}

std::string encoded(const DocumentText& document, std::string_view text) {
    std::string bytes = document.mark;
    if (document.storage == Storage::Bytes) return bytes.append(text);
    const CComBSTR wide = toBstr(text);
    for (const OLECHAR unit : WideView(wide.m_str, wide.Length())) {
        const char low = static_cast<char>(unit & 0xFFU);
        const char high = static_cast<char>(unit >> 8U);
        bytes += document.storage == Storage::Utf16Little ? low : high;
        bytes += document.storage == Storage::Utf16Little ? high : low;
    }
    return bytes;
}

}  // namespace cxml
