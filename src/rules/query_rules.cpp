#include "rules/query_rules.h"

#include "gdb/query_filter.h"
#include "gdb/table_manager.h"
#include "text/failures.h"
#include "text/text.h"

#include <algorithm>

namespace ConditionalXml {

namespace {

CComPtr<ISelectionSet> select(ITable* table, IQueryFilter* filter, SelectionOption option) {
    CComPtr<ISelectionSet> selection;
    if (FAILED(checked(table->Select(filter, selectionIdSet, option, nullptr, &selection)))) return nullptr;
    return selection;
}

}  // namespace

QueryRule::QueryRule(const RuleOwner& owner) : Rule(owner) {
    ruleType = 'Q';
}

void QueryRule::parse(const QueryElement& element) {
    if (element.table) tableName = *element.table;
    if (element.query) queryText = *element.query;
    complete_ = element.table && element.query;
    where = WhereTemplate(view(queryText));
    for (const QueryElement::Parameter& parameter : element.parameters)
        if (parameter.isConstant)
            where.addConstant(view(parameter.text));
        else
            where.addField(parameter.text, parameter.slot);
}

bool QueryRule::addFields(IQueryFilter* /*filter*/) const {
    return true;
}

QueryRule::Query QueryRule::prepare(const RowValueMap& rowValues, IGPMessages* messages) {
    outcome_ = Outcome::NotAsked;
    rowsFound_ = 0;
    if (!complete_) return {};
    if (const WhereTemplate::Piece* missing = where.fill(rowValues, clause_)) {
        if (messages)
            addMessage(messages, "Rule referenced field '" + narrow(view(missing->fieldName)) + "' not found on '" +
                                     narrow(view(tableName)) + "'");
        return {};
    }
    Query query;
    query.filter = GeodatabaseUtilities::createQueryFilter();
    outcome_ = Outcome::NoFilter;
    // A filter that did not take all it was given would ask for other rows.
    if (query.filter && (!addFields(query.filter) || FAILED(checked(query.filter->put_WhereClause(makeBstr(clause_))))))
        return {};
    query.table = tables().getTable(tableName);
    outcome_ = query.table ? Outcome::Refused : Outcome::NoTable;  // until it answers
    return query;
}

void QueryRule::answered(LONG rows) noexcept {
    outcome_ = Outcome::Answered;
    rowsFound_ = rows;
}

bool QueryRuleExists::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    const Query query = prepare(rowValues, messages);
    if (!query.table) return false;
    const CComPtr<ISelectionSet> selection = select(query.table, query.filter, selectionOnlyOne);
    LONG count = 0;
    if (!selection || FAILED(checked(selection->get_Count(&count)))) return false;
    answered(count);
    return count > 0;
}

void QueryRuleFetch::parse(const QueryElement& element) {
    QueryRule::parse(element);
    if (element.selectsAll) selectOption = selectionAll;
    std::map<CComBSTR, FieldNames::Slot, BstrLess> slots;
    for (const QueryElement::Field& field : element.fields) {
        fetchFields[field.name] = field.alias;
        slots[field.name] = field.slot;
    }
    for (const auto& [name, slot] : slots) aliasSlots_.push_back(slot);
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
    LONG found = 0;
    for (ObjectId id = 0; checked(ids->Next(&id)) == S_OK;) {
        CComPtr<IRow> row;
        if (FAILED(checked(query.table->GetRow(id, &row))) || !row) continue;
        ++found;
        fetchRow(row, rowValues, messages);
    }
    answered(found);
    return found > 0;
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

std::shared_ptr<QueryRule> makeQueryRule(const CComBSTR& keyword, const RuleOwner& owner) {
    if (equalNames(keyword, OLESTR("exists")) || equalNames(keyword, OLESTR("exist")))
        return std::make_shared<QueryRuleExists>(owner);
    if (equalNames(keyword, OLESTR("fetch"))) return std::make_shared<QueryRuleFetch>(owner);
    return nullptr;
}

}  // namespace ConditionalXml
