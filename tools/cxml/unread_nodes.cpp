#include "unread_nodes.h"

#include "text.h"

#include <fmt/format.h>
#include <map>

namespace cxml {
namespace {

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    node->get_nodeName(&name);
    return toUtf8(name);
}

bool wasRead(INodeTrace* trace) {
    VARIANT_BOOL read = VARIANT_TRUE;
    trace->get_wasRead(&read);
    return read != VARIANT_FALSE;
}

LONG lineOf(INodeTrace* trace) {
    LONG line = 0;
    trace->get_line(&line);
    return line;
}

std::vector<CComPtr<IXMLDOMNode>> listed(INodeTrace* trace,
                                         HRESULT (STDMETHODCALLTYPE INodeTrace::*list)(IXMLDOMNodeList**)) {
    std::vector<CComPtr<IXMLDOMNode>> result;
    CComPtr<IXMLDOMNodeList> nodes;
    if (FAILED((trace->*list)(&nodes)) || !nodes) return result;
    for (;;) {
        CComPtr<IXMLDOMNode> node;
        if (nodes->nextNode(&node) != S_OK || !node) return result;
        result.push_back(std::move(node));
    }
}

bool isForTheReader(const std::string& attribute) {
    return attribute == "xmlns" || attribute.starts_with("xmlns:") || attribute.starts_with("xml:");
}

class Search {
public:
    /// Lists what is unread in the element. \return whether it or something in it was read; when not, the element
    /// itself is all that was listed.
    bool visit(IXMLDOMNode* element, const std::string& path);

    std::vector<UnreadNode> found;

private:
    bool visitAttributes(INodeTrace* trace, const std::string& path);
    bool visitChildren(INodeTrace* trace, const std::string& path);
};

bool Search::visit(IXMLDOMNode* element, const std::string& path) {
    const CComQIPtr<INodeTrace> trace(element);
    if (!trace) return true;
    const std::size_t before = found.size();
    bool read = wasRead(trace);
    read |= visitAttributes(trace, path);
    read |= visitChildren(trace, path);
    if (!read) {
        found.resize(before);
        found.push_back({false, lineOf(trace), nameOf(element), path});
    }
    return read;
}

bool Search::visitAttributes(INodeTrace* trace, const std::string& path) {
    bool read = false;
    for (const CComPtr<IXMLDOMNode>& attribute : listed(trace, &INodeTrace::get_allAttributes)) {
        const CComQIPtr<INodeTrace> attributeTrace(attribute.p);
        const std::string name = nameOf(attribute);
        if (!attributeTrace || isForTheReader(name)) continue;
        if (wasRead(attributeTrace))
            read = true;
        else
            found.push_back({true, lineOf(attributeTrace), name, fmt::format("{}/@{}", path, name)});
    }
    return read;
}

bool Search::visitChildren(INodeTrace* trace, const std::string& path) {
    bool read = false;
    std::map<std::string, int> positions;
    for (const CComPtr<IXMLDOMNode>& child : listed(trace, &INodeTrace::get_childElements)) {
        const std::string name = nameOf(child);
        read |= visit(child, fmt::format("{}/{}[{}]", path, name, ++positions[name]));
    }
    return read;
}

}  // namespace

std::vector<UnreadNode> findUnread(IXMLDOMDocument* document) {
    Search search;
    CComPtr<IXMLDOMNode> root;
    if (document && document->get_documentElement(&root) == S_OK && root) search.visit(root, "/" + nameOf(root));
    return search.found;
}

}  // namespace cxml
