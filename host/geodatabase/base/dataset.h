// An open dataset with its transaction, shared by the objects that work on it.
#pragma once

#include "host/geodatabase/base/database_server.h"
#include "host/geodatabase/base/field_request.h"
#include "host/geodatabase/base/layer_styles.h"
#include "host/geodatabase/base/run_monitor.h"
#include "host/geodatabase/base/workspace_options.h"
#include "symbology/host_interfaces.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

class Table;

class Dataset : public std::enable_shared_from_this<Dataset> {
public:
    using Access = embedded_host::Access;

    struct Entry {
        std::string name;
        std::string alias;
        bool spatial;  // has a geometry
    };

    Dataset(std::string name, Access access) : name_(std::move(name)), access_(access) {}
    virtual ~Dataset() = default;
    Dataset(const Dataset&) = delete;
    Dataset& operator=(const Dataset&) = delete;

    /// What begins the texts of failures.
    const std::string& name() const noexcept { return name_; }
    Access access() const noexcept { return access_; }
    bool isRehearsal() const noexcept { return access_ == Access::Rehearse; }
    virtual WorkspaceType type() const noexcept = 0;
    /// Null where there is no server.
    virtual DatabaseServer* server() noexcept { return nullptr; }

    /// All tables, in the dataset's order.
    virtual std::vector<Entry> entries() = 0;
    /// The table, by its exact name first.
    virtual std::optional<Entry> find(const std::string& layer) = 0;
    /// \throws HostError when there is no such layer.
    virtual std::shared_ptr<Table> table(const std::string& layer) = 0;
    /// -1 when counting is not cheap.
    virtual std::int64_t rowCount(const std::string& layer) = 0;
    /// Adds all of the fields, which the table does not have, or none. \throws HostError
    virtual void addFields(Table& table, const std::vector<FieldRequest>& requests) = 0;

    /// \param createTable whether the table of styles is to be made where there is none on a server; in a GeoPackage it
    /// is. \throws HostError when there is nowhere to write styles.
    virtual void expectStyles(bool createTable) = 0;
    /// How the values of a field that the layer has are spread over the kinds of its shapes. \throws HostError
    virtual ShapeValues shapeValues(const std::string& layer, const std::string& field) = 0;
    /// Writes the styles within the transaction, and makes the table where there is none.
    /// \return what opens with another style all the same. \throws HostError
    virtual std::vector<KeptDefault> writeStyles(const std::vector<StyledLayer>& layers) = 0;

    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual void rollback() noexcept = 0;
    /// \throws StatusError when the dataset was opened for reading, or its transaction has been lost.
    virtual void checkWritable() const = 0;

    /// Tells the run of a failure that the library would pass over: to it a question that failed has no answer.
    void noteFailure(const std::string& text) const {
        if (monitor && monitor->failure.empty()) monitor->failure = text;
    }

    // Null when nobody watches.
    RunMonitor* monitor = nullptr;
    // The COM workspace while it is alive, so that everyone gets the same one.
    IWorkspace* workspaceObject = nullptr;

private:
    std::string name_;
    Access access_;
};

}  // namespace embedded_host
