// Runs: symbolizing a feature class, a selection of it, or one row that the host holds.
#pragma once

#include "cxml/condition_map.h"
#include "symbolize/row_symbolization.h"
#include "symbology/host_interfaces.h"

namespace ConditionalXml {

/// The class's alias name in upper case, the key of its configuration; empty with a failed status of the host, which is
/// returned.
HRESULT upperAliasName(IObjectClass* objectClass, CComBSTR& name);

/// The class's configuration, found by its alias name, symbolizes the rows of `selection` (all rows when null).
/// \return false when nothing could be run; the reasons are in `messages` (may be null).
/// \throws CAtlException and std::bad_alloc, no other exception.
bool symbolizeClass(const ConditionMap& map, IFeatureClass* featureClass, ISelectionSet* selection,
                    IGPMessages* messages, RowSymbolization::Answers answers = RowSymbolization::Answers::Remembered,
                    EvaluationObserver* observer = nullptr);

/// Symbolizes the rows of `selection` (all rows when null) through an update cursor and writes the changed ones back.
/// \param observer null, or told of each row.
/// \return false when the class has no configuration.
/// \throws std::runtime_error when the cursor cannot be opened.
bool symbolizeFeatureClass(const ConditionMap& map, const CComBSTR& upperName, IFeatureClass* featureClass,
                           ISelectionSet* selection, IGPMessages* messages,
                           RowSymbolization::Answers answers = RowSymbolization::Answers::Remembered,
                           EvaluationObserver* observer = nullptr);

/// Sets "SYMBOL_C" and the computed fields of every row to NULL. \return false when the class has no configuration.
/// \throws std::runtime_error "Failed to clear symbology field!"; rows written before stay cleared.
bool resetFeatureClass(const ConditionMap& map, const CComBSTR& upperName, IFeatureClass* featureClass);

/// Symbolizes one row without storing it, and without messages. \param observer null, or told of it.
/// \return whether it changed.
bool symbolizeSingleRow(const ConditionMap& map, IRow* row, EvaluationObserver* observer = nullptr);

}  // namespace ConditionalXml
