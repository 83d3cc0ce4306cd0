#include "platform/portable/dom_select.h"

#include "platform/portable/dom_parser.h"
#include "platform/portable/dom_path.h"
#include "platform/portable/dom_text.h"

#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>
#include <new>
#include <string>

namespace symbology_platform::dom {

namespace {

template <auto free>
struct Freed {
    template <class T>
    void operator()(T* object) const {
        free(object);
    }
};

void ignoreError(void* /*context*/, ReportedError /*error*/) {}

/// Follows the steps down from `node`. \return false when the search is over.
bool walk(xmlNode* node, const SimplePath& path, std::size_t step, bool firstOnly, std::vector<xmlNode*>& found) {
    for (xmlNode* child = node->children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE || !isNamed(child, path.steps[step])) continue;
        if (step + 1 < path.steps.size()) {
            if (!walk(child, path, step + 1, firstOnly, found)) return false;
            continue;
        }
        found.push_back(child);
        if (firstOnly) return false;
    }
    return true;
}

HRESULT evaluate(xmlNode* node, const std::string& expression, bool firstOnly, std::vector<xmlNode*>& found) {
    const std::unique_ptr<xmlXPathContext, Freed<xmlXPathFreeContext>> context(xmlXPathNewContext(node->doc));
    if (!context) throw std::bad_alloc();
    context->error = ignoreError;
    context->node = node;
    const std::unique_ptr<xmlXPathCompExpr, Freed<xmlXPathFreeCompExpr>> compiled(
        xmlXPathCtxtCompile(context.get(), reinterpret_cast<const xmlChar*>(expression.c_str())));
    if (!compiled) return E_FAIL;
    const std::unique_ptr<xmlXPathObject, Freed<xmlXPathFreeObject>> result(
        xmlXPathCompiledEval(compiled.get(), context.get()));
    if (!result || result->type != XPATH_NODESET) return E_FAIL;
    if (!result->nodesetval) return S_OK;

    xmlXPathNodeSetSort(result->nodesetval);
    for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
        xmlNode* const selected = result->nodesetval->nodeTab[i];
        // The namespace axis makes nodes that die with the result.
        if (selected->type == XML_NAMESPACE_DECL) continue;
        found.push_back(selected);
        if (firstOnly) break;
    }
    return S_OK;
}

}  // namespace

HRESULT select(xmlNode* node, std::u16string_view path, bool firstOnly, std::vector<xmlNode*>& found) {
    std::string text;
    if (path.find(u'\0') != std::u16string_view::npos || !toUtf8(path, text)) return E_FAIL;
    const SimplePath simple = parseSimplePath(text);
    if (simple.steps.empty()) {
        const std::string expression = matchNamesAsWritten(text);
        return expression.empty() ? E_FAIL : evaluate(node, expression, firstOnly, found);
    }
    if (node->type == XML_ELEMENT_NODE || node->type == XML_DOCUMENT_NODE || simple.fromDocument)
        walk(simple.fromDocument ? reinterpret_cast<xmlNode*>(node->doc) : node, simple, 0, firstOnly, found);
    return S_OK;
}

}  // namespace symbology_platform::dom
