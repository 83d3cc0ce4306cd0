// SymbologyManager: the one class that the library exports.
#pragma once

#include "symbology/export.h"
#include "symbology/host_interfaces.h"

#include <memory>

namespace ConditionalXml {
class ConditionMap;
}

/// Reads a CXML rule document and symbolizes feature classes or single rows with it.
///
/// Copies share the loaded document. One manager, and all that share its document, are used from one thread at a time;
/// nothing here locks. COM pointers are borrowed for the call. A message collection may be null: texts are then
/// dropped and nothing else changes. Running out of memory leaves every method as CAtlException(E_OUTOFMEMORY),
/// except where a method says otherwise.
class SYMBOLOGY_API SymbologyManager {
public:
    /// Without a document.
    SymbologyManager() noexcept;
    /// With the other one's document and texts.
    SymbologyManager(const SymbologyManager& other);
    /// The same; what was there before goes.
    SymbologyManager& operator=(const SymbologyManager& other);
    /// The document goes with the last manager that shares it.
    ~SymbologyManager();

    /// Loads the document at `path` in the place of the current one.
    /// \return true when it loaded; false when it did not, with the reasons in `messages`. The former document is
    ///         dropped either way.
    /// \throws std::runtime_error when the document cannot be created, read or parsed (the former document then stays),
    ///         or when two function-library pieces that may not share a name do.
    bool loadCXML(const OLECHAR* path, IGPMessages* messages);

    /// Symbolizes the rows of `selection`, or all rows when it is null, and writes the changed ones back.
    /// \return false when nothing could be run (null class, no configuration, no cursor); failures of single rows are
    ///         messages and do not make it false. No std::exception leaves it.
    bool symbolize(IFeatureClass* featureClass, ISelectionSet* selection, IGPMessages* messages);

    /// Symbolizes one row that the caller holds and, when it changed, stores. \param row null is refused.
    /// \param messages may be null.
    /// \param changed set true when the row changed, otherwise left alone: it accumulates over many calls.
    /// \return true when the row was handled or needed nothing. No exception leaves it, out of memory included.
    bool symbolize(IRow* row, bool* changed, IGPMessages* messages);

    /// Drops the loaded document. Remembered names, paths and flags stay.
    void resetXmls() noexcept;

    /// Sets "SYMBOL_C" and the computed fields of every row of the class to NULL; the placement fields stay.
    /// \return false when no document is loaded, the class is null or has no configuration.
    /// \throws std::runtime_error "Failed to clear symbology field!"; rows written before stay cleared.
    bool resetReps(IFeatureClass* featureClass);

private:
    friend struct SymbologyManagerAccess;

    /// Reads or writes one field of the first row of a table. \return E_FAIL when there is no such field, else the
    /// status of the first step that failed.
    static HRESULT GetTableField(ITable* table, const OLECHAR* fieldName, CComVariant& value);
    HRESULT putTableField(ITable* table, const OLECHAR* fieldName, CComVariant& value);

    BSTR documentName = nullptr;
    BSTR documentAlias = nullptr;
    bool isRuleDefinitions = false;
    bool isConditionMap = false;
    BSTR ruleDefinitionsPath = nullptr;
    BSTR conditionMapPath = nullptr;
    std::shared_ptr<ConditionalXml::ConditionMap> currentMap;
};

/// The door to the members that the host may look at and the table helpers that exist for it.
struct SymbologyManagerAccess {
    /// Reads a field of a table's first row. \return E_FAIL when there is no such field, else the status of the first
    /// step that failed.
    static HRESULT getTableField(ITable* table, const OLECHAR* fieldName, CComVariant& value) {
        return SymbologyManager::GetTableField(table, fieldName, value);
    }
    /// Writes it, likewise.
    static HRESULT putTableField(SymbologyManager& manager, ITable* table, const OLECHAR* fieldName,
                                 CComVariant& value) {
        return manager.putTableField(table, fieldName, value);
    }
    /// The texts and flags below are what the document says of itself; texts are borrowed, null where there is none.
    static BSTR documentName(const SymbologyManager& manager) { return manager.documentName; }
    /// Likewise, its title.
    static BSTR documentAlias(const SymbologyManager& manager) { return manager.documentAlias; }
    /// Whether it is a document of definitions.
    static bool isRuleDefinitions(const SymbologyManager& manager) { return manager.isRuleDefinitions; }
    /// Whether it is a document of conditions.
    static bool isConditionMap(const SymbologyManager& manager) { return manager.isConditionMap; }
    /// Where the definitions came from.
    static BSTR ruleDefinitionsPath(const SymbologyManager& manager) { return manager.ruleDefinitionsPath; }
    /// Where the conditions came from.
    static BSTR conditionMapPath(const SymbologyManager& manager) { return manager.conditionMapPath; }
    /// Shared with the manager.
    static const std::shared_ptr<ConditionalXml::ConditionMap>& currentMap(const SymbologyManager& manager) {
        return manager.currentMap;
    }
};
