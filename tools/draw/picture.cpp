#include "tools/draw/picture.h"

#include "tools/draw/svg.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <optional>
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

std::string textOf(IXMLDOMNode* node) {
    CComBSTR text;
    node->get_text(&text);
    return toUtf8(text);
}

// What classes and styles say.
class Styling {
public:
    virtual ~Styling() = default;
    /// The attributes that the classes and the style of an element make, in the place of its own.
    virtual Declarations declared(const std::string& classes, const std::optional<std::string>& style) const = 0;
};

template <class Visit>
void eachWord(std::string_view words, Visit&& visit) {
    while (!words.empty()) {
        const std::size_t end = std::min(words.find_first_of(" \t\r\n"), words.size());
        visit(words.substr(0, end));
        words.remove_prefix(std::min(end + 1, words.size()));
    }
}

// Classes name the tokens of a palette.
class Tokens final : public Styling {
public:
    explicit Tokens(const std::map<std::string, std::string>& colours) : colours_(colours) {}

    Declarations declared(const std::string& classes, const std::optional<std::string>& style) const override {
        if (style) throw DrawError("refused: it has styles; colours are attributes");
        Declarations declarations;
        eachWord(classes, [&](std::string_view word) {
            const std::size_t dash = word.find('-');
            if (dash == std::string_view::npos || !isOneOf(word.substr(0, dash), {"fill", "stroke"})) return;
            const auto colour = colours_.find(std::string(word.substr(dash + 1)));
            if (colour != colours_.end()) declarations[std::string(word.substr(0, dash))] = colour->second;
        });
        return declarations;
    }

private:
    const std::map<std::string, std::string>& colours_;
};

// Classes are those of a style sheet.
class Sheet final : public Styling {
public:
    explicit Sheet(const std::map<std::string, Declarations>& classes) : classes_(classes) {}

    Declarations declared(const std::string& classes, const std::optional<std::string>& style) const override {
        Declarations all;
        const auto add = [&](const Declarations& declarations) {
            for (const auto& [property, value] : declarations)
                if (isPaint(property)) all[property] = value;
        };
        eachWord(classes, [&](std::string_view word) {
            if (const auto found = classes_.find(std::string(word)); found != classes_.end()) add(found->second);
        });
        if (style) add(readDeclarations(*style));
        return all;
    }

private:
    const std::map<std::string, Declarations>& classes_;
};

class Writer {
public:
    explicit Writer(const Styling& styling) : styling_(styling) {}

    void element(IXMLDOMNode* node, int depth) {
        const std::string name = nameOf(node);
        if (isRemark(name)) return;
        const bool isRoot = depth == 0;
        const bool isGroup = name == "g" || isRoot;
        if (isRoot && name != "svg") throw DrawError("is no SVG picture");
        if (!isGroup && !isShape(name)) throw DrawError(fmt::format("refused: <{}> is no plain shape", name));
        if (depth > mostDepth) throw DrawError("refused: groups are too deep");
        const Attributes attributes = attributesOf(node, isRoot);
        if (isHidden(attributes)) return;
        text_ += isGroup ? "<g" : "<" + name;
        for (const auto& [key, value] : attributes) text_ += fmt::format(R"( {}="{}")", key, xmlText(value));
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
    static bool isHidden(const Attributes& attributes) {
        return std::ranges::find(attributes, Attributes::value_type("display", "none")) != attributes.end();
    }

    // Of the root only its paint: its geometry is the view box.
    Attributes attributesOf(IXMLDOMNode* node, bool isRoot) const {
        Attributes taken;
        std::string classes;
        std::optional<std::string> style;
        for (const CComPtr<IXMLDOMNode>& attribute : listed(node, &INodeTrace::get_allAttributes)) {
            std::string name = nameOf(attribute);
            std::string value = textOf(attribute);
            if (name == "class")
                classes = value;
            else if (name == "style")
                style = value;
            else if (isPaint(name) || (isGeometry(name) && !isRoot))
                taken.emplace_back(std::move(name), std::move(value));
            else
                refuse(name, value);
        }
        for (auto& [name, value] : styling_.declared(classes, style)) {
            std::erase_if(taken, [&, &key = name](const auto& attribute) { return attribute.first == key; });
            taken.emplace_back(name, value);
        }
        for (const auto& [name, value] : taken)
            if (!isPlain(value) || lowerAscii(value).find("url(") != std::string::npos)
                throw DrawError(fmt::format("refused: the value of '{}' is not plain", name));
        return taken;
    }

    // What is not taken over may say whatever it likes, but not how the picture looks or what happens.
    static void refuse(const std::string& name, const std::string& value) {
        const std::string lower = lowerAscii(name);
        if (lower == "href" || lower.ends_with(":href")) throw DrawError("refused: it points elsewhere");
        if (lower.starts_with("on")) throw DrawError("refused: it has a script");
        if (lowerAscii(value).find("url(") != std::string::npos) throw DrawError("refused: it points elsewhere");
    }

    const Styling& styling_;
    std::string text_;
};

CComPtr<IXMLDOMNode> rootOf(const std::string& file) {
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
    return root;
}

std::string written(IXMLDOMNode* root, const Styling& styling) {
    Writer writer(styling);
    writer.element(root, 0);
    return writer.take();
}

std::string titleOf(IXMLDOMNode* root) {
    for (const CComPtr<IXMLDOMNode>& child : listed(root, &INodeTrace::get_childElements))
        if (nameOf(child) == "title") return textOf(child);
    return {};
}

// How far the view box reaches to both sides of 0,0 at least. \return whether there is one.
bool measure(IXMLDOMNode* root, Picture& picture) {
    std::vector<double> box;
    for (const CComPtr<IXMLDOMNode>& attribute : listed(root, &INodeTrace::get_allAttributes)) {
        if (nameOf(attribute) != "viewBox") continue;
        std::string numbers = textOf(attribute);
        std::ranges::replace(numbers, ',', ' ');
        eachWord(numbers, [&](std::string_view word) {
            double number = 0;
            const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
            if (error == std::errc() && end == word.data() + word.size()) box.push_back(number);
        });
    }
    constexpr double most = 1000;
    const auto isSensible = [](double number) { return std::abs(number) <= most; };
    if (box.size() != 4 || !std::ranges::all_of(box, isSensible)) return false;
    picture.halfWidth = std::max(std::abs(box[0]), std::abs(box[0] + box[2]));
    picture.halfHeight = std::max(std::abs(box[1]), std::abs(box[1] + box[3]));
    return true;
}

}  // namespace

Picture readPicture(const std::string& file, const std::map<std::string, std::string>& colours) {
    const CComPtr<IXMLDOMNode> root = rootOf(file);
    Picture picture;
    measure(root, picture);
    picture.elements = written(root, Tokens(colours));
    picture.title = titleOf(root);
    return picture;
}

Picture importPicture(const std::string& file, const std::map<std::string, Declarations>& classes) {
    const CComPtr<IXMLDOMNode> root = rootOf(file);
    Picture picture;
    if (!measure(root, picture)) throw DrawError("has no view box of four numbers");
    picture.elements = written(root, Sheet(classes));
    return picture;
}

std::string pictureFile(const Picture& picture) {
    const std::string half[] = {svgNumber(-picture.halfWidth), svgNumber(-picture.halfHeight)};
    const std::string whole[] = {svgNumber(2 * picture.halfWidth), svgNumber(2 * picture.halfHeight)};
    return fmt::format(
        R"(<svg xmlns="http://www.w3.org/2000/svg" width="{0}mm" height="{1}mm" viewBox="{2} {3} {0} {1}">)"
        "\n{4}\n</svg>\n",
        whole[0], whole[1], half[0], half[1], picture.elements);
}

}  // namespace cxml
