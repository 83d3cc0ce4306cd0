// GdalWorkspace: a dataset that GDAL opens or that is on a PostgreSQL server, as the tools of the embedded host see it.
// The library sees the same dataset through the COM interfaces of host_interfaces.h, which the objects handed out here
// implement.
#pragma once

#include "host/geodatabase/base/cell.h"
#include "host/geodatabase/base/column.h"
#include "host/geodatabase/base/field_request.h"
#include "host/geodatabase/base/layer_info.h"
#include "host/geodatabase/base/layer_styles.h"
#include "host/geodatabase/base/refusal.h"
#include "host/geodatabase/base/run_monitor.h"
#include "host/geodatabase/base/workspace_options.h"
#include "host/host_error.h"
#include "symbology/host_interfaces.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

/// A field of a layer, or its key.
struct FieldInfo {
    Column column;
    VARTYPE type;  // of the values that rows give; VT_EMPTY when it cannot be read
    bool isKey;
};

/// Why no row takes the value in the field; nothing when rows take it.
std::optional<std::string> whyNotPut(const FieldInfo& field, const CComVariant& value);

/// One open dataset. Used from one thread. COM objects that it handed out keep what they need of it alive, but cursors
/// must be released before commit() or rollback().
class GdalWorkspace {
public:
    using Access = embedded_host::Access;

    /// \param dataset a path or a GDAL connection string. \throws HostError
    static std::shared_ptr<GdalWorkspace> open(const std::string& dataset, Access access,
                                               const WorkspaceOptions& options = {});

    virtual ~GdalWorkspace() = default;

    /// The dataset in messages: its path, or the database without anything secret.
    virtual const std::string& name() const = 0;
    virtual WorkspaceType type() const = 0;

    /// All tables of the dataset, spatial or not, in the dataset's order.
    virtual std::vector<LayerInfo> layers() = 0;

    /// What layers() calls the layer that someone means with a name: on a server it may have its owner, quotes and
    /// another case; elsewhere, and for a name that means none, it is the name. \throws HostError
    virtual std::string layerName(const std::string& name) = 0;

    /// \param subtypeField the class's subtype field; without one the layer's metadata item SUBTYPE_FIELD, if any.
    /// \throws HostError when there is no such layer or it has no such field.
    virtual CComPtr<IFeatureClass> openFeatureClass(const std::string& layer,
                                                    const std::optional<std::string>& subtypeField) = 0;

    /// The rows that satisfy an SQL where clause and, when ids are given, have one of them.
    /// \throws HostError when the clause is not understood. Ids without a row are left out.
    virtual CComPtr<ISelectionSet> select(const std::string& layer, const std::optional<std::string>& where,
                                          const std::optional<std::vector<ObjectId>>& ids) = 0;

    /// Has the dataset prepare a question about a layer or table and asks nothing. Not within a transaction.
    /// \return why the SQL where clause is refused; nothing when it is taken. \throws HostError
    virtual std::optional<Refusal> whyRefused(const std::string& layer, const std::string& where) = 0;

    /// The names of the layer's fields, in order, without key and geometry.
    virtual std::vector<std::string> fieldNames(const std::string& layer) = 0;

    /// The type of the values that rows give for the field (VT_EMPTY when it cannot be read), found as rows find it:
    /// the exact name first, then the name without regard to case. Nothing when the layer has no such field.
    /// \throws HostError when there is no such layer.
    virtual std::optional<VARTYPE> fieldType(const std::string& layer, const std::string& field) = 0;

    /// The same with more of the field.
    virtual std::optional<FieldInfo> field(const std::string& layer, const std::string& name) = 0;

    /// Reads rows, in ascending id, until `visit` says no; none of a layer on a server whose rows have no key.
    /// \param visit is called with a row's id and its cells of the fields, which the layer has, in their order. A value
    /// that a run cannot read is Foreign. \throws HostError
    virtual void readFields(const std::string& layer, const std::vector<std::string>& fields,
                            const std::function<bool(ObjectId, const std::vector<const Cell*>&)>& visit) = 0;

    /// The layer's fields, in order, without key and geometry.
    virtual std::vector<Column> columns(const std::string& layer) = 0;
    /// Reads all rows: calls `visit` with the cells of each, one for each of columns(). A value that a run cannot read
    /// is Foreign. \throws HostError
    virtual void readRows(const std::string& layer, const std::function<void(const Cells&)>& visit) = 0;

    /// Adds those of the fields that the layer does not have (names compared without regard to case), all or none.
    /// \return how many were added. \throws HostError
    virtual std::size_t addFields(const std::string& layer, const std::vector<FieldRequest>& fields) = 0;

    /// \param createTable whether the table of styles is to be made where there is none on a server; in a GeoPackage it
    /// is. \throws HostError when there is nowhere to write styles.
    virtual void expectStyles(bool createTable) = 0;

    /// How the values of a field that the layer has are spread over the kinds of its shapes. \throws HostError also
    /// when the dataset keeps no styles, or the layer has no shapes.
    virtual ShapeValues shapeValues(const std::string& layer, const std::string& field) = 0;

    /// Writes styles into the table layer_styles, all or none, in a transaction of its own: rows of their names are
    /// replaced, others stay; the table is made where there is none.
    /// \return the layers that open with another style all the same. \throws HostError
    virtual std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) = 0;

    /// All changes from begin() on reach the dataset together, at commit(). \throws HostError
    virtual void begin() = 0;
    virtual void commit() = 0;
    /// Never throws; the dataset is as it was at begin(). Does nothing outside a transaction.
    virtual void rollback() noexcept = 0;

    /// Cursors opened from now on report to `monitor` (null: to nobody). It must outlive them.
    virtual void watch(RunMonitor* monitor) = 0;

    /// The dataset as the library sees it.
    virtual CComPtr<IWorkspace> workspace() = 0;
};

}  // namespace embedded_host
