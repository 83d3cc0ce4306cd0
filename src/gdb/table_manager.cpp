#include "gdb/table_manager.h"

#include "gdb/workspace_utilities.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

ITable* CXTableManager::getTable(const CComBSTR& name) {
    if (const auto entry = tables.find(name); entry != tables.end()) return entry->second;
    if (!workspace) return nullptr;
    // Tables can be opened in workspaces of features only.
    if (!CComQIPtr<IFeatureWorkspace>(workspace)) return nullptr;
    CComPtr<ITable> table;
    if (FAILED(checked(GeodatabaseUtilities::Workspace_OpenTable(workspace, name, &table))) || !table) return nullptr;
    return (tables[name] = std::move(table));
}

void CXTableManager::prepare(IWorkspace* newWorkspace, ITable* table, const CComBSTR& name) {
    workspace = newWorkspace;
    tables[name] = table;
}

void CXTableManager::attach(IRow* row) {
    CComPtr<ITable> table;
    if (FAILED(checked(row->get_Table(&table))) || !table || table.p == attached_.p) return;
    const CComQIPtr<IDataset> dataset(table.p);
    if (!dataset) return;
    CComPtr<IWorkspace> owner;
    if (SUCCEEDED(checked(dataset->get_Workspace(&owner))) && owner.p != workspace.p) workspace = std::move(owner);
    CComBSTR name;
    if (FAILED(checked(dataset->get_Name(&name)))) return;
    tables[upperCased(name)] = table;
    attached_ = std::move(table);
    attachedName_ = std::move(name);
}

void CXTableManager::reset() noexcept {
    workspace.Release();
    tables.clear();
    attached_.Release();
    attachedName_.Empty();
}

}  // namespace ConditionalXml
