// What the rules of a class compare with a layer's fields, and what its conditions write to them.
#pragma once

#include "document_model.h"
#include "host/geodatabase/gdal_workspace.h"
#include "rules/attribute_rules.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

class FieldCheck {
public:
    FieldCheck(const embedded_host::LayerInfo& layer, embedded_host::GdalWorkspace& dataset, Findings& findings)
        : layer_(layer), dataset_(dataset), findings_(findings) {}

    /// \param field that the rule reads. \return whether values of it can be what the rule asks for.
    bool check(const CheckedRule& rule, const embedded_host::FieldInfo& field);
    void checkTargets(const CheckedCondition& checked);

    /// \return the layer's field; null when it does not have it. It stays where it is.
    const embedded_host::FieldInfo* find(const std::string& name);
    /// \return the field that a run writes; null, and it is missing, when the layer does not have it.
    const embedded_host::FieldInfo* needTarget(const std::string& name);

    /// Of the fields that were looked for, those that the layer has.
    std::vector<std::string> found() const;
    /// Fields that a run writes and the layer does not have, in the order in which they were met.
    const std::vector<std::string>& missing() const noexcept { return missing_; }

private:
    bool checkOperand(const CheckedRule& rule, ConditionalXml::CXAttributeRule& attribute, std::size_t index,
                      const embedded_host::FieldInfo& field);
    bool checkFit(const CheckedRule& rule, std::size_t index, const CComVariant& operand, const CComVariant& converted,
                  const embedded_host::FieldInfo& field);
    void checkText(const CheckedCondition& checked, const embedded_host::FieldInfo& field);
    std::string title(const std::string& field) const;

    const embedded_host::LayerInfo& layer_;
    embedded_host::GdalWorkspace& dataset_;
    Findings& findings_;
    std::map<std::string, std::optional<embedded_host::FieldInfo>> fields_;
    std::vector<std::string> missing_;
};

}  // namespace cxml
