// What a document holds and nothing looks at.
#include "document_check.h"
#include "document_model.h"
#include "language.h"
#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>

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

bool isForTheReader(const std::string& attribute) {
    return attribute == "xmlns" || attribute.starts_with("xmlns:") || attribute.starts_with("xml:") ||
           attribute == "xsi:noNamespaceSchemaLocation";
}

bool has(std::span<const std::string> words, const std::string& word) {
    return std::ranges::find(words, word) != words.end();
}

// An element and those around it.
struct Step {
    const Step* parent;  // null for the root
    const std::string& name;
    Spot at;

    std::string parentName() const { return parent ? parent->name : std::string(); }
    std::span<const std::string> siblings() const {
        return parent ? wordsOf(parent->parentName(), parent->name).children : std::span<const std::string>();
    }
    std::vector<Spot> chain() const {
        std::vector<Spot> spots;
        for (const Step* step = this; step; step = step->parent) spots.push_back(step->at);
        return spots;
    }
};

struct Unread {
    bool isAttribute;
    Spot at;
    std::string name;
    std::string element;                    // that has it
    std::string parent;                     // of that element
    std::span<const std::string> siblings;  // the names of what is read beside an element
    std::vector<Spot> within;
    std::vector<std::string> children;  // of an element: the names of those in it
};

class Search {
public:
    /// Lists what is unread in the element. \return whether it or something in it was read; when not, the element
    /// itself is all that was listed.
    bool visit(IXMLDOMNode* element, const Step& place) {
        const CComQIPtr<INodeTrace> trace(element);
        if (!trace) return true;
        const std::size_t before = found.size();
        bool read = wasRead(trace);
        read |= visitAttributes(trace, place);
        read |= visitChildren(trace, place);
        if (!read) {
            found.resize(before);
            found.push_back({false, place.at, place.name, place.name, place.parentName(), place.siblings(),
                             place.chain(), childNames(trace)});
        }
        return read;
    }

    std::vector<Unread> found;

private:
    bool visitAttributes(INodeTrace* trace, const Step& place) {
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
                found.push_back({true, spotOf(attribute), name, place.name, place.parentName(), {}, place.chain(), {}});
        }
        return read;
    }

    static std::vector<std::string> childNames(INodeTrace* trace) {
        std::vector<std::string> names;
        for (const CComPtr<IXMLDOMNode>& child : listed(trace, &INodeTrace::get_childElements))
            names.push_back(nameOf(child));
        return names;
    }

    bool visitChildren(INodeTrace* trace, const Step& place) {
        bool read = false;
        for (const CComPtr<IXMLDOMNode>& child : listed(trace, &INodeTrace::get_childElements)) {
            const std::string name = nameOf(child);
            read |= visit(child, {&place, name, spotOf(child)});
        }
        return read;
    }
};

void reportAttribute(const Unread& unread, Findings& findings) {
    const ElementWords words = wordsOf(unread.parent, unread.element);
    Finding& finding =
        findings.add(unread.at, "unread-attribute",
                     fmt::format("nothing reads the attribute '{}' of '{}'", unread.name, unread.element));
    finding.within = unread.within;
    if (has(words.attributes, unread.name)) return;
    const std::string meant = mostSimilar(unread.name, words.attributes);
    if (!meant.empty()) {
        finding.severity = Severity::Error;
        finding.help = fmt::format("did you mean '{}'?", meant);
        finding.isMisspelling = true;
    } else if (!words.attributes.empty()) {
        finding.help = fmt::format("the attributes of '{}' are: {}", unread.element, fmt::join(words.attributes, ", "));
    }
}

void reportElement(const Unread& unread, Findings& findings) {
    const std::string where = whereReadIn(unread.name);
    Finding& finding = findings.add(unread.at, "unread-element",
                                    fmt::format("nothing reads the element '{}' in '{}'", unread.name, unread.parent));
    finding.within = unread.within;
    if (has(unread.siblings, unread.name)) return;
    if (!where.empty()) {
        finding.severity = Severity::Error;
        finding.help = fmt::format("'{}' is read in {}", unread.name, where);
        return;
    }
    const std::string meant = mostSimilar(unread.name, unread.siblings);
    if (meant.empty()) return;
    finding.severity = Severity::Error;
    finding.help = has(unread.children, meant)
                       ? fmt::format("write the '{}' elements directly into '{}'", meant, unread.parent)
                       : fmt::format("did you mean '{}'?", meant);
    finding.isMisspelling = true;
}

}  // namespace

void checkUnread(IXMLDOMDocument* document, Findings& findings) {
    Search search;
    CComPtr<IXMLDOMNode> root;
    if (!document || document->get_documentElement(&root) != S_OK || !root) return;
    search.visit(root, {nullptr, nameOf(root), spotOf(root)});
    for (const Unread& unread : search.found)
        if (unread.isAttribute)
            reportAttribute(unread, findings);
        else
            reportElement(unread, findings);
}

}  // namespace cxml
