#include "rules/query_rules.h"

#include "api/failures.h"
#include "cxml/dom.h"
#include "cxml/feature_class_rule.h"
#include "symbolize/table_manager.h"
#include "symbology/vel_core.h"

#include <algorithm>

namespace ConditionalXml {

namespace {

CComPtr<IQueryFilter> createFilter() {
    CComPtr<IUnknown> object;
    if (FAILED(checked(VelCreateInstance(CLSID_QueryFilter, nullptr, CLSCTX_ALL, __uuidof(IUnknown),
                                         reinterpret_cast<void**>(&object)))))
        return nullptr;
    return CComQIPtr<IQueryFilter>(object.p);
}

CComPtr<ISelectionSet> select(ITable* table, IQueryFilter* filter, SelectionOption option) {
    CComPtr<ISelectionSet> selection;
    if (FAILED(checked(table->Select(filter, selectionIdSet, option, nullptr, &selection)))) return nullptr;
    return selection;
}

}  // namespace

QueryRule::QueryRule(FeatureClassRule& owner) : Rule(owner) {
    ruleType = 'Q';
}

bool QueryRule::parse(IXMLDOMNode* element) {
    std::optional<CComBSTR> table;
    if (const auto attributes = attributesOf(element)) table = attributeText(attributes, OLESTR("table"));
    if (table) tableName = std::move(*table);
    CComPtr<IXMLDOMNode> query;
    if (FAILED(checked(element->selectSingleNode(CComBSTR(OLESTR("query")), &query)))) return false;
    if (query) {
        auto text = tryNodeText(query);
        if (!text) return false;
        queryText = std::move(*text);
    }
    complete_ = table && query;
    where = WhereTemplate(view(queryText));

    const CComPtr<IXMLDOMNodeList> params = selectNodes(element, OLESTR("params/param"));
    if (!params) return false;
    return forEachNode(params, [&](IXMLDOMNode* param) {
        const auto attributes = attributesOf(param);
        const auto value = attributes ? attributeText(attributes, OLESTR("value")) : std::nullopt;
        const WideView text = value ? view(*value) : WideView{};
        if (text.starts_with(OLESTR('\''))) {
            where.addConstant(text.size() > 2 ? text.substr(1, text.size() - 2) : WideView{});
        } else {
            const CComBSTR name = makeBstr(text);
            featureClassRule->registerReferencedField(name);
            where.addField(name, featureClassRule->fieldNames->intern(name));
        }
        return true;
    });
}

bool QueryRule::addFields(IQueryFilter* /*filter*/) const {
    return true;
}

QueryRule::Query QueryRule::prepare(const RowValueMap& rowValues, IGPMessages* messages) {
    if (!complete_) return {};
    if (const WhereTemplate::Piece* missing = where.fill(rowValues, clause_)) {
        if (messages)
            addMessage(messages, "Rule referenced field '" + narrow(view(missing->fieldName)) + "' not found on '" +
                                     narrow(view(tableName)) + "'");
        return {};
    }
    Query query;
    query.filter = createFilter();
    // A filter that did not take all it was given would ask for other rows.
    if (query.filter && (!addFields(query.filter) || FAILED(checked(query.filter->put_WhereClause(makeBstr(clause_))))))
        return {};
    query.table = featureClassRule->tableManager->getTable(tableName);
    return query;
}

bool QueryRuleExists::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    const Query query = prepare(rowValues, messages);
    if (!query.table) return false;
    const CComPtr<ISelectionSet> selection = select(query.table, query.filter, selectionOnlyOne);
    LONG count = 0;
    return selection && SUCCEEDED(checked(selection->get_Count(&count))) && count > 0;
}

bool QueryRuleFetch::parse(IXMLDOMNode* element) {
    if (const auto attributes = attributesOf(element)) {
        const auto option = attributeText(attributes, OLESTR("selectOption"));
        if (option && equalNames(*option, OLESTR("multiple"))) selectOption = selectionAll;
    }
    if (!QueryRule::parse(element)) return false;
    const CComPtr<IXMLDOMNodeList> fields = selectNodes(element, OLESTR("fields/field"));
    if (!fields) return false;
    const bool complete = forEachNode(fields, [&](IXMLDOMNode* field) {
        const auto attributes = attributesOf(field);
        auto name = attributes ? attributeText(attributes, OLESTR("name")) : std::nullopt;
        auto alias = attributes ? attributeText(attributes, OLESTR("alias")) : std::nullopt;
        if (name && alias) fetchFields[std::move(*name)] = std::move(*alias);
        return true;
    });
    for (const auto& [name, alias] : fetchFields) aliasSlots_.push_back(featureClassRule->fieldNames->intern(alias));
    return complete;
}

bool QueryRuleFetch::addFields(IQueryFilter* filter) const {
    return std::ranges::all_of(fetchFields,
                               [&](const auto& field) { return SUCCEEDED(checked(filter->AddField(field.first))); });
}

bool QueryRuleFetch::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    const Query query = prepare(rowValues, messages);
    if (!query.table) return false;
    const CComPtr<ISelectionSet> selection = select(query.table, query.filter, selectOption);
    CComPtr<IEnumIDs> ids;
    if (!selection || FAILED(checked(selection->get_IDs(&ids))) || !ids || FAILED(checked(ids->Reset()))) return false;
    bool found = false;
    for (ObjectId id = 0; checked(ids->Next(&id)) == S_OK;) {
        CComPtr<IRow> row;
        if (FAILED(checked(query.table->GetRow(id, &row))) || !row) continue;
        found = true;
        fetchRow(row, rowValues, messages);
    }
    return found;
}

void QueryRuleFetch::fetchRow(IRow* row, RowValueMap& rowValues, IGPMessages* messages) const {
    CComPtr<IFields> fields;
    if (FAILED(checked(row->get_Fields(&fields))) || !fields) return;
    auto slot = aliasSlots_.begin();
    for (const auto& [name, alias] : fetchFields) {
        const FieldNames::Slot target = *slot++;
        LONG position = -1;
        if (FAILED(checked(fields->FindField(name, &position)))) continue;
        if (position < 0) {
            if (messages)
                addMessage(messages, "Field '" + narrow(view(name)) +
                                         "' referenced by query fetch rule in CXML does not exist on " +
                                         narrow(view(tableName)) + ".");
            continue;
        }
        CComVariant value;
        if (SUCCEEDED(checked(row->get_Value(position, &value)))) rowValues.append(target) = std::move(value);
    }
}

std::shared_ptr<Rule> createQueryRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(ruleElement);
    const auto keyword = attributes ? attributeText(attributes, OLESTR("operator")) : std::nullopt;
    const CComBSTR name = keyword ? *keyword : makeBstr({});
    std::shared_ptr<QueryRule> rule;
    if (equalNames(name, OLESTR("exists")) || equalNames(name, OLESTR("exist")))
        rule = std::make_shared<QueryRuleExists>(owner);
    else if (equalNames(name, OLESTR("fetch")))
        rule = std::make_shared<QueryRuleFetch>(owner);
    if (!rule) {
        addMessage(messages, "Operator '" + narrow(view(name)) + "' not recognized for query rule.");
        return nullptr;
    }
    return rule->parse(ruleElement) ? rule : nullptr;
}

}  // namespace ConditionalXml
