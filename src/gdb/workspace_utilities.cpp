#include "gdb/workspace_utilities.h"

#include "text/failures.h"
#include "text/text.h"

namespace GeodatabaseUtilities {

namespace {

using ConditionalXml::LogComFailure;

constexpr const OLECHAR* sourceName = OLESTR("GeodatabaseUtilities");
constexpr const OLECHAR* openTableName = OLESTR("GeodatabaseUtilities::Workspace_OpenTable");
constexpr const OLECHAR* openFeatureClassName = OLESTR("GeodatabaseUtilities::Workspace_OpenFeatureClass");
constexpr const OLECHAR* findNameName = OLESTR("GeodatabaseUtilities::Workspace_FindQualifiedDatasetName");

// The numbers by which a diagnostic log entry tells which step failed.
namespace step {
constexpr ULONG openTableSearch = 702;
constexpr ULONG openFeatureClassSearch = 747;
constexpr ULONG openFeatureClass = 755;
constexpr ULONG connectedDatabase = 823;
constexpr ULONG parseRequestedName = 828;
constexpr ULONG connectedUser = 829;
constexpr ULONG qualifyForConnection = 830;
constexpr ULONG existsForConnection = 834;
constexpr ULONG listFeatureClasses = 851;
constexpr ULONG nextFeatureClass = 853;
constexpr ULONG listTables = 857;
constexpr ULONG nextTable = 858;
constexpr ULONG sampleName = 866;
constexpr ULONG parseSampleName = 868;
constexpr ULONG qualifyLikeSample = 870;
constexpr ULONG existsLikeSample = 873;
}  // namespace step

/// A failed step of the name search: logged, and thrown to the search's end.
struct StepFailure {
    HRESULT status;
};

void check(HRESULT status, ULONG line) {
    if (SUCCEEDED(status)) return;
    LogComFailure(findNameName, status, sourceName, line);
    throw StepFailure{status};
}

/// The parts of a table's name in a database.
struct TableName {
    CComBSTR database;
    CComBSTR owner;
    CComBSTR table;
};

TableName parse(ISQLSyntax* syntax, BSTR name, ULONG line) {
    TableName parts;
    check(syntax ? syntax->ParseTableName(name, &parts.database, &parts.owner, &parts.table) : E_NOINTERFACE, line);
    return parts;
}

CComBSTR qualify(ISQLSyntax* syntax, const CComBSTR& database, const CComBSTR& owner, BSTR table, ULONG line) {
    CComBSTR name;
    check(syntax ? syntax->QualifyTableName(database, owner, table, &name) : E_NOINTERFACE, line);
    return name;
}

bool exists(IWorkspace* workspace, DatasetType type, const CComBSTR& name, ULONG line) {
    const CComQIPtr<IWorkspace2> names(workspace);
    VARIANT_BOOL answer = VARIANT_FALSE;
    check(names ? names->get_NameExists(type, name, &answer) : E_NOINTERFACE, line);
    return answer != VARIANT_FALSE;
}

/// The name under which the connected user would own the dataset. The database and owner that the requested name gives
/// do not count.
CComBSTR nameForConnection(IDatabaseConnectionInfo* connection, ISQLSyntax* syntax, BSTR requested) {
    CComBSTR database;
    check(connection->get_ConnectedDatabase(&database), step::connectedDatabase);
    const TableName parts = parse(syntax, requested, step::parseRequestedName);
    CComBSTR user;
    check(connection->get_ConnectedUser(&user), step::connectedUser);
    return qualify(syntax, database, user, parts.table, step::qualifyForConnection);
}

/// The first dataset of a type; null when there is none.
CComPtr<IDataset> firstDataset(IWorkspace* workspace, DatasetType type, ULONG listLine, ULONG nextLine) {
    CComPtr<IEnumDataset> datasets;
    check(workspace->get_Datasets(type, &datasets), listLine);
    CComPtr<IDataset> dataset;
    if (datasets) check(datasets->Next(&dataset), nextLine);
    return dataset;
}

/// A dataset whose name shows how this database qualifies names; null in an empty database.
CComPtr<IDataset> sampleDataset(IWorkspace* workspace) {
    if (auto sample = firstDataset(workspace, datasetFeatureClass, step::listFeatureClasses, step::nextFeatureClass))
        return sample;
    return firstDataset(workspace, datasetTable, step::listTables, step::nextTable);
}

/// The requested name with the database and owner of the sample.
CComBSTR nameLikeSample(IDataset* sample, ISQLSyntax* syntax, BSTR requested) {
    CComBSTR name;
    check(sample->get_Name(&name), step::sampleName);
    const TableName parts = parse(syntax, name, step::parseSampleName);
    return qualify(syntax, parts.database, parts.owner, requested, step::qualifyLikeSample);
}

HRESULT findInRemoteDatabase(IWorkspace* workspace, ISQLSyntax* syntax, DatasetType type, BSTR name, CComBSTR& found) {
    const CComPtr<IDataset> sample = sampleDataset(workspace);
    if (!sample) return S_OK;  // nothing to learn from: opening is tried with an empty name
    CComBSTR candidate = nameLikeSample(sample, syntax, name);
    if (!exists(workspace, type, candidate, step::existsLikeSample)) return S_FALSE;
    found = std::move(candidate);
    return S_OK;
}

HRESULT findName(IWorkspace* workspace, DatasetType type, BSTR name, CComBSTR& found) {
    const CComQIPtr<ISQLSyntax> syntax(workspace);
    if (const CComQIPtr<IDatabaseConnectionInfo> connection(workspace); connection) {
        CComBSTR candidate = nameForConnection(connection, syntax, name);
        if (exists(workspace, type, candidate, step::existsForConnection)) {
            found = std::move(candidate);
            return S_OK;
        }
    }
    WorkspaceType workspaceType{};
    const HRESULT hr = workspace->get_Type(&workspaceType);
    if (FAILED(hr)) return hr;
    switch (workspaceType) {
        case workspaceFileSystem:
        case workspaceLocalDatabase:
            found = ConditionalXml::makeBstr(ConditionalXml::view(name));
            return S_OK;
        case workspaceRemoteDatabase:
            return findInRemoteDatabase(workspace, syntax, type, name, found);
    }
    return S_FALSE;
}

}  // namespace

HRESULT Workspace_FindQualifiedDatasetName(IWorkspace* workspace, DatasetType type, BSTR name, BSTR* qualifiedName) {
    if (qualifiedName) *qualifiedName = nullptr;
    if (!workspace || !name || !qualifiedName) return E_POINTER;
    try {
        CComBSTR found;
        const HRESULT hr = findName(workspace, type, name, found);
        if (hr == S_OK) *qualifiedName = found.Detach();
        return hr;
    } catch (const StepFailure& failure) {
        return failure.status;
    }
}

HRESULT Workspace_OpenFeatureClass(IWorkspace* workspace, BSTR name, IFeatureClass** featureClass) {
    if (featureClass) *featureClass = nullptr;
    if (!workspace || !name || !featureClass) return E_POINTER;
    CComBSTR qualifiedName;
    HRESULT hr = Workspace_FindQualifiedDatasetName(workspace, datasetFeatureClass, name, &qualifiedName);
    if (FAILED(hr)) {
        LogComFailure(openFeatureClassName, hr, sourceName, step::openFeatureClassSearch);
        return hr;
    }
    if (hr == S_FALSE) return E_FAIL;
    const CComQIPtr<IFeatureWorkspace> features(workspace);
    hr = features ? features->OpenFeatureClass(qualifiedName, featureClass) : E_NOINTERFACE;
    if (FAILED(hr)) LogComFailure(openFeatureClassName, hr, sourceName, step::openFeatureClass);
    return hr;
}

HRESULT Workspace_OpenTable(IWorkspace* workspace, BSTR name, ITable** table) {
    if (table) *table = nullptr;
    if (!workspace || !name || !table) return E_POINTER;
    CComBSTR qualifiedName;
    HRESULT hr = Workspace_FindQualifiedDatasetName(workspace, datasetTable, name, &qualifiedName);
    if (FAILED(hr)) {
        LogComFailure(openTableName, hr, sourceName, step::openTableSearch);
        return hr;
    }
    if (hr == S_FALSE) {  // no table of that name: a feature class is a table too
        CComPtr<IFeatureClass> featureClass;
        hr = Workspace_OpenFeatureClass(workspace, name, &featureClass);
        if (FAILED(hr)) return hr;
        return featureClass ? featureClass.QueryInterface(table) : E_FAIL;
    }
    const CComQIPtr<IFeatureWorkspace> features(workspace);
    return features ? features->OpenTable(qualifiedName, table) : E_NOINTERFACE;
}

}  // namespace GeodatabaseUtilities
