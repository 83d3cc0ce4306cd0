// The host's interfaces, as far as the library uses them.
//
// The library speaks to its host only through these. Where the host fixes an identifier it stands here as the host
// has it; the others (they all begin with 5D3C) are our own. To run inside a host that ships declarations of its own,
// put them in the place of this one header.
//
// Ownership is COM's: an out argument carries a reference or a text that the caller releases; in arguments are
// borrowed. Objects are used on the thread that runs the library's call.
#pragma once

#include "platform/platform.h"

/// Identifies a row within its table.
using ObjectId = LONGLONG;

/// Kinds of dataset, as passed to name searches and dataset listings.
enum DatasetType : LONG { datasetFeatureClass = 5, datasetTable = 10 };

/// Kinds of workspace, as IWorkspace::get_Type reports them.
enum WorkspaceType : LONG { workspaceFileSystem = 0, workspaceLocalDatabase = 1, workspaceRemoteDatabase = 2 };

/// What a selection holds; the library uses sets of object ids only.
enum SelectionType : LONG { selectionIdSet = 1 };

/// How many of the matching rows a selection takes.
enum SelectionOption : LONG { selectionAll = 1, selectionOnlyOne = 2 };

/// The caller's message collection.
SYMBOLOGY_INTERFACE(IGPMessages, "5D3C0001-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddError(LONG code, BSTR text) = 0;
};

/// The fields of a table. A table's collection does not change while anyone holds a reference to it; when the table's
/// fields change, the table hands out another collection.
SYMBOLOGY_INTERFACE(IFields, "5D3C0002-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The field's position, -1 when there is none of that name.
    virtual HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) = 0;
};

struct ITable;

/// The values of a row.
SYMBOLOGY_INTERFACE(IRowBuffer, "5D3C0003-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) = 0;
};

/// A row of a table; changes reach the table with Store or through the cursor that gave the row.
SYMBOLOGY_INTERFACE(IRow, "5D3C0004-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IRowBuffer {
    virtual HRESULT STDMETHODCALLTYPE get_Table(ITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE Store() = 0;
};

/// Rows in turn.
SYMBOLOGY_INTERFACE(ICursor, "5D3C0005-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// S_FALSE and null at the end.
    virtual HRESULT STDMETHODCALLTYPE NextRow(IRow** row) = 0;
    /// Writes back a row that this cursor gave.
    virtual HRESULT STDMETHODCALLTYPE UpdateRow(IRow* row) = 0;
};

/// Which rows and which of their fields. The host reads it through an interface of its own.
SYMBOLOGY_INTERFACE(IQueryFilter, "FDFEBD93-ED75-11D0-9A95-080009EC734B") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE AddField(BSTR name) = 0;
    virtual HRESULT STDMETHODCALLTYPE put_WhereClause(BSTR clause) = 0;
};

/// The object ids of a selection.
SYMBOLOGY_INTERFACE(IEnumIDs, "5D3C0006-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    /// S_FALSE at the end.
    virtual HRESULT STDMETHODCALLTYPE Next(ObjectId* id) = 0;
};

/// A set of rows of one table.
SYMBOLOGY_INTERFACE(ISelectionSet, "5D3C0007-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_IDs(IEnumIDs** ids) = 0;
};

/// The same set, as a source of rows to update.
SYMBOLOGY_INTERFACE(ISelectionSet2, "5D3C0008-8A41-4E7B-9C1E-2B6F0A7D4C01") : public ISelectionSet {
    virtual HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) = 0;
};

struct IWorkspace;

/// Rows under fields.
SYMBOLOGY_INTERFACE(ITable, "5D3C0009-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRow(ObjectId id, IRow** row) = 0;
    /// A null filter selects from all rows; `workspace` (where to keep the selection) may be null.
    virtual HRESULT STDMETHODCALLTYPE Select(IQueryFilter* filter, SelectionType type, SelectionOption option,
                                             IWorkspace* workspace, ISelectionSet** selection) = 0;
    /// A null filter means all rows with all fields.
    virtual HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) = 0;
};

/// A table that is a class of objects: it has an alias name.
SYMBOLOGY_INTERFACE(IObjectClass, "5D3C000A-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_AliasName(BSTR* name) = 0;
};

/// An object class with geometry (or a plain one that the host treats alike).
SYMBOLOGY_INTERFACE(IFeatureClass, "5D3C000B-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IObjectClass {};

/// The subtypes of a class; offered by every class, whether it has subtypes or not.
SYMBOLOGY_INTERFACE(ISubtypes, "5D3C000C-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_HasSubtype(VARIANT_BOOL* has) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_SubtypeFieldName(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_SubtypeFieldIndex(LONG* index) = 0;
};

/// A named thing in a workspace.
SYMBOLOGY_INTERFACE(IDataset, "2D04C042-7766-11D0-B77D-00805F7CED21") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Workspace(IWorkspace** workspace) = 0;
};

/// Datasets in turn.
SYMBOLOGY_INTERFACE(IEnumDataset, "5D3C000D-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// S_FALSE and null at the end.
    virtual HRESULT STDMETHODCALLTYPE Next(IDataset** dataset) = 0;
};

/// Where datasets live.
SYMBOLOGY_INTERFACE(IWorkspace, "5D3C000E-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_Type(WorkspaceType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Datasets(DatasetType type, IEnumDataset** datasets) = 0;
};

SYMBOLOGY_INTERFACE(IWorkspace2, "5D3C000F-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) = 0;
};

SYMBOLOGY_INTERFACE(IFeatureWorkspace, "D9CAB491-3F69-11D1-B095-0000F8780820") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE OpenTable(BSTR name, ITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenFeatureClass(BSTR name, IFeatureClass** featureClass) = 0;
};

/// How the workspace's database writes names.
SYMBOLOGY_INTERFACE(ISQLSyntax, "5D3C0010-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) = 0;
    virtual HRESULT STDMETHODCALLTYPE QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) = 0;
};

/// Offered by workspaces that are connections to a database server.
SYMBOLOGY_INTERFACE(IDatabaseConnectionInfo, "5D3C0011-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_ConnectedDatabase(BSTR* database) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR* user) = 0;
};

/// The host's query-filter class, for VelCreateInstance.
constexpr GUID CLSID_QueryFilter = symbology_platform::parseGuid("FDFEBD95-ED75-11D0-9A95-080009EC734B");
