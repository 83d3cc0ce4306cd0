#include "model_text.h"

#include "cxml/condition_map.h"
#include "cxml/document_reader.h"
#include "memhost/messages.h"
#include "rules/query_rules.h"
#include "support/documents.h"
#include "symbology/vel_core.h"
#include "tools/text/text.h"

#include <sstream>
#include <stdexcept>
#include <typeinfo>

namespace {

using namespace ConditionalXml;
using cxml::toUtf8;

class Text {
public:
    void add(const ConditionMap& map) {
        out_ << "map " << toUtf8(map.name) << '\n';
        for (const auto& [name, source] : map.expressions)
            out_ << "piece " << toUtf8(name) << '=' << toUtf8(source) << '\n';
        for (const auto& [name, rule] : map.featureClassRules) {
            out_ << "class " << toUtf8(name) << ' ' << toUtf8(rule->name) << '\n';
            for (const CComBSTR& field : rule->referencedFields) out_ << " reads " << toUtf8(field) << '\n';
            list(rule->defaultConditions, " ");
            for (const auto& [code, conditions] : rule->subtypeConditions) {
                out_ << " subtype " << code << '\n';
                list(conditions, " ");
            }
        }
        out_ << map.conditions.size() << " conditions, " << map.rules.size() << " rules\n";
    }
    std::string take() { return out_.str(); }

private:
    void list(const FeatureClassRule::ConditionList& conditions, const std::string& margin) {
        for (const auto& condition : conditions) add(*condition, margin + ' ');
    }

    void add(const Condition& condition, const std::string& margin) {
        out_ << margin << "condition " << toUtf8(condition.rulename) << ' ' << condition.xoffset << ' '
             << condition.yoffset << ' ' << condition.angle << ' ' << condition.hasPlacement << ' ' << condition.type
             << ' ' << toUtf8(condition.field) << '\n';
        for (const auto& [name, isList] : condition.generateArguments)
            out_ << margin << "argument " << toUtf8(name) << isList << '\n';
        out_ << margin << "source " << toUtf8(condition.expressionText) << '\n';
        for (const auto& rule : condition.rules) add(*rule, margin + ' ');
    }

    void add(const Rule& rule, const std::string& margin) {
        out_ << margin << "rule " << typeid(rule).name();
        if (const auto* compared = dynamic_cast<const CXAttributeRule*>(&rule)) {
            out_ << ' ' << toUtf8(compared->fieldName) << ' ' << (compared->valueFieldName ? 1 : 0)
                 << toUtf8(compared->valueFieldName);
            for (const CComVariant& value : compared->values)
                out_ << " [" << value.vt << ' ' << (value.vt == VT_BSTR ? toUtf8(CComBSTR(value.bstrVal)) : "") << ']';
        }
        if (const auto* asks = dynamic_cast<const QueryRule*>(&rule)) {
            out_ << ' ' << toUtf8(asks->tableName) << ' ' << toUtf8(asks->queryText);
            for (const WhereTemplate::Piece& piece : asks->where.pieces())
                out_ << " [" << static_cast<int>(piece.kind) << ' ' << toUtf8(piece.text) << ' '
                     << toUtf8(piece.fieldName) << ' '
                     << (piece.value.vt == VT_BSTR ? toUtf8(CComBSTR(piece.value.bstrVal)) : "") << ']';
        }
        if (const auto* fetches = dynamic_cast<const QueryRuleFetch*>(&rule)) fetched(*fetches);
        out_ << '\n';
        list(rule.nestedConditions, margin);
    }

    void fetched(const QueryRuleFetch& rule) {
        out_ << ' ' << static_cast<int>(rule.selectOption);
        for (const auto& [field, alias] : rule.fetchFields)
            out_ << " [" << toUtf8(field) << ' ' << toUtf8(alias) << ']';
    }

    std::ostringstream out_;
};

}  // namespace

std::string modelText(std::string_view bytes, const std::string& path) {
    const TemporaryFolder folder;
    CComPtr<IXMLDOMDocument> dom;
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    if (FAILED(VelCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMDocument),
                                 reinterpret_cast<void**>(&dom))) ||
        FAILED(dom->load(CComVariant(memhost::bstr(folder.write("document.cxml", bytes))), &isLoaded)) ||
        isLoaded == VARIANT_FALSE)
        throw std::runtime_error("not well-formed: " + std::string(bytes));
    ConditionMap map;
    const CComPtr<memhost::Messages> messages = memhost::make<memhost::Messages>();
    std::string text;
    try {
        // Sources are compared, whether they are Python or not.
        const Reading reading{.messages = messages, .compile = [](Condition& /*condition*/) {}};
        text = readDocument(map, memhost::bstr(path), dom, reading) ? "loaded\n" : "not loaded\n";
    } catch (const std::exception& e) {
        text = e.what() + std::string("\n");
    }
    Text model;
    model.add(map);
    text += model.take();
    for (const memhost::Messages::Entry& entry : messages->entries()) text += entry.text + '\n';
    return text;
}
