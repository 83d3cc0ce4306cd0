#include "platform/portable/dom_tree.h"

#include "platform/portable/dom_text.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace symbology_platform::dom {

namespace {

/// The parser's own bound does not add up across entities.
constexpr int deepest = 1024;

bool isNamed(const xmlAttr* attribute, std::string_view prefix, std::string_view name) {
    return attribute->ns && attribute->ns->prefix && viewOf(attribute->ns->prefix) == prefix &&
           viewOf(attribute->name) == name;
}

/// xml:space of the element itself, else what holds for its parent.
bool preservesSpace(const xmlNode* element) {
    for (const xmlAttr* attribute = element->properties; attribute; attribute = attribute->next) {
        if (!isNamed(attribute, "xml", "space")) continue;
        const std::string value = attributeValue(attribute);
        if (value == "preserve") return true;
        if (value == "default") return false;
    }
    return element->parent && element->parent->type == XML_ELEMENT_NODE &&
           hasMark(element->parent, Mark::PreservesSpace);
}

void dropSpaceBetweenTags(xmlNode* element) {
    for (xmlNode *child = element->children, *next = nullptr; child; child = next) {
        next = child->next;
        if (child->type != XML_TEXT_NODE || !isSpace(viewOf(child->content))) continue;
        if (next)
            setMark(next, Mark::GapBefore);
        else
            setMark(element, Mark::GapAtEnd);
        xmlUnlinkNode(child);
        xmlFreeNode(child);
    }
}

/// libxml2 keeps declarations apart; in this DOM they are attributes like others.
void showNamespaceDeclarations(xmlNode* element) {
    for (const xmlNs* declaration = element->nsDef; declaration; declaration = declaration->next) {
        const std::string name =
            declaration->prefix ? "xmlns:" + std::string(viewOf(declaration->prefix)) : std::string("xmlns");
        if (!xmlNewProp(element, reinterpret_cast<const xmlChar*>(name.c_str()),
                        declaration->href ? declaration->href : reinterpret_cast<const xmlChar*>("")))
            throw std::bad_alloc();
    }
}

bool finishElement(xmlNode* element, int depth) {
    if (depth > deepest) return false;
    if (preservesSpace(element))
        setMark(element, Mark::PreservesSpace);
    else
        dropSpaceBetweenTags(element);
    if (element->nsDef) showNamespaceDeclarations(element);
    for (xmlNode* child = element->children; child; child = child->next)
        if (child->type == XML_ELEMENT_NODE && !finishElement(child, depth + 1)) return false;
    return true;
}

}  // namespace

Tree::Tree(DocumentOwner document) : document_(std::move(document)) {
    if (!document_) throw std::bad_alloc();
}

std::shared_ptr<Tree> Tree::makeEmpty() {
    return std::make_shared<Tree>(DocumentOwner(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0"))));
}

bool finishTree(xmlDoc* document) {
    xmlNode* const root = xmlDocGetRootElement(document);
    return !root || finishElement(root, 1);
}

bool declaresNamespace(const xmlNode* attribute) {
    if (attribute->ns) return false;
    const std::string_view name = viewOf(attribute->name);
    return name == "xmlns" || name.starts_with("xmlns:");
}

}  // namespace symbology_platform::dom
