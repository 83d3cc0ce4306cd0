// The feature class object: a table of a dataset, spatial or not, as the library sees it.
#pragma once

#include "host/com_object.h"
#include "host/geodatabase/base/table.h"
#include "host/geodatabase/objects/fields.h"
#include "host/geodatabase/objects/live_objects.h"
#include "host/geodatabase/objects/row.h"
#include "symbology/host_interfaces.h"

#include <memory>
#include <optional>
#include <string>

namespace embedded_host {

template <>
struct ExtendedInterface<IFeatureClass> {
    using Type = IObjectClass;
};

class FeatureClass final : public ComObject<HostCounter, IFeatureClass, ITable, IDataset, ISubtypes> {
public:
    /// \param subtypeField without one, the layer's metadata item SUBTYPE_FIELD.
    /// \throws HostError when the table has no such field.
    FeatureClass(std::shared_ptr<Table> table, const std::optional<std::string>& subtypeField);
    ~FeatureClass() override;

    // IObjectClass
    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override;
    HRESULT STDMETHODCALLTYPE get_AliasName(BSTR* name) override;
    // ITable
    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override;
    HRESULT STDMETHODCALLTYPE GetRow(ObjectId id, IRow** row) override;
    HRESULT STDMETHODCALLTYPE Select(IQueryFilter* filter, SelectionType type, SelectionOption option,
                                     IWorkspace* workspace, ISelectionSet** selection) override;
    HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) override;
    // IDataset
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_Workspace(IWorkspace** workspace) override;
    // ISubtypes
    HRESULT STDMETHODCALLTYPE get_HasSubtype(VARIANT_BOOL* has) override;
    HRESULT STDMETHODCALLTYPE get_SubtypeFieldName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_SubtypeFieldIndex(LONG* index) override;

    /// An update cursor over `ids`, over all rows when it is null. \throws HostError
    CComPtr<ICursor> openCursor(IQueryFilter* filter, bool recycling, SharedIds ids);

private:
    CComPtr<IFields> currentFields();
    std::shared_ptr<RowSource> rowSource();

    std::shared_ptr<Table> table_;
    std::string subtypeField_;  // as the table writes it; empty when the class has no subtypes
    std::shared_ptr<const TableSchema> fieldsSchema_;
    CComPtr<IFields> fields_;
    std::shared_ptr<ColumnSet> asked_;  // see RowSource; null until a row was got
};

}  // namespace embedded_host
