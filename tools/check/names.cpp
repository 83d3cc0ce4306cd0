#include "names.h"

#include "checks.h"
#include "rules/query_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <set>

namespace cxml {
namespace {

using ConditionalXml::BstrLess;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::ExpressionSource;
using ConditionalXml::QueryRule;
using ConditionalXml::QueryRuleFetch;
using ConditionalXml::WhereTemplate;

// Goes through a list as a row does; aliases gather on the way.
class Walk {
public:
    explicit Walk(const std::function<void(const NameUse&)>& report) : report_(report) {}

    void visit(const CheckedCondition& checked) {
        for (const CheckedRule& rule : checked.rules) {
            visit(rule);
            for (const CheckedCondition& nested : rule.nested)
                if (nested.isKept) visit(nested);
        }
        if (!checked.condition->callsExpression()) return;
        for (const ExpressionSource::Argument& argument : checked.expression.arguments)
            if (isFieldName(argument)) use(checked.expression.at, true, "the argument", toBstr(toUtf8(argument.name)));
    }

private:
    void visit(const CheckedRule& rule) {
        if (auto* const attribute = rule.as<CXAttributeRule>()) {
            use(rule.at, false, "the rule's field", attribute->fieldName);
            if (attribute->valueFieldName.Length() != 0 && attribute->ruleType == 'A')
                use(rule.at, false, "the rule's fieldValue", attribute->valueFieldName);
        }
        if (auto* const query = rule.as<QueryRule>())
            for (const WhereTemplate::Piece& piece : query->where.pieces())
                if (piece.kind == WhereTemplate::Kind::Field && piece.fieldName.Length() != 0)
                    use(rule.at, false, "the query's parameter", piece.fieldName);
        if (auto* const fetch = rule.as<QueryRuleFetch>())
            for (const auto& [name, alias] : fetch->fetchFields) aliases_.insert(alias);
    }

    void use(Spot at, bool isArgument, const char* what, const CComBSTR& name) const {
        if (!aliases_.contains(name)) report_({at, isArgument, what, toUtf8(name)});
    }

    const std::function<void(const NameUse&)>& report_;
    std::set<CComBSTR, BstrLess> aliases_;
};

}  // namespace

void forEachUnfetched(const CheckedClass& checked, const std::function<void(const NameUse&)>& report) {
    for (const CheckedClass::List* list : checked.lists()) {
        Walk walk(report);
        for (const CheckedCondition* condition : *list) walk.visit(*condition);
    }
}

bool isFieldName(const ExpressionSource::Argument& argument) {
    const std::string text = toUtf8(argument.name);
    return std::ranges::all_of(
        text, [](unsigned char c) { return c == '_' || c == '.' || c >= 0x80 || std::isalnum(c) != 0; });
}

void checkQualifiedNames(const DocumentModel& model, Findings& findings) {
    for (const CheckedClass& checked : model.classes()) {
        if (!checked.isKept) continue;
        forEachUnfetched(checked, [&](const NameUse& use) {
            if (use.isQualified())
                findings.add(use.at, use.isArgument ? "argument-unsupplied" : "field-unsupplied",
                             fmt::format("no fetch rule supplies {} '{}' before it is used", use.what, use.name));
        });
    }
}

}  // namespace cxml
