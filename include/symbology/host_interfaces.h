// The host's interfaces, as far as the library uses them.
//
// The library speaks to its host only through these. Where the host fixes an identifier it stands here as the host
// has it; the others (they all begin with 5D3C) are our own. To run inside a host that ships declarations of its own,
// put them in the place of this one header.
//
// Ownership is COM's: an out argument carries a reference or a text that the caller releases, and is null after a
// failure; in arguments are borrowed. Out arguments are never null when the library calls. Any method may fail with a
// status of its own: the row, the rule or the run that needed it fails then, with a message (docs/errors.md), and
// E_OUTOFMEMORY is passed on as such. Objects are used on the thread that runs the library's call.
#pragma once

#include "platform/platform.h"

/// \file
/// The host's interfaces, as far as the library uses them.

/// Identifies a row within its table.
using ObjectId = LONGLONG;

/// Kinds of dataset, as passed to name searches and dataset listings.
enum DatasetType : LONG {
    datasetFeatureClass = 5,  ///< feature classes
    datasetTable = 10         ///< tables without geometry
};

/// Kinds of workspace, as IWorkspace::get_Type reports them.
enum WorkspaceType : LONG {
    workspaceFileSystem = 0,     ///< a folder of files
    workspaceLocalDatabase = 1,  ///< a database in a file
    workspaceRemoteDatabase = 2  ///< a database server: names have owners
};

/// What a selection holds; the library uses sets of object ids only.
enum SelectionType : LONG {
    selectionIdSet = 1  ///< object ids
};

/// How many of the matching rows a selection takes.
enum SelectionOption : LONG {
    selectionAll = 1,     ///< every one
    selectionOnlyOne = 2  ///< the first that is found: the library asks whether there is any
};

/// The caller's message collection.
SYMBOLOGY_INTERFACE(IGPMessages, "5D3C0001-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// A text for the user. The library passes over a failure.
    virtual HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) = 0;
    /// A text about something that failed, and its status. The library passes over a failure.
    virtual HRESULT STDMETHODCALLTYPE AddError(LONG code, BSTR text) = 0;
};

/// The fields of a table. A table's collection does not change while anyone holds a reference to it; when the table's
/// fields change, the table hands out another collection.
SYMBOLOGY_INTERFACE(IFields, "5D3C0002-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The field's position, from 0; -1 when there is none of that name.
    virtual HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) = 0;
};

struct ITable;

/// The values of a row.
SYMBOLOGY_INTERFACE(IRowBuffer, "5D3C0003-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The fields of the row's values: the table's collection, or that of the fields that a cursor was asked for.
    virtual HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) = 0;
    /// The value at a position. \param index from 0. \param value empty when it is called; VT_NULL for none; the caller
    /// clears it.
    virtual HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) = 0;
    /// Has the row hold a value, converted to the field's type. \param index from 0. \param value borrowed; VT_NULL for
    /// none.
    virtual HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) = 0;
};

/// A row of a table; changes reach the table with Store or through the cursor that gave the row.
SYMBOLOGY_INTERFACE(IRow, "5D3C0004-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IRowBuffer {
    /// The row's table, the same object for all rows of it.
    virtual HRESULT STDMETHODCALLTYPE get_Table(ITable** table) = 0;
    /// Writes the row's values into its table.
    virtual HRESULT STDMETHODCALLTYPE Store() = 0;
};

/// Rows in turn.
SYMBOLOGY_INTERFACE(ICursor, "5D3C0005-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// \param row the next row; null, with S_FALSE, at the end. One that recycles may give the same object each time.
    virtual HRESULT STDMETHODCALLTYPE NextRow(IRow** row) = 0;
    /// Writes back what was put into a row. \param row the one that this cursor gave last.
    virtual HRESULT STDMETHODCALLTYPE UpdateRow(IRow* row) = 0;
};

/// Which rows and which of their fields. The host reads it through an interface of its own.
SYMBOLOGY_INTERFACE(IQueryFilter, "FDFEBD93-ED75-11D0-9A95-080009EC734B") : public IUnknown {
    /// Adds a field to those that rows have; without any they have all. \param name as the document writes it.
    virtual HRESULT STDMETHODCALLTYPE AddField(BSTR name) = 0;
    /// Has rows satisfy a condition. \param clause in the workspace's SQL, without WHERE; empty for all rows.
    virtual HRESULT STDMETHODCALLTYPE put_WhereClause(BSTR clause) = 0;
};

/// The object ids of a selection.
SYMBOLOGY_INTERFACE(IEnumIDs, "5D3C0006-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// Begins again: Next() gives the first id.
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    /// \param id the next one; S_FALSE at the end.
    virtual HRESULT STDMETHODCALLTYPE Next(ObjectId* id) = 0;
};

/// A set of rows of one table.
SYMBOLOGY_INTERFACE(ISelectionSet, "5D3C0007-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// How many rows it has.
    virtual HRESULT STDMETHODCALLTYPE get_Count(LONG* count) = 0;
    /// Their ids, in an order of the host's.
    virtual HRESULT STDMETHODCALLTYPE get_IDs(IEnumIDs** ids) = 0;
};

/// The same set, as a source of rows to update.
SYMBOLOGY_INTERFACE(ISelectionSet2, "5D3C0008-8A41-4E7B-9C1E-2B6F0A7D4C01") : public ISelectionSet {
    /// The rows as a source of updates. \param filter null for all of them with all fields. \param recycling whether
    /// the cursor may give one object again and again. \param cursor before the first row.
    virtual HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) = 0;
};

struct IWorkspace;

/// Rows under fields.
SYMBOLOGY_INTERFACE(ITable, "5D3C0009-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The table's fields, as they are now.
    virtual HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) = 0;
    /// The row with this id; a failure status when there is none.
    virtual HRESULT STDMETHODCALLTYPE GetRow(ObjectId id, IRow** row) = 0;
    /// Selects rows. \param filter null for all of them. \param type what the selection holds. \param option how many
    /// rows it takes. \param workspace where to keep the selection; may be null. \param selection may be empty.
    virtual HRESULT STDMETHODCALLTYPE Select(IQueryFilter* filter, SelectionType type, SelectionOption option,
                                             IWorkspace* workspace, ISelectionSet** selection) = 0;
    /// The rows as a source of updates. \param filter null for all of them with all fields. \param recycling whether
    /// the cursor may give one object again and again. \param cursor before the first row.
    virtual HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) = 0;
};

/// A table that is a class of objects: it has an alias name.
SYMBOLOGY_INTERFACE(IObjectClass, "5D3C000A-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The field's position, from 0; -1 when there is none of that name.
    virtual HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) = 0;
    /// The class's title, by which documents know it.
    virtual HRESULT STDMETHODCALLTYPE get_AliasName(BSTR* name) = 0;
};

/// An object class with geometry (or a plain one that the host treats alike).
SYMBOLOGY_INTERFACE(IFeatureClass, "5D3C000B-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IObjectClass {};

/// The subtypes of a class; offered by every class, whether it has subtypes or not.
SYMBOLOGY_INTERFACE(ISubtypes, "5D3C000C-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// VARIANT_TRUE when the class has a subtype field.
    virtual HRESULT STDMETHODCALLTYPE get_HasSubtype(VARIANT_BOOL* has) = 0;
    /// The name of the subtype field.
    virtual HRESULT STDMETHODCALLTYPE get_SubtypeFieldName(BSTR* name) = 0;
    /// Its position, from 0; -1 without one.
    virtual HRESULT STDMETHODCALLTYPE get_SubtypeFieldIndex(LONG* index) = 0;
};

/// A named thing in a workspace.
SYMBOLOGY_INTERFACE(IDataset, "2D04C042-7766-11D0-B77D-00805F7CED21") : public IUnknown {
    /// The name in the workspace, with its owner on a server.
    virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) = 0;
    /// The workspace that it is in.
    virtual HRESULT STDMETHODCALLTYPE get_Workspace(IWorkspace** workspace) = 0;
};

/// Datasets in turn.
SYMBOLOGY_INTERFACE(IEnumDataset, "5D3C000D-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// \param dataset the next one; null, with S_FALSE, at the end.
    virtual HRESULT STDMETHODCALLTYPE Next(IDataset** dataset) = 0;
};

/// Where datasets live.
SYMBOLOGY_INTERFACE(IWorkspace, "5D3C000E-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// What kind of workspace it is.
    virtual HRESULT STDMETHODCALLTYPE get_Type(WorkspaceType* type) = 0;
    /// Its datasets, those inside other datasets left out. \param type which of them. \param datasets before the first.
    virtual HRESULT STDMETHODCALLTYPE get_Datasets(DatasetType type, IEnumDataset** datasets) = 0;
};

/// Whether names exist, asked without opening anything.
SYMBOLOGY_INTERFACE(IWorkspace2, "5D3C000F-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// Whether a dataset is there. \param type of which kind. \param name in full. \param exists VARIANT_TRUE when it
    /// is.
    virtual HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) = 0;
};

/// Opens datasets by name.
SYMBOLOGY_INTERFACE(IFeatureWorkspace, "D9CAB491-3F69-11D1-B095-0000F8780820") : public IUnknown {
    /// Opens the table of that name; a failure status when there is none.
    virtual HRESULT STDMETHODCALLTYPE OpenTable(BSTR name, ITable** table) = 0;
    /// Opens the feature class of that name; a failure status when there is none.
    virtual HRESULT STDMETHODCALLTYPE OpenFeatureClass(BSTR name, IFeatureClass** featureClass) = 0;
};

/// How the workspace's database writes names.
SYMBOLOGY_INTERFACE(ISQLSyntax, "5D3C0010-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// Takes a full name apart; parts that it lacks are empty texts.
    virtual HRESULT STDMETHODCALLTYPE ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) = 0;
    /// Makes a full name of its parts; empty ones are left out.
    virtual HRESULT STDMETHODCALLTYPE QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) = 0;
};

/// Offered by workspaces that are connections to a database server.
SYMBOLOGY_INTERFACE(IDatabaseConnectionInfo, "5D3C0011-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    /// The database's name.
    virtual HRESULT STDMETHODCALLTYPE get_ConnectedDatabase(BSTR* database) = 0;
    /// The user's name, which is that of an owner.
    virtual HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR* user) = 0;
};

/// The host's query-filter class, for VelCreateInstance.
constexpr GUID CLSID_QueryFilter = symbology_platform::parseGuid("FDFEBD95-ED75-11D0-9A95-080009EC734B");
