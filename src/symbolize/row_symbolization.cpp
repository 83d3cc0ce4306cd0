// Symbolizing one row: reading its values, choosing its conditions, writing what differs.
#include "symbolize/row_symbolization.h"

#include "gdb/table_manager.h"
#include "text/failures.h"
#include "text/text.h"

#include <algorithm>
#include <exception>
#include <new>

namespace ConditionalXml {

RowSymbolization::RowSymbolization(FeatureClassRule& rule, Answers answers, EvaluationObserver* observer)
    : rule_(rule), binding_(rule), answers_(answers), observer_(observer) {
    if (observer_) {
        collectNames(rule_.defaultConditions);
        for (const auto& [code, conditions] : rule_.subtypeConditions) collectNames(conditions);
    }
    rule_.evaluation = {observer_, answers_ == Answers::Evaluated ? observer_ : nullptr, nullptr, nullptr};
}

RowSymbolization::~RowSymbolization() {
    rule_.evaluation = {};
    rule_.tableManager->reset();
    rule_.currentRow = nullptr;
}

bool RowSymbolization::symbolize(IRow* row, LONG subtypeField, IGPMessages* messages) {
    if (observer_) observer_->beginRow(row, rule_);
    rule_.currentRow = row;
    rule_.changed = false;
    rule_.tableManager->attach(row);

    CComPtr<IFields> fields;
    if (FAILED(checked(row->get_Fields(&fields))) || !fields) return false;
    if (!binding_.bindTargets(fields)) failRow("Failed to find SYMBOL_C field!");
    const bool allBound = binding_.bindColumns();
    if (!readValues(row, messages) || !allBound) return false;

    const Selection selection = selectConditions(row, subtypeField);
    if (!selection.list) return false;
    const Decision decision = decide(*selection.list, messages);
    rule_.evaluation.rule = nullptr;
    rule_.evaluation.condition = nullptr;
    if (observer_) tell(selection, decision);
    writeSymbol(row, decision.ruleName);
    if (decision.matched && decision.matched->hasPlacement) writePlacements(row, *decision.matched);
    return rule_.changed;
}

/// Reads the referenced fields of the row. \return false when a value cannot be read.
bool RowSymbolization::readValues(IRow* row, IGPMessages* messages) {
    binding_.values.clear();
    return std::ranges::all_of(binding_.columns(), [&](const RowBinding::Column& column) {
        if (column.position >= 0)
            return SUCCEEDED(checked(row->get_Value(column.position, &binding_.values.append(column.slot))));
        if (column.reported && observer_) observer_->onMissingField(rule_, view(column.name));
        if (column.reported && messages)
            addMessage(messages, "Field '" + narrow(view(column.name)) + "' referenced in CXML does not exist on " +
                                     narrow(view(rule_.tableManager->attachedName())) + ".");
        return true;
    });
}

/// The conditions for the row's subtype, the default ones when there are none.
RowSymbolization::Selection RowSymbolization::selectConditions(IRow* row, LONG subtypeField) const {
    if (rule_.subtypeConditions.empty() || subtypeField < 0) return {&rule_.defaultConditions, std::nullopt};
    CComVariant code;
    if (FAILED(checked(row->get_Value(subtypeField, &code)))) return {};
    if (code.vt != VT_I4 && FAILED(checked(VariantChangeTypeEx(&code, &code, 0, 0, VT_I4))))
        return {&rule_.defaultConditions, std::nullopt};
    const auto entry = rule_.subtypeConditions.find(code.lVal);
    return {entry == rule_.subtypeConditions.end() ? &rule_.defaultConditions : &entry->second, code.lVal};
}

RowSymbolization::Decision RowSymbolization::decide(const ConditionList& conditions, IGPMessages* messages) {
    Decision decision;
    const auto evaluate = [&](Condition& condition) {
        try {
            condition.evaluate(binding_.values, decision.ruleName, decision.matched, messages);
        } catch (const std::bad_alloc&) {
            AtlThrow(E_OUTOFMEMORY);
        } catch (const std::exception& e) {
            addMessage(messages, e.what());
            if (observer_) observer_->onError(condition, e.what());
            rule_.evaluation.rule = nullptr;
        }
    };
    const ConditionMemory* const memory =
        answers_ == Answers::Remembered ? binding_.memory.select(conditions, binding_.values) : nullptr;
    if (memory)
        memory->decide(decision.ruleName, decision.matched, evaluate);
    else
        for (const std::shared_ptr<Condition>& condition : conditions) evaluate(*condition);
    return decision;
}

void RowSymbolization::tell(const Selection& selection, const Decision& decision) {
    const auto named = named_.find(decision.ruleName);
    observer_->onDecision({*selection.list, selection.subtype, named == named_.end() ? nullptr : named->second,
                           decision.matched, binding_.values.first(binding_.symbol.slot)});
}

void RowSymbolization::collectNames(const ConditionList& conditions) {
    for (const std::shared_ptr<Condition>& condition : conditions) {
        if (condition->rulename.Length() != 0) named_.emplace(condition->rulename, condition.get());
        for (const std::shared_ptr<Rule>& rule : condition->rules) collectNames(rule->nestedConditions);
    }
}

/// A row that fails leaves no table behind: the next row starts afresh.
void RowSymbolization::failRow(const std::string& text) {
    rule_.tableManager->reset();
    throwText(text);
}

namespace {

/// Whether the row's value, as a text, is exactly `wanted`. NULL equals no text.
bool holdsText(const VARIANT& current, BSTR wanted) {
    if (current.vt == VT_BSTR) return view(current.bstrVal) == view(wanted);
    if (current.vt == VT_NULL || current.vt == VT_EMPTY) return false;
    CComVariant text;
    return SUCCEEDED(checked(text.ChangeType(VT_BSTR, &current))) && view(text.bstrVal) == view(wanted);
}

}  // namespace

/// Puts the symbol into the row when it differs; `changed` says so even when the put then fails.
void RowSymbolization::writeSymbol(IRow* row, BSTR ruleName) {
    if (SysStringLen(ruleName) == 0) return;
    const VARIANT* current = binding_.values.first(binding_.symbol.slot);
    if (!current || holdsText(*current, ruleName)) return;
    VARIANT value;  // borrows the text: put_Value copies what it keeps
    VariantInit(&value);
    value.vt = VT_BSTR;
    value.bstrVal = ruleName;
    rule_.changed = true;
    const HRESULT status = checked(row->put_Value(binding_.symbol.position, value));
    if (observer_) observer_->onPut(symbolField, *current, value, status);
    if (FAILED(status)) failRow("Failed to write value to SYMBOL_C!");
}

void RowSymbolization::writePlacements(IRow* row, const Condition& matched) {
    for (std::size_t i = 0; i < std::size(placements); ++i)
        putPlacement(row, binding_.placements[i], placements[i], matched.*placements[i].value);
}

/// Puts a placement value into the row when it differs. A zero is never written: an earlier value stays.
void RowSymbolization::putPlacement(IRow* row, const RowBinding::Target& target, const Placement& placement,
                                    double wanted) {
    if (target.position < 0 || wanted == 0) return;
    const VARIANT* current = binding_.values.first(target.slot);
    if (!current) return;
    if (current->vt == VT_R8 && current->dblVal == wanted) return;  // NaN equals nothing and is written
    VARIANT value;
    VariantInit(&value);
    value.vt = VT_R8;
    value.dblVal = wanted;
    rule_.changed = true;
    const HRESULT status = checked(row->put_Value(target.position, value));
    if (observer_) observer_->onPut(placement.field, *current, value, status);
    if (FAILED(status)) failRow("Failed to write value to " + narrow(WideView(placement.field)) + "!");
}

}  // namespace ConditionalXml
