#include "same_content.h"

#include "tools/check/language.h"
#include "tools/text/text.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace cxml {
namespace {

using Nodes = std::vector<CComPtr<IXMLDOMNode>>;

[[noreturn]] void fail() {
    throw std::runtime_error("the document's tree cannot be read");
}

Nodes listed(IXMLDOMNode* node, HRESULT (STDMETHODCALLTYPE INodeTrace::*list)(IXMLDOMNodeList**)) {
    const CComQIPtr<INodeTrace> trace(node);
    CComPtr<IXMLDOMNodeList> found;
    if (!trace || (trace->*list)(&found) != S_OK || !found) fail();
    Nodes nodes;
    for (;;) {
        CComPtr<IXMLDOMNode> next;
        if (FAILED(found->nextNode(&next))) fail();
        if (!next) return nodes;
        nodes.push_back(next);
    }
}

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    if (FAILED(node->get_nodeName(&name))) fail();
    return toUtf8(name);
}

std::string textOf(IXMLDOMNode* node) {
    CComBSTR text;
    if (FAILED(node->get_text(&text))) fail();
    return toUtf8(text);
}

std::map<std::string, std::string> attributesOf(IXMLDOMNode* element) {
    std::map<std::string, std::string> attributes;
    for (const auto& attribute : listed(element, &INodeTrace::get_allAttributes))
        attributes.emplace(nameOf(attribute), textOf(attribute));
    return attributes;
}

std::string withoutSpace(std::string text) {
    std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
    return text;
}

bool areSame(IXMLDOMNode* one, IXMLDOMNode* other) {
    const std::string name = nameOf(one);
    if (name != nameOf(other) || attributesOf(one) != attributesOf(other)) return false;
    const Nodes ones = listed(one, &INodeTrace::get_childElements);
    const Nodes others = listed(other, &INodeTrace::get_childElements);
    if (ones.size() != others.size()) return false;
    const bool hasText = ones.empty() || std::ranges::any_of(languageElements(), [&](const LanguageElement& known) {
                             return known.hasText && known.name == name;
                         });
    if (hasText ? textOf(one) != textOf(other) : withoutSpace(textOf(one)) != withoutSpace(textOf(other))) return false;
    for (std::size_t i = 0; i < ones.size(); ++i)
        if (!areSame(ones[i], others[i])) return false;
    return true;
}

}  // namespace

bool haveSameContent(IXMLDOMDocument* one, IXMLDOMDocument* other) {
    CComPtr<IXMLDOMNode> oneRoot;
    CComPtr<IXMLDOMNode> otherRoot;
    return one->get_documentElement(&oneRoot) == S_OK && other->get_documentElement(&otherRoot) == S_OK &&
           areSame(oneRoot, otherRoot);
}

}  // namespace cxml
