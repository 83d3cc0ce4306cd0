#include "document_model.h"

#include "cxml/document_reader.h"
#include "cxml/expression_file.h"
#include "text/text.h"
#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <filesystem>

namespace cxml {

using ConditionalXml::attributesOf;
using ConditionalXml::attributeText;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::LibraryPiece;
using ConditionalXml::view;

Spot spotOf(IXMLDOMNode* node) {
    Spot at;
    if (const CComQIPtr<INodeTrace> trace(node); trace) {
        trace->get_line(&at.line);
        trace->get_column(&at.column);
    }
    return at;
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

Spot attributeSpot(IXMLDOMNode* element, const OLECHAR* name) {
    if (const CComQIPtr<INodeTrace> trace(element); trace)
        for (const CComPtr<IXMLDOMNode>& attribute : listed(trace, &INodeTrace::get_allAttributes)) {
            CComBSTR found;
            if (SUCCEEDED(attribute->get_nodeName(&found)) && view(found) == name) return spotOf(attribute);
        }
    return spotOf(element);
}

std::optional<std::string> attributeOf(IXMLDOMNode* element, const OLECHAR* name) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    const std::optional<CComBSTR> text = attributes ? attributeText(attributes, name) : std::nullopt;
    if (!text) return std::nullopt;
    return toUtf8(*text);
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

namespace {

LONG textLineOf(IXMLDOMNode* element) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(element); trace) trace->get_textLine(&line);
    return line == 0 ? spotOf(element).line : line;
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
    // What Python says of the expressions is asked for by itself.
    ConditionalXml::readDocument(map_, toPathBstr(findings.document()), document,
                                 {nullptr, [](ConditionalXml::Condition&) {}, this, true});
}

const CheckedClass* DocumentModel::find(const std::string& alias) const {
    const auto rule = map_.find(upperCase(toBstr(alias)));
    return rule ? byRule_.at(rule.get()) : nullptr;
}

std::vector<std::string> DocumentModel::pieceNames() const {
    std::vector<std::string> names;
    names.reserve(library_.size());
    for (const auto& [name, piece] : library_) names.push_back(toUtf8(name));
    return names;
}

std::string DocumentModel::folder() const {
    return toUtf8(ConditionalXml::folderOf(view(toPathBstr(findings_.document()))));
}

void DocumentModel::findDuplicate(IXMLDOMNode* element, const LibraryPiece& piece) {
    const Piece& earlier = library_.at(*piece.name);
    Finding& finding = findings_.add(
        attributeSpot(element, OLESTR("name")), "library-duplicate",
        piece.file
            ? fmt::format("there is a library piece {} already: the document does not load", quotedText(*piece.name))
            : fmt::format("the library piece {} replaces an earlier one", quotedText(*piece.name)));
    finding.other = Remark{{findings_.document(), earlier.element.line, earlier.element.column}, {}, "the earlier one"};
}

void DocumentModel::onLibraryPiece(IXMLDOMNode* element, const LibraryPiece& piece) {
    if (!piece.name) {
        const Spot at = spotOf(element);
        findings_
            .add(at, "library-unnamed",
                 "the piece of the function library has no attribute 'name': the document does not load")
            .within = {at};
        return;
    }
    if (piece.isTaken) findDuplicate(element, piece);
    if (!piece.source) {
        if (piece.isTaken) return;
        findings_.add(spotOf(element), "library-file",
                      fmt::format("the expression file {} {}: the document does not load", quotedText(piece.text),
                                  piece.file->refusal ? piece.file->refusal : "cannot be opened"));
        return;
    }
    Place place{findings_.document(), textLineOf(element)};
    if (piece.file) place = {shownPath(toUtf8(piece.text), folder()), 1, 1};
    library_[*piece.name] = {WideString(*piece.source), std::move(place), attributeSpot(element, OLESTR("name"))};
}

void DocumentModel::onUnnamedClass(IXMLDOMNode* element) {
    const Spot at = spotOf(element);
    Finding& finding =
        findings_.add(at, "class-unnamed", "the featureClass has no attribute 'name': nothing of it is used");
    finding.within = finding.spoils = {at};
}

void DocumentModel::beginClass(IXMLDOMNode* element, const CComBSTR& name, FeatureClassRule& rule) {
    CheckedClass*& checked = byRule_[&rule];
    if (!checked) {
        checked = &classes_.emplace_back();
        checked->at = spotOf(element);
        checked->name = toUtf8(name);
    }
    class_ = checked;
    element_ = spotOf(element);
    list_.clear();
    defaultsAreKept_ = false;
}

void DocumentModel::endClass(FeatureClassRule& /*rule*/, bool isKept, const FeatureClassRule* replaced) {
    if (defaultsAreKept_) class_->defaults.insert(class_->defaults.end(), list_.begin(), list_.end());
    class_->isKept = isKept;
    if (!replaced) return;
    CheckedClass& earlier = *byRule_.at(replaced);
    earlier.isKept = false;
    Finding& finding = findings_.add(
        class_->at, "class-replaced",
        fmt::format("the featureClass '{}' replaces an earlier one; only a name in upper case adds to an earlier one",
                    class_->name));
    finding.other =
        Remark{{findings_.document(), earlier.at.line, earlier.at.column}, {}, "nothing of this one is used"};
}

void DocumentModel::beginSubtype(IXMLDOMNode* element, const std::optional<CComBSTR>& number,
                                 const std::set<LONG>& codes) {
    list_.clear();
    const Spot at = spotOf(element);
    if (!class_->firstSubtype) class_->firstSubtype = at;
    if (!number) {
        Finding& finding = findings_.add(at, "subtype-number",
                                         fmt::format("the subtype has no attribute 'number': the featureClass '{}' is "
                                                     "not configured by this element",
                                                     class_->name));
        finding.within = {at};
        finding.spoils = {at, element_};
    } else if (codes.empty()) {
        findings_.add(
            attributeSpot(element, OLESTR("number")), "subtype-number",
            fmt::format("no row can reach the subtype's conditions: its number {} holds no code", quotedText(*number)));
    }
}

void DocumentModel::endSubtype(const std::set<LONG>& codes, bool isKept) {
    if (!isKept) return;
    for (const LONG code : codes) {
        CheckedClass::List& list = class_->subtypes[code];
        list.insert(list.end(), list_.begin(), list_.end());
    }
}

void DocumentModel::beginDefaults(bool isKept) {
    list_.clear();
    defaultsAreKept_ = isKept;
}

void DocumentModel::beginCondition(IXMLDOMNode* element) {
    openConditions_.emplace_back();
    openConditions_.back().element = element;
    openConditions_.back().at = spotOf(element);
}

void DocumentModel::endCondition(const std::shared_ptr<ConditionalXml::Condition>& condition, bool attributesAreGood,
                                 bool isKept) {
    CheckedCondition checked = std::move(openConditions_.back());
    openConditions_.pop_back();
    checked.condition = condition;
    checked.attributesAreGood = attributesAreGood;
    checked.isKept = isKept;
    if (!openRules_.empty()) {
        openRules_.back().nested.push_back(std::move(checked));
        return;
    }
    const CheckedCondition& stored = class_->conditions.emplace_back(std::move(checked));
    if (isKept) list_.push_back(&stored);
}

void DocumentModel::beginRule(IXMLDOMNode* element) {
    CheckedRule& rule = openRules_.emplace_back();
    rule.element = element;
    rule.at = spotOf(element);
    rule.condition = openConditions_.back().at;
}

void DocumentModel::onRule(const std::shared_ptr<ConditionalXml::Rule>& rule) {
    openRules_.back().rule = rule;
}

void DocumentModel::endRule() {
    openConditions_.back().rules.push_back(std::move(openRules_.back()));
    openRules_.pop_back();
}

void DocumentModel::onExpression(IXMLDOMNode* element, WideView text, const std::optional<CComBSTR>& library,
                                 const std::optional<WideView>& piece) {
    CheckedExpression& expression = openConditions_.back().expression;
    if (expression.at.line == 0) expression.at = spotOf(element);
    const Place place{findings_.document(), textLineOf(element)};
    expression.lines.add(text, place);
    if (!library) return;
    if (!piece) {
        Finding& finding = findings_.add(attributeSpot(element, OLESTR("library")), "library-unknown",
                                         fmt::format("the function library has no piece {}", quotedText(*library)));
        finding.help = suggestion(toUtf8(*library), pieceNames(), "the library's pieces are: ");
        finding.within = finding.spoils = {openConditions_.back().at};
        return;
    }
    expression.lines.add(OLESTR("\n"), place);
    expression.lines.add(*piece, library_.at(*library).place);
}

void DocumentModel::onExpressionSource(const std::vector<ConditionalXml::ExpressionSource::Argument>& arguments,
                                       WideView source, bool escapesResolved) {
    CheckedExpression& expression = openConditions_.back().expression;
    expression.arguments = arguments;
    expression.source = source;
    expression.escapesResolved = escapesResolved;
}

Spot operandSpot(const CheckedRule& rule, std::size_t index) {
    Spot at = attributeSpot(rule.element, OLESTR("value"));
    if (at != rule.at) return at;
    std::size_t passed = 0;
    if (const CComQIPtr<INodeTrace> trace(rule.element); trace)
        for (const CComPtr<IXMLDOMNode>& child : listed(trace, &INodeTrace::get_childElements)) {
            CComBSTR name;
            if (FAILED(child->get_nodeName(&name)) || toUtf8(name) != "value") continue;
            if (passed++ == index) return spotOf(child);
        }
    return rule.at;
}

}  // namespace cxml
