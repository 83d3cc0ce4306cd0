#include "symbolize/row_binding.h"

#include "cxml/feature_class_rule.h"
#include "cxml/target_fields.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

RowBinding::RowBinding(FeatureClassRule& owner) : values(owner.fieldNames), owner_(owner) {}

bool RowBinding::bindTargets(IFields* fields) {
    if (fields == fields_.p) return true;
    release();
    fields_ = fields;
    bindTarget(symbol, symbolField);
    if (symbol.position < 0) {
        release();
        return false;
    }
    for (std::size_t i = 0; i < std::size(ConditionalXml::placements); ++i)
        bindTarget(placements[i], ConditionalXml::placements[i].field);
    return true;
}

void RowBinding::bindTarget(Target& target, const OLECHAR* name) {
    const CComBSTR text(name);
    target.slot = owner_.fieldNames->intern(text);
    if (FAILED(checked(fields_->FindField(text, &target.position)))) target.position = -1;
}

bool RowBinding::bindColumns() {
    if (columnsBound_) return true;
    columns_.clear();
    for (const CComBSTR& name : owner_.referencedFields) {
        Column column{name, owner_.fieldNames->intern(name), -1, false};
        if (FAILED(checked(fields_->FindField(name, &column.position)))) {
            release();  // the next row asks again
            return false;
        }
        column.reported = column.position < 0 && isReported(name);
        columns_.push_back(column);
    }
    columnsBound_ = true;
    std::vector<bool> usable(owner_.fieldNames->size());
    for (const Column& column : columns_)
        if (column.position >= 0) usable[column.slot] = true;
    memory.begin(std::move(usable));
    return true;
}

bool RowBinding::isReported(const CComBSTR& name) const {
    for (const Placement& placement : ConditionalXml::placements)
        if (equalNames(name, placement.field)) return false;
    WideString bare(view(name));
    for (std::size_t at = bare.find(OLESTR("[]")); at != WideString::npos; at = bare.find(OLESTR("[]"), at))
        bare.erase(at, 2);
    const CComBSTR key = makeBstr(bare);
    return !owner_.additionalFields.contains(key) && !owner_.knownFields.contains(key) &&
           !owner_.additionalFieldValues.contains(key);
}

void RowBinding::release() noexcept {
    fields_.Release();
    columnsBound_ = false;
    symbol = Target{};
    placements.fill(Target{});
    values.clear();
    memory.forget();
}

}  // namespace ConditionalXml
