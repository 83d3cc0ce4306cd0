#include "symbolize/runs.h"

#include "cxml/target_fields.h"
#include "gdb/query_filter.h"
#include "gdb/table_manager.h"
#include "text/failures.h"
#include "text/text.h"

#include <exception>
#include <new>
#include <set>

namespace ConditionalXml {

namespace {

/// Gives the rule's table manager the workspace and the table of the run.
void prepareTables(FeatureClassRule& rule, IObjectClass* objectClass, const CComBSTR& upperName) {
    CComPtr<IWorkspace> workspace;
    if (const CComQIPtr<IDataset> dataset(objectClass); dataset) checked(dataset->get_Workspace(&workspace));
    rule.tableManager->prepare(workspace, CComQIPtr<ITable>(objectClass), upperName);
}

/// The position of the class's subtype field; -1 when it has no subtypes.
LONG subtypeFieldOf(IObjectClass* objectClass) {
    const CComQIPtr<ISubtypes> subtypes(objectClass);
    VARIANT_BOOL has = VARIANT_FALSE;
    if (!subtypes || FAILED(checked(subtypes->get_HasSubtype(&has))) || has == VARIANT_FALSE) return -1;
    CComBSTR name;  // the host tells both; the position is what counts
    checked(subtypes->get_SubtypeFieldName(&name));
    LONG index = -1;
    return SUCCEEDED(checked(subtypes->get_SubtypeFieldIndex(&index))) ? index : -1;
}

/// What the host said about the call that just failed, or our own words for the class when it said nothing.
std::string hostError(std::string_view lead, const CComBSTR& className) {
    CComPtr<IErrorInfo> info;
    CComBSTR description;
    if (GetErrorInfo(0, &info) == S_OK && info && SUCCEEDED(info->GetDescription(&description)) &&
        description.Length() != 0)
        return narrow(view(description));
    return quoted(lead, view(className));
}

/// A filter for the fields of the rule; null when the host gives none or refuses one of the fields.
CComPtr<IQueryFilter> createFilter(const FeatureClassRule& rule) {
    CComPtr<IQueryFilter> filter = GeodatabaseUtilities::createQueryFilter();
    if (!filter) return nullptr;
    for (const CComBSTR& name : rule.referencedFields)
        if (FAILED(checked(filter->AddField(name)))) return nullptr;
    return filter;
}

CComPtr<ICursor> openCursor(IFeatureClass* featureClass, ISelectionSet* selection, IQueryFilter* filter) {
    CComPtr<ICursor> cursor;
    HRESULT hr = E_NOINTERFACE;
    if (selection) {
        if (const CComQIPtr<ISelectionSet2> rows(selection); rows) hr = rows->Update(filter, VARIANT_FALSE, &cursor);
    } else if (const CComQIPtr<ITable> table(featureClass); table) {
        hr = table->Update(filter, VARIANT_FALSE, &cursor);
    }
    return SUCCEEDED(checked(hr)) ? cursor : nullptr;
}

void symbolizeRows(RowSymbolization& rows, ICursor* cursor, LONG subtypeField, IGPMessages* messages,
                   EvaluationObserver* observer) {
    for (;;) {
        CComPtr<IRow> row;
        if (checked(cursor->NextRow(&row)) != S_OK || !row) return;
        bool changed = false;
        HRESULT status = E_FAIL;
        try {
            changed = rows.symbolize(row, subtypeField, messages);
            // A row that cannot be written back does not end the run; the host knows that it could not.
            status = changed ? checked(cursor->UpdateRow(row)) : S_OK;
        } catch (const std::bad_alloc&) {
            AtlThrow(E_OUTOFMEMORY);
        } catch (const std::exception& e) {
            addMessage(messages, e.what());
        }
        if (observer) observer->endRow(changed, status);
    }
}

}  // namespace

HRESULT upperAliasName(IObjectClass* objectClass, CComBSTR& name) {
    name.Empty();
    const HRESULT hr = checked(objectClass->get_AliasName(&name));
    if (FAILED(hr)) name.Empty();
    name = upperCased(std::move(name));
    return hr;
}

bool symbolizeClass(const ConditionMap& map, IFeatureClass* featureClass, ISelectionSet* selection,
                    IGPMessages* messages, RowSymbolization::Answers answers, EvaluationObserver* observer) try {
    CComBSTR name;
    upperAliasName(featureClass, name);
    return symbolizeFeatureClass(map, name, featureClass, selection, messages, answers, observer);
} catch (const std::bad_alloc&) {
    throw;
} catch (const std::exception& e) {
    addMessage(messages, e.what());
    return false;
}

bool symbolizeFeatureClass(const ConditionMap& map, const CComBSTR& upperName, IFeatureClass* featureClass,
                           ISelectionSet* selection, IGPMessages* messages, RowSymbolization::Answers answers,
                           EvaluationObserver* observer) {
    const std::shared_ptr<FeatureClassRule> rule = map.find(upperName);
    if (!rule) {
        addMessage(messages, quoted("No configuration defined for: '", view(upperName)));
        return false;
    }
    RowSymbolization rows(*rule, answers, observer);
    prepareTables(*rule, featureClass, upperName);
    const LONG subtypeField = subtypeFieldOf(featureClass);
    SetErrorInfo(0, nullptr);  // what an earlier call left behind says nothing about this one
    const CComPtr<IQueryFilter> filter = createFilter(*rule);
    if (!filter) throwText(hostError("Failed to create query filter for: '", upperName));
    const CComPtr<ICursor> cursor = openCursor(featureClass, selection, filter);
    if (!cursor) throwText(hostError("Failed to open update cursor for: '", upperName));
    symbolizeRows(rows, cursor, subtypeField, messages, observer);
    return true;
}

bool symbolizeSingleRow(const ConditionMap& map, IRow* row, EvaluationObserver* observer) {
    CComPtr<ITable> table;
    if (FAILED(checked(row->get_Table(&table))) || !table) return false;
    const CComQIPtr<IObjectClass> objectClass(table.p);
    if (!objectClass) return false;
    CComBSTR upperName;
    if (FAILED(upperAliasName(objectClass, upperName))) return false;
    const std::shared_ptr<FeatureClassRule> rule = map.find(upperName);
    if (!rule) return false;
    RowSymbolization rows(*rule, RowSymbolization::Answers::Evaluated, observer);
    prepareTables(*rule, objectClass, upperName);
    const bool changed = rows.symbolize(row, subtypeFieldOf(objectClass), nullptr);
    if (observer) observer->endRow(changed, S_OK);
    return changed;
}

namespace {

/// Positions of the fields that symbolizing the class writes and a reset clears.
std::set<LONG> clearedFields(const ConditionMap& map, const FeatureClassRule& rule, IFeatureClass* featureClass) {
    std::set<LONG> positions;
    const auto add = [&](const CComBSTR& name) {
        LONG position = -1;
        if (SUCCEEDED(checked(featureClass->FindField(name, &position))) && position >= 0) positions.insert(position);
    };
    add(CComBSTR(symbolField));
    for (const auto& condition : map.conditions)
        if (condition->featureClassRule == &rule && condition->callsExpression() && condition->field.Length() != 0)
            add(condition->field);
    return positions;
}

}  // namespace

bool resetFeatureClass(const ConditionMap& map, const CComBSTR& upperName, IFeatureClass* featureClass) {
    constexpr const char* failure = "Failed to clear symbology field!";
    const std::shared_ptr<FeatureClassRule> rule = map.find(upperName);
    if (!rule) return false;
    const std::set<LONG> positions = clearedFields(map, *rule, featureClass);
    if (positions.empty()) return true;

    const CComQIPtr<ITable> table(featureClass);
    CComPtr<ICursor> cursor;
    if (!table || FAILED(checked(table->Update(nullptr, VARIANT_FALSE, &cursor))) || !cursor) throwText(failure);
    CComVariant null;
    null.vt = VT_NULL;
    for (;;) {
        CComPtr<IRow> row;
        if (checked(cursor->NextRow(&row)) != S_OK || !row) return true;
        for (const LONG position : positions)
            if (FAILED(checked(row->put_Value(position, null)))) throwText(failure);
        if (FAILED(checked(cursor->UpdateRow(row)))) throwText(failure);
    }
}

}  // namespace ConditionalXml
