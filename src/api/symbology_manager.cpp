// SymbologyManager: the library's edge, where documents come in and failures become texts.
#include "symbology/symbology_manager.h"

#include "api/document_loader.h"
#include "cxml/condition_map.h"
#include "symbolize/runs.h"
#include "text/failures.h"
#include "text/text.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

using ConditionalXml::addMessage;
using ConditionalXml::checked;
using ConditionalXml::ConditionMap;
using ConditionalXml::makeBstr;
using ConditionalXml::view;

namespace {

/// A copy that the caller owns; null stays null.
CComBSTR copyOf(BSTR text) {
    return text ? makeBstr(view(text)) : CComBSTR();
}

void replace(BSTR& member, CComBSTR text) noexcept {
    SysFreeString(std::exchange(member, text.Detach()));
}

}  // namespace

SymbologyManager::SymbologyManager() noexcept = default;

SymbologyManager::SymbologyManager(const SymbologyManager& other)
    : isRuleDefinitions(other.isRuleDefinitions), isConditionMap(other.isConditionMap), currentMap(other.currentMap) {
    // All copies before the first member takes one: a failed copy then leaves nothing behind.
    CComBSTR name = copyOf(other.documentName);
    CComBSTR alias = copyOf(other.documentAlias);
    CComBSTR definitions = copyOf(other.ruleDefinitionsPath);
    CComBSTR map = copyOf(other.conditionMapPath);
    documentName = name.Detach();
    documentAlias = alias.Detach();
    ruleDefinitionsPath = definitions.Detach();
    conditionMapPath = map.Detach();
}

SymbologyManager& SymbologyManager::operator=(const SymbologyManager& other) {
    if (this == &other) return *this;
    if (documentName != other.documentName) replace(documentName, copyOf(other.documentName));
    if (documentAlias != other.documentAlias) replace(documentAlias, copyOf(other.documentAlias));
    isRuleDefinitions = other.isRuleDefinitions;
    isConditionMap = other.isConditionMap;
    if (ruleDefinitionsPath != other.ruleDefinitionsPath)
        replace(ruleDefinitionsPath, copyOf(other.ruleDefinitionsPath));
    if (conditionMapPath != other.conditionMapPath) replace(conditionMapPath, copyOf(other.conditionMapPath));
    currentMap = other.currentMap;
    return *this;
}

SymbologyManager::~SymbologyManager() {
    currentMap.reset();
    SysFreeString(conditionMapPath);
    SysFreeString(ruleDefinitionsPath);
    SysFreeString(documentAlias);
    SysFreeString(documentName);
}

bool SymbologyManager::loadCXML(const OLECHAR* path, IGPMessages* messages) try {
    const CComBSTR ownPath = makeBstr(path ? WideView(path) : WideView{});
    const CComPtr<IXMLDOMDocument> document = ConditionalXml::loadDocument(ownPath);
    if (!document) return false;

    using ConditionalXml::DocumentHead;
    if (auto definitions = ConditionalXml::readHead(document, OLESTR("/ruleDefinitions"), OLESTR("spec"))) {
        CComBSTR rememberedPath = ownPath;
        isRuleDefinitions = true;
        replace(documentName, std::move(definitions->name));
        replace(documentAlias, std::move(definitions->alias));
        replace(ruleDefinitionsPath, std::move(rememberedPath));
    } else if (auto map = ConditionalXml::readHead(document, OLESTR("/conditionMap"), OLESTR("name"))) {
        CComBSTR rememberedPath = ownPath;
        isConditionMap = true;
        replace(documentName, std::move(map->name));
        replace(documentAlias, std::move(map->alias));
        replace(conditionMapPath, std::move(rememberedPath));
    }

    currentMap.reset();
    currentMap = std::make_shared<ConditionMap>();
    // The remembered path, not the given one: a rule-definitions document has no condition map of its own.
    return currentMap->load(conditionMapPath, document, messages);
} catch (const std::bad_alloc&) {
    AtlThrow(E_OUTOFMEMORY);
}

bool SymbologyManager::symbolize(IFeatureClass* featureClass, ISelectionSet* selection, IGPMessages* messages) try {
    if (!featureClass || !currentMap) return false;
    const std::shared_ptr<ConditionMap> map = currentMap;  // the run's own hold
    return ConditionalXml::symbolizeClass(*map, featureClass, selection, messages);
} catch (const std::bad_alloc&) {
    AtlThrow(E_OUTOFMEMORY);
}

bool SymbologyManager::symbolize(IRow* row, bool* changed, IGPMessages* messages) {
    if (!row || !changed || !currentMap) return false;
    try {
        CComPtr<ITable> table;
        if (FAILED(checked(row->get_Table(&table))) || !CComQIPtr<IObjectClass>(table.p)) return true;
        const std::shared_ptr<ConditionMap> map = currentMap;
        if (ConditionalXml::symbolizeSingleRow(*map, row)) *changed = true;
        return true;
    } catch (const std::runtime_error& e) {
        try {
            addMessage(messages, e.what());
        } catch (...) {  // NOLINT(bugprone-empty-catch): no memory for the text, and nothing may leave this method
        }
        return false;
    } catch (...) {
        return false;
    }
}

void SymbologyManager::resetXmls() noexcept {
    currentMap.reset();
}

bool SymbologyManager::resetReps(IFeatureClass* featureClass) try {
    if (!featureClass || !currentMap) return false;
    CComBSTR name;
    ConditionalXml::upperAliasName(featureClass, name);
    const std::shared_ptr<ConditionMap> map = currentMap;  // the run's own hold
    return ConditionalXml::resetFeatureClass(*map, name, featureClass);
} catch (const std::bad_alloc&) {
    AtlThrow(E_OUTOFMEMORY);
}

namespace {

/// The status of a call that was to give an object: success without one is a failure.
HRESULT given(HRESULT status, const IUnknown* object) {
    return SUCCEEDED(status) && !object ? E_FAIL : status;
}

/// Fetches the first row of a table for one of its fields. \return E_FAIL when there is no such field or no row.
HRESULT firstRow(ITable* table, const OLECHAR* fieldName, LONG& position, CComPtr<IRow>& row) {
    if (!table || !fieldName) return E_POINTER;
    CComPtr<IFields> fields;
    HRESULT hr = table->get_Fields(&fields);
    hr = given(hr, fields);
    if (FAILED(hr)) return hr;
    hr = fields->FindField(CComBSTR(fieldName), &position);
    if (FAILED(hr)) return hr;
    if (position == -1) return E_FAIL;

    CComPtr<ISelectionSet> selection;
    hr = table->Select(nullptr, selectionIdSet, selectionOnlyOne, nullptr, &selection);
    hr = given(hr, selection);
    if (FAILED(hr)) return hr;
    CComPtr<IEnumIDs> ids;
    hr = selection->get_IDs(&ids);
    hr = given(hr, ids);
    if (FAILED(hr)) return hr;
    hr = ids->Reset();
    if (FAILED(hr)) return hr;
    ObjectId id = -1;
    hr = ids->Next(&id);
    if (hr != S_OK) return FAILED(hr) ? hr : E_FAIL;
    hr = table->GetRow(id, &row);
    return given(hr, row);
}

}  // namespace

HRESULT SymbologyManager::GetTableField(ITable* table, const OLECHAR* fieldName, CComVariant& value) {
    LONG position = -1;
    CComPtr<IRow> row;
    const HRESULT hr = firstRow(table, fieldName, position, row);
    if (FAILED(hr)) return hr;
    value.Clear();
    return row->get_Value(position, &value);
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): the declared interface has it as a member
HRESULT SymbologyManager::putTableField(ITable* table, const OLECHAR* fieldName, CComVariant& value) {
    LONG position = -1;
    CComPtr<IRow> row;
    HRESULT hr = firstRow(table, fieldName, position, row);
    if (FAILED(hr)) return hr;
    hr = row->put_Value(position, value);
    return FAILED(hr) ? hr : row->Store();
}
