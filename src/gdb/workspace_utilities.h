// Opening tables and feature classes by the plain names that documents use.
#pragma once

#include "symbology/host_interfaces.h"

namespace GeodatabaseUtilities {

/// Finds the name under which a dataset exists in the workspace.
/// \return S_OK with a new text in `qualifiedName` (null when a remote database has no dataset to learn the
///         qualification from); S_FALSE when there is no such dataset; a failure status.
HRESULT Workspace_FindQualifiedDatasetName(IWorkspace* workspace, DatasetType type, BSTR name, BSTR* qualifiedName);

/// Opens a table, or a feature class as a table when no table has the name.
HRESULT Workspace_OpenTable(IWorkspace* workspace, BSTR name, ITable** table);

HRESULT Workspace_OpenFeatureClass(IWorkspace* workspace, BSTR name, IFeatureClass** featureClass);

}  // namespace GeodatabaseUtilities
