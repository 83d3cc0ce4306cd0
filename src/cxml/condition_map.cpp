// Loading a document's top level: its name, its function library, its feature classes.
#include "cxml/condition_map.h"

#include "api/failures.h"
#include "cxml/dom.h"
#include "cxml/expression_file.h"

namespace ConditionalXml {

ConditionMap::ConditionMap() = default;
ConditionMap::~ConditionMap() = default;

bool ConditionMap::load(BSTR path, IXMLDOMDocument* document, IGPMessages* messages) {
    if (!document || SysStringLen(path) == 0) return false;
    if (CComBSTR folder = folderOf(view(path)); folder.Length() != 0) searchDirectories.insert(std::move(folder));
    return readName(document) && loadInlineExpressions(document, messages) && loadExpressionFiles(document, messages) &&
           loadFeatureClasses(document, messages);
}

std::shared_ptr<FeatureClassRule> ConditionMap::find(const CComBSTR& upperName) const {
    const auto entry = featureClassRules.find(upperName);
    return entry == featureClassRules.end() ? nullptr : entry->second;
}

std::shared_ptr<FeatureClassRule> ConditionMap::addClass() {
    return classes_.emplace_back(std::make_shared<FeatureClassRule>(*this));
}

bool ConditionMap::readName(IXMLDOMDocument* document) {
    CComPtr<IXMLDOMNode> root;
    if (FAILED(checked(document->selectSingleNode(CComBSTR(OLESTR("/conditionMap")), &root))) || !root) return false;
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(root);
    if (!attributes) return false;
    auto text = attributeText(attributes, OLESTR("name"));
    if (!text) return false;
    name = std::move(*text);
    return true;
}

namespace {

/// The `name` attribute of a library piece; its absence is reported with the element's place in the document.
std::optional<CComBSTR> pieceName(IXMLDOMNode* node, std::string_view xpath, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    std::optional<CComBSTR> name;
    if (attributes) name = attributeText(attributes, OLESTR("name"));
    if (!name) addError(messages, "Failed to get name attribute for " + std::string(xpath) + " node!");
    return name;
}

}  // namespace

bool ConditionMap::loadInlineExpressions(IXMLDOMDocument* document, IGPMessages* messages) {
    const auto nodes = selectNodes(document, OLESTR("/conditionMap/functionLibrary/expression"));
    if (!nodes) return false;
    return forEachNode(nodes, [&](IXMLDOMNode* node) {
        const auto piece = pieceName(node, "/conditionMap/functionLibrary/expression", messages);
        if (!piece) return false;
        // A backslash and the letter n, not a line feed: the condition that uses the piece resolves it.
        CComBSTR source;
        if (FAILED(VarBstrCat(nodeText(node), CComBSTR(OLESTR("\\n")), &source))) AtlThrow(E_OUTOFMEMORY);
        expressions[*piece] = std::move(source);
        return true;
    });
}

bool ConditionMap::loadExpressionFiles(IXMLDOMDocument* document, IGPMessages* messages) {
    const auto nodes = selectNodes(document, OLESTR("/conditionMap/functionLibrary/expressionFile"));
    if (!nodes) return false;
    return forEachNode(nodes, [&](IXMLDOMNode* node) {
        const auto piece = pieceName(node, "/conditionMap/functionLibrary/expressionFile", messages);
        if (!piece) return false;
        if (expressions.contains(*piece))
            throwText(quoted("Encountered duplicate CXML expression name: '", view(*piece)));
        const CComBSTR path = nodeText(node);
        const ExpressionFile file = readExpressionFile(view(path), searchDirectories);
        if (!file.content) {
            addError(messages, quoted("Failed to open CXML expression file: '", view(path)));
            if (file.refusal)
                addError(messages, "CXML expression file '" + narrow(view(path)) + "' " + file.refusal + "!");
            return false;
        }
        expressions[*piece] = widen(*file.content + '\n');
        return true;
    });
}

bool ConditionMap::loadFeatureClasses(IXMLDOMDocument* document, IGPMessages* messages) {
    const auto nodes = selectNodes(document, OLESTR("/conditionMap/featureClass"));
    if (!nodes) return false;
    // A rejected element is passed over.
    return forEachNode(nodes, [&](IXMLDOMNode* node) {
        FeatureClassRule::load(node, *this, messages);
        return true;
    });
}

}  // namespace ConditionalXml
