// CXTableManager: the workspace of the table being symbolized and the tables opened in it. The documents and the rules
// may include this header.
#pragma once

#include "symbology/host_interfaces.h"
#include "text/field_names.h"

#include <map>

namespace ConditionalXml {

/// Keeps tables by name so that rules that read other tables open each once in a run.
class CXTableManager {
public:
    /// The table of that name, opened when it is not known yet; null when it cannot be reached (and then asked for
    /// again next time). The manager keeps the reference.
    ITable* getTable(const CComBSTR& name);

    /// Points the manager at the workspace of a run and enters the table under `name`, replacing what stood there.
    void prepare(IWorkspace* newWorkspace, ITable* table, const CComBSTR& name);

    /// Points the manager at the table of a row: its workspace, and the table under its upper-case dataset name.
    /// Costs nothing when the row's table is the one that was attached last.
    void attach(IRow* row);

    /// The dataset name of the attached table, as the host spells it; empty when there is none.
    const CComBSTR& attachedName() const noexcept { return attachedName_; }

    /// Releases the workspace and every table.
    void reset() noexcept;

    CComPtr<IWorkspace> workspace;
    std::map<CComBSTR, CComPtr<ITable>, BstrLess> tables;

private:
    CComPtr<ITable> attached_;
    CComBSTR attachedName_;
};

}  // namespace ConditionalXml
