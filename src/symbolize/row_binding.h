// RowBinding: what symbolizing the rows of a run needs to know about their fields, and the storage of their values.
#pragma once

#include "cxml/target_fields.h"
#include "rules/row_value_map.h"
#include "symbolize/run_memory.h"
#include "symbology/host_interfaces.h"

#include <array>
#include <memory>
#include <vector>

namespace ConditionalXml {

class FeatureClassRule;

/// Binds the names that a feature class's rules use to positions in its rows, once for all rows that share a fields
/// collection.
class RowBinding {
public:
    using Slot = FieldNames::Slot;

    /// A target field: where it is in the row (-1: nowhere) and in the row's values.
    struct Target {
        LONG position = -1;
        Slot slot = 0;
    };

    /// A referenced field.
    struct Column {
        BSTR name;  // borrowed from the feature class's set of names
        Slot slot;
        LONG position;
        bool reported;  // whether its absence is worth a message
    };

    explicit RowBinding(FeatureClassRule& owner);

    /// Finds the target fields. Costs nothing when `fields` is the collection of the row before.
    /// \return false when the row has no "SYMBOL_C".
    bool bindTargets(IFields* fields);
    /// Finds the referenced fields, after the targets. \return false when a lookup fails: columns() are those before.
    bool bindColumns();
    /// Drops what was taken from the host; the storage stays for the next run.
    void release() noexcept;

    const std::vector<Column>& columns() const noexcept { return columns_; }

    Target symbol;
    std::array<Target, std::size(ConditionalXml::placements)> placements;  // as in ConditionalXml::placements
    RowValueMap values;
    RunMemory memory;  // of rows with the bound columns

private:
    void bindTarget(Target& target, const OLECHAR* name);
    bool isReported(const CComBSTR& name) const;

    FeatureClassRule& owner_;
    CComPtr<IFields> fields_;  // held, so that another collection cannot take its address
    bool columnsBound_ = false;
    std::vector<Column> columns_;  // in the order of the feature class's set of names
};

}  // namespace ConditionalXml
