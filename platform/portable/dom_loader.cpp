#include "platform/portable/dom_loader.h"

#include "platform/native_path.h"
#include "platform/portable/dom_parser.h"
#include "platform/portable/dom_text.h"

#include <algorithm>

namespace symbology_platform::dom {

namespace {

// What MSXML says when it cannot get at a document.
constexpr HRESULT notFound = hresultFrom(0x800C0006U);

LoadResult notLoaded(std::string_view reason) {
    return {nullptr, {notFound, toUtf16(reason), {}, 0, 0}};
}

LoadResult load(ByteReader& reader, DocumentSource::Encoding encoding) {
    DocumentSource source(reader, encoding);
    LoadResult result = Parser(source).parse();
    // A file that failed to be read has no place that could be named.
    if (!result.tree && source.readFailed()) return notLoaded(source.failure());
    return result;
}

}  // namespace

LoadResult loadFile(std::u16string_view path) {
    std::string name;
    if (path.empty()) return notLoaded("The path of the document is empty.");
    bool isName = path.find(u'\0') == std::u16string_view::npos;
    name = narrowPath(path, [&](std::u16string_view text) {
        std::string piece;
        isName = isName && toUtf8(text, piece);
        return piece;
    });
    if (!isName) return notLoaded("The path of the document is not the name of a file.");
    FileReader reader(name);
    if (!reader.failure().empty()) return notLoaded(reader.failure());
    return load(reader, DocumentSource::Encoding::Detect);
}

LoadResult loadText(std::u16string_view text) {
    // MSXML overlooks white space here, even before an XML declaration; in files it does not.
    text.remove_prefix(std::min(text.find_first_not_of(u" \t\r\n"), text.size()));
    MemoryReader reader({reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char16_t)});
    return load(reader, DocumentSource::Encoding::Utf16);
}

}  // namespace symbology_platform::dom
