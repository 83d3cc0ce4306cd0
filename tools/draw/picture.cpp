#include "tools/draw/picture.h"

#include "tools/draw/svg.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

namespace cxml {
namespace {

using Names = std::initializer_list<std::string_view>;

constexpr std::uintmax_t mostBytes = 1'000'000;
constexpr int mostDepth = 32;

bool isOneOf(std::string_view name, Names names) {
    return std::ranges::find(names, name) != names.end();
}

bool isShape(std::string_view name) {
    return isOneOf(name, {"path", "polygon", "polyline", "line", "rect", "circle", "ellipse"});
}

// What says something about a picture and draws nothing.
bool isRemark(std::string_view name) {
    return isOneOf(name, {"title", "desc", "metadata"}) || name.find(':') != std::string_view::npos;
}

bool isPaint(std::string_view name) {
    return isOneOf(name, {"fill", "fill-opacity", "fill-rule", "stroke", "stroke-width", "stroke-linecap",
                          "stroke-linejoin", "stroke-miterlimit", "stroke-dasharray", "stroke-dashoffset",
                          "stroke-opacity", "opacity", "display", "visibility", "color"});
}

bool isGeometry(std::string_view name) {
    return isOneOf(name, {"d", "points", "x", "y", "x1", "y1", "x2", "y2", "cx", "cy", "r", "rx", "ry", "width",
                          "height", "transform"});
}

bool isPlain(std::string_view value) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 \t\r\n.,+-#%()";
    return value.find_first_not_of(plain) == std::string_view::npos;
}

std::string lowerAscii(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    node->get_nodeName(&name);
    std::string text = toUtf8(name);
    constexpr std::string_view own = "svg:";
    if (text.starts_with(own)) text.erase(0, own.size());
    return text;
}

std::vector<CComPtr<IXMLDOMNode>> listed(IXMLDOMNode* node,
                                         HRESULT (STDMETHODCALLTYPE INodeTrace::*list)(IXMLDOMNodeList**)) {
    std::vector<CComPtr<IXMLDOMNode>> result;
    const CComQIPtr<INodeTrace> trace(node);
    CComPtr<IXMLDOMNodeList> nodes;
    if (!trace || FAILED((trace->*list)(&nodes)) || !nodes) throw DrawError("cannot be read");
    for (;;) {
        CComPtr<IXMLDOMNode> next;
        if (nodes->nextNode(&next) != S_OK || !next) return result;
        result.push_back(std::move(next));
    }
}

using Attributes = std::vector<std::pair<std::string, std::string>>;

class Writer {
public:
    explicit Writer(const std::map<std::string, std::string>& colours) : colours_(colours) {}

    void element(IXMLDOMNode* node, int depth) {
        const std::string name = nameOf(node);
        if (isRemark(name)) return;
        const bool isRoot = depth == 0;
        const bool isGroup = name == "g" || isRoot;
        if (isRoot && name != "svg") throw DrawError("is no SVG picture");
        if (!isGroup && !isShape(name)) throw DrawError(fmt::format("refused: <{}> is no plain shape", name));
        if (depth > mostDepth) throw DrawError("refused: groups are too deep");
        text_ += isGroup ? "<g" : "<" + name;
        for (const auto& [key, value] : attributesOf(node, isRoot))
            text_ += fmt::format(" {}=\"{}\"", key, xmlText(value));
        if (!isGroup) {
            text_ += "/>";
            return;
        }
        text_ += '>';
        for (const CComPtr<IXMLDOMNode>& child : listed(node, &INodeTrace::get_childElements))
            element(child, depth + 1);
        text_ += "</g>";
    }

    std::string take() { return std::move(text_); }

private:
    // Of the root only its paint: its geometry is the view box.
    Attributes attributesOf(IXMLDOMNode* node, bool isRoot) const {
        Attributes taken;
        std::string classes;
        for (const CComPtr<IXMLDOMNode>& attribute : listed(node, &INodeTrace::get_allAttributes)) {
            CComBSTR text;
            attribute->get_text(&text);
            std::string name = nameOf(attribute);
            std::string value = toUtf8(text);
            if (name == "class") {
                classes = value;
            } else if (isPaint(name) || (isGeometry(name) && !isRoot)) {
                if (!isPlain(value) || lowerAscii(value).find("url(") != std::string::npos)
                    throw DrawError(fmt::format("refused: the value of '{}' is not plain", name));
                taken.emplace_back(std::move(name), std::move(value));
            } else {
                refuse(name, value);
            }
        }
        inlineTokens(classes, taken);
        return taken;
    }

    // What is not taken over may say whatever it likes, but not how the picture looks or what happens.
    static void refuse(const std::string& name, const std::string& value) {
        const std::string lower = lowerAscii(name);
        if (lower == "style") throw DrawError("refused: it has styles; colours are attributes");
        if (lower == "href" || lower.ends_with(":href")) throw DrawError("refused: it points elsewhere");
        if (lower.starts_with("on")) throw DrawError("refused: it has a script");
        if (lowerAscii(value).find("url(") != std::string::npos) throw DrawError("refused: it points elsewhere");
    }

    void inlineTokens(std::string_view classes, Attributes& attributes) const {
        while (!classes.empty()) {
            const std::size_t end = std::min(classes.find_first_of(" \t\r\n"), classes.size());
            const std::string_view word = classes.substr(0, end);
            classes.remove_prefix(std::min(end + 1, classes.size()));
            const std::size_t dash = word.find('-');
            const std::string_view kind = word.substr(0, dash);
            if (dash == std::string_view::npos || !isOneOf(kind, {"fill", "stroke"})) continue;
            const auto colour = colours_.find(std::string(word.substr(dash + 1)));
            if (colour == colours_.end()) continue;
            std::erase_if(attributes, [&](const auto& attribute) { return attribute.first == kind; });
            attributes.emplace_back(kind, colour->second);
        }
    }

    const std::map<std::string, std::string>& colours_;
    std::string text_;
};

}  // namespace

std::string readPicture(const std::string& file, const std::map<std::string, std::string>& colours) {
    std::error_code error;
    if (std::filesystem::file_size(file, error) > mostBytes || error) throw DrawError("is more than a megabyte long");
    CComPtr<IXMLDOMDocument> document;
    if (FAILED(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                                reinterpret_cast<void**>(&document))))
        throw DrawError("cannot be read");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    CComVariant path;
    path.vt = VT_BSTR;
    path.bstrVal = toPathBstr(file).Detach();
    CComPtr<IXMLDOMNode> root;
    if (document->load(path, &loaded) != S_OK || loaded == VARIANT_FALSE ||
        document->get_documentElement(&root) != S_OK || !root)
        throw DrawError("is not well-formed XML");
    Writer writer(colours);
    writer.element(root, 0);
    return writer.take();
}

}  // namespace cxml
