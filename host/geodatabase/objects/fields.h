// IFields over a table's schema.
#pragma once

#include "host/com_object.h"
#include "host/geodatabase/base/table_schema.h"
#include "host/geodatabase/objects/live_objects.h"
#include "symbology/host_interfaces.h"

#include <memory>

namespace embedded_host {

class Fields final : public ComObject<HostCounter, IFields> {
public:
    explicit Fields(std::shared_ptr<const TableSchema> schema);
    HRESULT STDMETHODCALLTYPE FindField(BSTR name, LONG* index) override;

private:
    std::shared_ptr<const TableSchema> schema_;
};

}  // namespace embedded_host
