#include "document_model.h"

#include "api/failures.h"
#include "cxml/expression_file.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "tools/cxml/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <filesystem>

namespace cxml {

using ConditionalXml::attributesOf;
using ConditionalXml::attributeText;
using ConditionalXml::equalNames;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::nodeText;
using ConditionalXml::view;

LONG lineOf(IXMLDOMNode* element) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(element); trace) trace->get_line(&line);
    return line;
}

std::optional<std::string> attributeOf(IXMLDOMNode* element, const OLECHAR* name) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    const std::optional<CComBSTR> text = attributes ? attributeText(attributes, name) : std::nullopt;
    if (!text) return std::nullopt;
    return toUtf8(*text);
}

bool CheckedCondition::isKept() const {
    return attributesAreGood &&
           std::ranges::all_of(rules, [](const CheckedRule& rule) { return rule.rule != nullptr; });
}

std::string CheckedCondition::title() const {
    if (condition->rulename.Length() == 0) return "the condition";
    return fmt::format("the condition '{}'", toUtf8(condition->rulename));
}

std::vector<const CheckedClass::List*> CheckedClass::lists() const {
    std::vector<const List*> all{&defaults};
    for (const auto& [code, list] : subtypes) all.push_back(&list);
    return all;
}

std::string CheckedClass::name() const {
    return toUtf8(rule->name);
}

namespace {

LONG textLineOf(IXMLDOMNode* element) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(element); trace) trace->get_textLine(&line);
    return line == 0 ? lineOf(element) : line;
}

std::string quotedText(const CComBSTR& text) {
    return fmt::format("'{}'", toUtf8(text));
}

// Where the library found the file, as a person would name it.
std::string shownPath(const std::string& path, const std::string& folder) {
    std::error_code error;
    if (std::filesystem::exists(path, error)) return path;
    return std::filesystem::exists(folder + path, error) ? folder + path : path;
}

}  // namespace

DocumentModel::DocumentModel(IXMLDOMDocument* document, Findings& findings) : findings_(findings) {
    readLibrary(document);
    forEachSelected(document, OLESTR("/conditionMap/featureClass"), [&](IXMLDOMNode* node) { readClass(node); });
}

const CheckedClass* DocumentModel::find(const std::string& alias) const {
    const auto entry = byKey_.find(upperCase(toBstr(alias)));
    return entry == byKey_.end() ? nullptr : entry->second;
}

void DocumentModel::readLibrary(IXMLDOMDocument* document) {
    forEachSelected(document, OLESTR("/conditionMap/functionLibrary/expression"),
                    [&](IXMLDOMNode* node) { addInlinePiece(node); });
    forEachSelected(document, OLESTR("/conditionMap/functionLibrary/expressionFile"),
                    [&](IXMLDOMNode* node) { addFilePiece(node); });
}

namespace {

std::optional<CComBSTR> pieceName(IXMLDOMNode* node, Findings& findings) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    std::optional<CComBSTR> name = attributes ? attributeText(attributes, OLESTR("name")) : std::nullopt;
    if (!name)
        findings.add(lineOf(node), "library-unnamed",
                     "the piece of the function library has no attribute 'name': the document does not load");
    return name;
}

}  // namespace

void DocumentModel::addInlinePiece(IXMLDOMNode* node) {
    const std::optional<CComBSTR> name = pieceName(node, findings_);
    if (!name) return;
    if (const auto earlier = library_.find(*name); earlier != library_.end())
        findings_.add(lineOf(node), "library-duplicate",
                      fmt::format("the library piece {} replaces the one in line {}", quotedText(*name),
                                  earlier->second.place.line));
    const CComBSTR text = nodeText(node);
    library_[*name] = {WideString(view(text)) + OLESTR("\\n"), {findings_.document(), textLineOf(node)}};
}

void DocumentModel::addFilePiece(IXMLDOMNode* node) {
    const std::optional<CComBSTR> name = pieceName(node, findings_);
    if (!name) return;
    if (library_.contains(*name)) {
        findings_.add(
            lineOf(node), "library-duplicate",
            fmt::format("there is a library piece {} already: the document does not load", quotedText(*name)));
        return;
    }
    const CComBSTR path = nodeText(node);
    const CComBSTR folder = ConditionalXml::folderOf(view(toPathBstr(findings_.document())));
    std::set<CComBSTR, ConditionalXml::BstrLess> folders;
    if (folder.Length() != 0) folders.insert(folder);
    const ConditionalXml::ExpressionFile file = ConditionalXml::readExpressionFile(view(path), folders);
    if (!file.content) {
        findings_.add(lineOf(node), "library-file",
                      fmt::format("the expression file {} {}: the document does not load", quotedText(path),
                                  file.refusal ? file.refusal : "cannot be opened"));
        return;
    }
    const CComBSTR text = ConditionalXml::widen(*file.content + '\n');
    library_[*name] = {WideString(view(text)), {shownPath(toUtf8(path), toUtf8(folder)), 1}};
}

void DocumentModel::readClass(IXMLDOMNode* node) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    const auto name = attributes ? attributeText(attributes, OLESTR("name")) : std::nullopt;
    if (!name) {
        findings_.add(lineOf(node), "class-unnamed", "the featureClass has no attribute 'name': nothing of it is used");
        return;
    }
    // As loading does: only a name that is written in upper case is found and merged into.
    if (const auto existing = byKey_.find(*name); existing != byKey_.end()) {
        CheckedClass& target = *existing->second;
        const bool complete = readSubtypes(node, target);
        const CheckedClass::List loaded = readConditions(node, target);
        if (complete) target.defaults.insert(target.defaults.end(), loaded.begin(), loaded.end());
        return;
    }
    CheckedClass& created = classes_.emplace_back();
    created.line = lineOf(node);
    created.rule = std::make_shared<FeatureClassRule>(map_);
    created.rule->name = *name;
    created.isKept = readSubtypes(node, created);
    created.defaults = readConditions(node, created);
    if (!created.isKept) return;
    CheckedClass*& place = byKey_[upperCase(*name)];
    if (place) {
        place->isKept = false;
        findings_.add(
            created.line, "class-replaced",
            fmt::format("the featureClass {} replaces the one in line {}; only a name in upper case adds to an "
                        "earlier one",
                        quotedText(*name), place->line));
    }
    place = &created;
}

bool DocumentModel::readSubtypes(IXMLDOMNode* node, CheckedClass& target) {
    bool complete = true;
    forEachSelected(node, OLESTR("subtype"), [&](IXMLDOMNode* subtype) {
        const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(subtype);
        const auto number = attributes ? attributeText(attributes, OLESTR("number")) : std::nullopt;
        const std::set<LONG> codes = number ? ConditionalXml::subtypeCodes(view(*number)) : std::set<LONG>();
        if (!number)
            findings_.add(
                lineOf(subtype), "subtype-number",
                fmt::format("the subtype has no attribute 'number': the featureClass '{}' is not configured by "
                            "this element",
                            target.name()));
        else if (codes.empty())
            findings_.add(lineOf(subtype), "subtype-number",
                          fmt::format("no row can reach the subtype's conditions: its number {} holds no code",
                                      quotedText(*number)));
        complete = complete && number;
        const CheckedClass::List loaded = readConditions(subtype, target);
        if (!complete) return;
        for (const LONG code : codes) {
            CheckedClass::List& list = target.subtypes[code];
            list.insert(list.end(), loaded.begin(), loaded.end());
        }
    });
    return complete;
}

CheckedClass::List DocumentModel::readConditions(IXMLDOMNode* node, CheckedClass& target) {
    CheckedClass::List kept;
    forEachSelected(node, OLESTR("condition"), [&](IXMLDOMNode* element) {
        CheckedCondition& condition = target.conditions.emplace_back(readCondition(element, *target.rule));
        if (condition.isKept()) kept.push_back(&condition);
    });
    return kept;
}

CheckedCondition DocumentModel::readCondition(IXMLDOMNode* node, FeatureClassRule& owner) {
    CheckedCondition result;
    result.element = node;
    result.line = lineOf(node);
    result.condition = std::make_shared<ConditionalXml::Condition>(owner);
    if (const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node); attributes)
        result.attributesAreGood = result.condition->readAttributes(attributes);
    forEachSelected(node, OLESTR("rule"), [&](IXMLDOMNode* rule) { result.rules.push_back(readRule(rule, owner)); });
    result.expression = readExpression(node);
    return result;
}

CheckedRule DocumentModel::readRule(IXMLDOMNode* node, FeatureClassRule& owner) {
    CheckedRule result;
    result.element = node;
    result.line = lineOf(node);
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
    const auto type = attributes ? attributeText(attributes, OLESTR("type")) : std::nullopt;
    // The families' own factories: createRule() would compile the expressions of nested conditions.
    if (type && equalNames(*type, OLESTR("A"))) result.rule = createAttributeRule(node, owner, nullptr);
    if (type && equalNames(*type, OLESTR("L"))) result.rule = createListAttributeRule(node, owner, nullptr);
    if (type && equalNames(*type, OLESTR("Q"))) result.rule = createQueryRule(node, owner, nullptr);
    forEachSelected(node, OLESTR("condition"),
                    [&](IXMLDOMNode* nested) { result.nested.push_back(readCondition(nested, owner)); });
    return result;
}

CheckedExpression DocumentModel::readExpression(IXMLDOMNode* condition) {
    CheckedExpression result;
    ConditionalXml::ExpressionSource source;
    forEachSelected(condition, OLESTR("expression"), [&](IXMLDOMNode* node) {
        if (result.line == 0) result.line = lineOf(node);
        const CComBSTR text = nodeText(node);
        const Place place{findings_.document(), textLineOf(node)};
        source.addExpression(view(text));
        result.lines.add(view(text), place);
        const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(node);
        const auto library = attributes ? attributeText(attributes, OLESTR("library")) : std::nullopt;
        if (!library) return;
        const auto piece = library_.find(*library);
        if (piece == library_.end()) {
            findings_.add(lineOf(node), "library-unknown",
                          fmt::format("the function library has no piece {}", quotedText(*library)));
            return;
        }
        source.addLibrary(piece->second.text);
        result.lines.add(OLESTR("\n"), place);
        result.lines.add(piece->second.text, piece->second.place);
    });
    if (result.line == 0) return result;
    result.escapesResolved = source.mentionsGenerate();
    result.arguments = source.takeArguments();
    result.source = source.finish();
    return result;
}

}  // namespace cxml
