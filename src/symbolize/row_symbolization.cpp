// Symbolizing one row: reading its values, choosing its conditions, writing what differs.
#include "api/failures.h"
#include "cxml/feature_class_rule.h"
#include "rules/row_binding.h"
#include "symbolize/table_manager.h"

#include <exception>
#include <new>
#include <optional>

namespace ConditionalXml {

namespace {

/// Reads the referenced fields of the row. \return false when a value cannot be read.
bool readValues(IRow* row, RowBinding& binding, const CComBSTR& tableName, IGPMessages* messages) {
    binding.values.clear();
    for (const RowBinding::Column& column : binding.columns()) {
        if (column.position >= 0) {
            if (FAILED(checked(row->get_Value(column.position, &binding.values.append(column.slot))))) return false;
        } else if (column.reported && messages) {
            addMessage(messages, "Field '" + narrow(view(column.name)) + "' referenced in CXML does not exist on " +
                                     narrow(view(tableName)) + ".");
        }
    }
    return true;
}

/// The conditions for the row's subtype, the default ones when there are none. Null when the subtype cannot be read.
const FeatureClassRule::ConditionList* selectConditions(const FeatureClassRule& rule, IRow* row, LONG subtypeField) {
    if (rule.subtypeConditions.empty() || subtypeField < 0) return &rule.defaultConditions;
    CComVariant code;
    if (FAILED(checked(row->get_Value(subtypeField, &code)))) return nullptr;
    if (code.vt != VT_I4 && FAILED(checked(VariantChangeTypeEx(&code, &code, 0, 0, VT_I4))))
        return &rule.defaultConditions;
    const auto entry = rule.subtypeConditions.find(code.lVal);
    return entry == rule.subtypeConditions.end() ? &rule.defaultConditions : &entry->second;
}

/// Whether the row's value, as a text, is exactly `wanted`. NULL equals no text.
bool holdsText(const VARIANT& current, BSTR wanted) {
    if (current.vt == VT_BSTR) return view(current.bstrVal) == view(wanted);
    if (current.vt == VT_NULL || current.vt == VT_EMPTY) return false;
    CComVariant text;
    return SUCCEEDED(checked(text.ChangeType(VT_BSTR, &current))) && view(text.bstrVal) == view(wanted);
}

struct PlacementTarget {
    RowBinding::Target RowBinding::* target;
    double Condition::* value;
    const char* failure;
};

constexpr PlacementTarget placementTargets[] = {
    {&RowBinding::xoffset, &Condition::xoffset, "Failed to write value to Xoffset_C!"},
    {&RowBinding::yoffset, &Condition::yoffset, "Failed to write value to Yoffset_C!"},
    {&RowBinding::angle, &Condition::angle, "Failed to write value to Rotate_C!"},
};

/// A row that fails leaves no table behind: the next row starts afresh.
[[noreturn]] void failRow(CXTableManager& tables, const char* text) {
    tables.reset();
    throwText(text);
}

/// Puts the symbol into the row when it differs; `changed` says so even when the put then fails.
void writeSymbol(IRow* row, const RowBinding& binding, BSTR ruleName, CXTableManager& tables, bool& changed) {
    if (SysStringLen(ruleName) == 0) return;
    const VARIANT* current = binding.values.first(binding.symbol.slot);
    if (!current || holdsText(*current, ruleName)) return;
    VARIANT value;  // borrows the text: put_Value copies what it keeps
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = ruleName;
    changed = true;
    if (FAILED(checked(row->put_Value(binding.symbol.position, value))))
        failRow(tables, "Failed to write value to SYMBOL_C!");
}

/// Puts one placement value into the row when it differs. A zero is never written: an earlier value stays.
void writePlacement(IRow* row, const RowBinding& binding, const Condition& matched, const PlacementTarget& placement,
                    CXTableManager& tables, bool& changed) {
    const RowBinding::Target& target = binding.*placement.target;
    const double wanted = matched.*placement.value;
    if (target.position < 0 || wanted == 0) return;
    const VARIANT* current = binding.values.first(target.slot);
    if (!current) return;
    if (current->vt == VT_R8 && current->dblVal == wanted) return;  // NaN equals nothing and is written
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_R8;
    value.dblVal = wanted;
    changed = true;
    if (FAILED(checked(row->put_Value(target.position, value)))) failRow(tables, placement.failure);
}

}  // namespace

bool FeatureClassRule::symbolizeRow(IRow* row, LONG subtypeField, IGPMessages* messages) {
    currentRow = row;
    changed = false;
    tableManager->attach(row);

    CComPtr<IFields> fields;
    if (FAILED(checked(row->get_Fields(&fields))) || !fields) return false;
    if (!binding_->bindTargets(fields)) failRow(*tableManager, "Failed to find SYMBOL_C field!");
    const bool allBound = binding_->bindColumns();
    if (!readValues(row, *binding_, tableManager->attachedName(), messages) || !allBound) return false;

    const ConditionList* conditions = selectConditions(*this, row, subtypeField);
    if (!conditions) return false;
    BSTR ruleName = nullptr;
    const Condition* matched = nullptr;
    const auto evaluate = [&](Condition& condition) {
        try {
            condition.evaluate(binding_->values, ruleName, matched, messages);
        } catch (const std::bad_alloc&) {
            AtlThrow(E_OUTOFMEMORY);
        } catch (const std::exception& e) {
            addMessage(messages, e.what());
        }
    };
    const ConditionMemory* const memory =
        remembersAnswers ? binding_->memory.select(*conditions, binding_->values) : nullptr;
    if (memory)
        memory->decide(ruleName, matched, evaluate);
    else
        for (const std::shared_ptr<Condition>& condition : *conditions) evaluate(*condition);

    writeSymbol(row, *binding_, ruleName, *tableManager, changed);
    if (matched && matched->hasPlacement)
        for (const PlacementTarget& placement : placementTargets)
            writePlacement(row, *binding_, *matched, placement, *tableManager, changed);
    return changed;
}

}  // namespace ConditionalXml
