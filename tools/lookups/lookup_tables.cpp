#include "tools/lookups/lookup_tables.h"

#include "platform/platform.h"
#include "tools/text/markup.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace cxml {
namespace {

constexpr std::uintmax_t mostBytes = 64'000'000;  // published tables have some two million

constexpr std::array<std::pair<std::string_view, Primitive>, 3> primitives{
    {{"Point", Primitive::Point}, {"Line", Primitive::Line}, {"Area", Primitive::Area}}};

struct TableName {
    std::string_view name;
    LookupTable table;
    Primitive primitive;
};
constexpr std::array<TableName, 5> tables{{{"Paper", LookupTable::Paper, Primitive::Point},
                                           {"Simplified", LookupTable::Simplified, Primitive::Point},
                                           {"Lines", LookupTable::Lines, Primitive::Line},
                                           {"Plain", LookupTable::Plain, Primitive::Area},
                                           {"Symbolized", LookupTable::Symbolized, Primitive::Area}}};

using Node = CComPtr<IXMLDOMNode>;

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    node->get_nodeName(&name);
    return toUtf8(name);
}

std::string textOf(IXMLDOMNode* node) {
    CComBSTR text;
    node->get_text(&text);
    return toUtf8(text);
}

long lineOf(IXMLDOMNode* node) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(node); trace) trace->get_line(&line);
    return line;
}

template <class Visit>
void eachElement(IXMLDOMNode* node, Visit&& visit) {
    const CComQIPtr<INodeTrace> trace(node);
    CComPtr<IXMLDOMNodeList> nodes;
    if (!trace || FAILED(trace->get_childElements(&nodes)) || !nodes) throw LookupError("cannot be read");
    for (;;) {
        Node next;
        if (nodes->nextNode(&next) != S_OK || !next) return;
        visit(next);
    }
}

std::string attributeOf(IXMLDOMNode* node, LPCOLESTR name) {
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    Node attribute;
    if (node->get_attributes(&attributes) != S_OK || !attributes ||
        attributes->getNamedItem(CComBSTR(name), &attribute) != S_OK || !attribute)
        return {};
    return textOf(attribute);
}

// What the elements of a row say, before anything is made of it.
struct RawRow {
    std::optional<std::string> type;
    std::optional<std::string> table;
    std::optional<std::string> instruction;
    LookupRow row;
};

RawRow readRaw(IXMLDOMNode* node) {
    RawRow raw;
    raw.row.line = lineOf(node);
    raw.row.className = attributeOf(node, OLESTR("name"));
    eachElement(node, [&](IXMLDOMNode* child) {
        const std::string name = nameOf(child);
        if (name == "type") raw.type = textOf(child);
        if (name == "table-name") raw.table = textOf(child);
        if (name == "instruction") raw.instruction = textOf(child);
        if (name == "attrib-code") raw.row.attributes.push_back(textOf(child));
        if (name == "disp-prio") raw.row.displayPriority = textOf(child);
        if (name == "radar-prio") raw.row.radarPriority = textOf(child);
        if (name == "display-cat") raw.row.displayCategory = textOf(child);
    });
    return raw;
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// Empty when it is one.
std::string whyNoRow(RawRow& raw) {
    if (isBlank(raw.row.className)) return "the row has no class (the attribute 'name')";
    if (!raw.instruction) return "the row has no instruction";
    raw.row.instruction = *raw.instruction;
    if (!raw.type) return "the row has no type";
    const auto* const primitive =
        std::ranges::find(primitives, *raw.type, &std::pair<std::string_view, Primitive>::first);
    if (primitive == primitives.end())
        return fmt::format("the row's type is '{}' instead of Point, Line or Area", *raw.type);
    raw.row.primitive = primitive->second;
    if (!raw.table) return "the row has no table-name";
    const auto* const table = std::ranges::find(tables, *raw.table, &TableName::name);
    if (table == tables.end() || table->primitive != raw.row.primitive)
        return fmt::format("the row's table '{}' is none of those for its type {}", *raw.table, *raw.type);
    raw.row.table = table->table;
    return {};
}

// Entities are a way to make a small file large, and to read others; published tables declare none.
void refuseDocumentType(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error))
        throw LookupError(fmt::format("{}: {}", file, error ? error.message() : "is no regular file"));
    if (std::filesystem::file_size(file, error) > mostBytes || error)
        throw LookupError(fmt::format("{}: is longer than {} bytes", file, mostBytes));
    errno = 0;
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    if (!in.is_open() || in.bad())
        throw LookupError(fmt::format("{}: {}", file, std::generic_category().message(errno == 0 ? EIO : errno)));
    if (bytes.size() > mostBytes) throw LookupError(fmt::format("{}: is longer than {} bytes", file, mostBytes));
    // Where the characters of markup are no single bytes a document type would not be seen.
    if (bytes.find('\0') != std::string::npos) throw LookupError(file + ": is not in an encoding like UTF-8");
    MarkupReader reader(bytes);
    for (MarkupPiece piece; reader.next(piece) && piece.isWhole;) {
        if (piece.kind == MarkupPiece::Kind::DocumentType)
            throw LookupError(fmt::format(
                "{}:{}: a document type is refused", file,
                1 + std::ranges::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(piece.begin), '\n')));
        if (piece.kind == MarkupPiece::Kind::StartTag) return;
    }
}

std::string whyNotWellFormed(const std::string& file, IXMLDOMDocument* document) {
    CComPtr<IXMLDOMParseError> error;
    CComBSTR reason;
    LONG line = 0;
    if (document->get_parseError(&error) == S_OK && error) {
        error->get_reason(&reason);
        error->get_line(&line);
    }
    const std::string why = reason.Length() == 0 ? "it cannot be read" : oneLine(toUtf8(reason));
    return line > 0 ? fmt::format("{}:{}: {}", file, line, why) : fmt::format("{}: {}", file, why);
}

Node rootOf(const std::string& file) {
    refuseDocumentType(file);
    CComPtr<IXMLDOMDocument> document;
    if (FAILED(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                                reinterpret_cast<void**>(&document))))
        throw LookupError(file + ": the parser cannot be made");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    CComVariant path;
    path.vt = VT_BSTR;
    path.bstrVal = toPathBstr(file).Detach();
    Node root;
    if (document->load(path, &loaded) != S_OK || loaded == VARIANT_FALSE ||
        document->get_documentElement(&root) != S_OK || !root)
        throw LookupError(whyNotWellFormed(file, document));
    return root;
}

}  // namespace

LookupTables readLookupTables(const std::string& file) {
    const Node root = rootOf(file);
    if (const std::string name = nameOf(root); name != "chartsymbols")
        throw LookupError(
            fmt::format("{}:{}: the root element is '{}' instead of chartsymbols", file, lineOf(root), name));
    LookupTables read;
    bool hasLookups = false;
    eachElement(root, [&](IXMLDOMNode* part) {
        if (nameOf(part) != "lookups") return;
        hasLookups = true;
        eachElement(part, [&](IXMLDOMNode* node) {
            if (nameOf(node) != "lookup") return;
            RawRow raw = readRaw(node);
            raw.row.number = read.rows.size() + read.unread.size();
            if (std::string why = whyNoRow(raw); !why.empty())
                read.unread.push_back({raw.row.number, raw.row.line, raw.row.className, std::move(why)});
            else
                read.rows.push_back(std::move(raw.row));
        });
    });
    if (!hasLookups) throw LookupError(fmt::format("{}:{}: there are no look-up tables in it", file, lineOf(root)));
    return read;
}

const char* nameOf(Primitive primitive) noexcept {
    return primitive == Primitive::Point ? "point" : primitive == Primitive::Line ? "line" : "area";
}

const char* nameOf(LookupTable table) noexcept {
    const auto* const found = std::ranges::find(tables, table, &TableName::table);
    return found == tables.end() ? "" : found->name.data();
}

}  // namespace cxml
