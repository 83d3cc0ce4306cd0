#include "unread_nodes.h"

#include "tools/text/text.h"

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

// Where an element is, put into words only when something is found there.
struct Step {
    const Step* parent;  // null for the root
    const std::string& name;
    int position;  // from 1, among those of its name

    std::string path() const { return parent ? fmt::format("{}/{}[{}]", parent->path(), name, position) : "/" + name; }
};

class Search {
public:
    /// Lists what is unread in the element. \return whether it or something in it was read; when not, the element
    /// itself is all that was listed.
    bool visit(IXMLDOMNode* element, const Step& place);

    std::vector<UnreadNode> found;

private:
    bool visitAttributes(INodeTrace* trace, const Step& place);
    bool visitChildren(INodeTrace* trace, const Step& place);
};

bool Search::visit(IXMLDOMNode* element, const Step& place) {
    const CComQIPtr<INodeTrace> trace(element);
    if (!trace) return true;
    const std::size_t before = found.size();
    bool read = wasRead(trace);
    read |= visitAttributes(trace, place);
    read |= visitChildren(trace, place);
    if (!read) {
        found.resize(before);
        found.push_back({false, lineOf(trace), place.name, place.path()});
    }
    return read;
}

bool Search::visitAttributes(INodeTrace* trace, const Step& place) {
    bool read = false;
    for (const CComPtr<IXMLDOMNode>& attribute : listed(trace, &INodeTrace::get_allAttributes)) {
        const CComQIPtr<INodeTrace> attributeTrace(attribute.p);
        if (!attributeTrace) continue;
        const bool attributeRead = wasRead(attributeTrace);
        if (attributeRead && read) continue;
        const std::string name = nameOf(attribute);
        if (isForTheReader(name)) continue;
        read = read || attributeRead;
        if (!attributeRead)
            found.push_back({true, lineOf(attributeTrace), name, fmt::format("{}/@{}", place.path(), name)});
    }
    return read;
}

bool Search::visitChildren(INodeTrace* trace, const Step& place) {
    bool read = false;
    std::map<std::string, int> positions;
    for (const CComPtr<IXMLDOMNode>& child : listed(trace, &INodeTrace::get_childElements)) {
        const std::string name = nameOf(child);
        read |= visit(child, {&place, name, ++positions[name]});
    }
    return read;
}

}  // namespace

std::vector<UnreadNode> findUnread(IXMLDOMDocument* document) {
    Search search;
    CComPtr<IXMLDOMNode> root;
    if (document && document->get_documentElement(&root) == S_OK && root)
        search.visit(root, {nullptr, nameOf(root), 1});
    return std::move(search.found);
}

}  // namespace cxml
