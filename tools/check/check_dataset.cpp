// What a document needs and a dataset does not have.
#include "check_clauses.h"
#include "check_fields.h"
#include "check_rows.h"
#include "checks.h"
#include "gdb/workspace_utilities.h"
#include "names.h"
#include "rules/attribute_rules.h"
#include "rules/query_rules.h"
#include "tools/s57/catalogue.h"
#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::QueryRule;
using ConditionalXml::QueryRuleFetch;
using embedded_host::FieldInfo;
using embedded_host::GdalWorkspace;
using embedded_host::LayerInfo;

// Tables that tell of other layers: of the cells of an import, and how layers are drawn.
bool isAboutOthers(const std::string& layer) {
    return layer == "DSID" || layer == "layer_styles";
}

// A cell has the classes that occur in it: that one of S-57's is missing is no slip.
bool isClassOfCells(std::string_view name) {
    return S57Catalogue::installed().findClass(name) != nullptr;
}

// What somebody may have wanted to write; empty when nothing is like it.
std::string meantName(const std::string& written, const std::vector<std::string>& names) {
    return isClassOfCells(written) ? std::string() : mostSimilar(written, names);
}

// One layer against its configuration.
class LayerCheck {
public:
    LayerCheck(const CheckedClass& checked, const LayerInfo& layer, const CheckedDataset& dataset, Findings& findings)
        : checked_(checked),
          layer_(layer),
          dataset_(*dataset.workspace),
          findings_(findings),
          fields_(layer, dataset_, findings),
          rows_(checked, layer, dataset_, findings) {
        const auto subtypeField = dataset.subtypeFields.find(layer.name);
        if (subtypeField != dataset.subtypeFields.end()) namedSubtypeField_ = subtypeField->second;
    }

    /// \return the fields that a run writes and the layer lacks, as the layer's part of a list; empty when it has all.
    std::string run() {
        fields_.needTarget("SYMBOL_C");
        DocumentModel::forEachIn(checked_.conditions, [this](const CheckedCondition& condition) {
            if (condition.isKept) fields_.checkTargets(condition);
            for (const CheckedRule& rule : condition.rules) checkRule(rule);
        });
        forEachUnfetched(checked_, [this](const NameUse& use) {
            if (use.isQualified() || fields_.find(use.name)) return;
            findings_
                .add(use.at, use.isArgument ? "argument-unsupplied" : "field-missing",
                     fmt::format("{} '{}' is no field of layer {}, and no fetch rule supplies it before it is used",
                                 use.what, use.name, layer_.name))
                .help = suggestion(use.name, dataset_.fieldNames(layer_.name), "the layer's fields are: ");
        });
        checkSubtypes();
        rows_.lookForUnreadable(fields_.found());
        rows_.run();
        return fields_.missing().empty() ? std::string()
                                         : fmt::format("{} ({})", layer_.name, fmt::join(fields_.missing(), ", "));
    }

private:
    void checkRule(const CheckedRule& rule) {
        auto* const attribute = rule.as<CXAttributeRule>();
        if (!attribute) return;
        const FieldInfo* const field = fields_.find(toUtf8(attribute->fieldName));
        if (!field || !fields_.check(rule, *field)) return;
        rows_.lookFor(rule, *field);
    }

    void checkSubtypes() {
        if (checked_.subtypes.empty()) return;
        const CComQIPtr<ISubtypes> subtypes(dataset_.openFeatureClass(layer_.name, namedSubtypeField_));
        VARIANT_BOOL has = VARIANT_FALSE;
        CComBSTR name;
        if (subtypes && SUCCEEDED(subtypes->get_HasSubtype(&has)) && has != VARIANT_FALSE &&
            SUCCEEDED(subtypes->get_SubtypeFieldName(&name)))
            return rows_.lookForSubtypes(toUtf8(name));
        findings_.add(checked_.firstSubtype.value_or(checked_.at), "subtype-field-missing",
                      fmt::format("layer {} has no subtype field: all its rows get the default list", layer_.name));
    }

    const CheckedClass& checked_;
    const LayerInfo& layer_;
    GdalWorkspace& dataset_;
    Findings& findings_;
    FieldCheck fields_;
    RowCheck rows_;
    std::optional<std::string> namedSubtypeField_;
};

// The tables that query rules ask.
class TableCheck {
public:
    TableCheck(GdalWorkspace& dataset, const std::vector<LayerInfo>& layers, Findings& findings)
        : dataset_(dataset),
          layers_(layers),
          workspace_(dataset.workspace()),
          findings_(findings),
          clauses_(dataset, findings) {}

    // Looks for the table as a run does: on a server not every name is found that opens.
    void check(const CheckedRule& rule, const ClauseCheck::TypeOf& typeOf) {
        auto* const query = rule.as<QueryRule>();
        if (!query || query->tableName.Length() == 0) return;
        CComPtr<ITable> table;
        if (FAILED(GeodatabaseUtilities::Workspace_OpenTable(workspace_, query->tableName, &table)) || !table) {
            failIfThere(toUtf8(query->tableName));
            reportMissing(rule, toUtf8(query->tableName));
            return;
        }
        const std::string name = nameOf(table);
        queried_.insert(name);
        clauses_.check(rule, *query, name, typeOf);
        if (auto* const fetch = rule.as<QueryRuleFetch>()) checkFields(rule, *fetch, table);
    }

    bool isQueried(const std::string& layer) const {
        CComPtr<ITable> table;
        const CComQIPtr<IFeatureWorkspace> tables(workspace_);
        if (!tables || FAILED(tables->OpenTable(toBstr(layer), &table)) || !table) failToOpen(layer);
        return queried_.contains(nameOf(table));
    }

private:
    void reportMissing(const CheckedRule& rule, const std::string& table) {
        Finding& finding =
            findings_.add(attributeSpot(rule.element, OLESTR("table")), "table-missing",
                          fmt::format("the dataset has no table '{}': the query rule holds for no row", table));
        if (isClassOfCells(table)) finding.severity = Severity::Note;
        std::vector<std::string> names;
        names.reserve(layers_.size());
        for (const LayerInfo& layer : layers_) names.push_back(layer.name);
        const std::string meant = meantName(table, names);
        if (meant.empty()) return;
        finding.severity = Severity::Error;
        finding.help = fmt::format("did you mean '{}'?", meant);
    }

    // A table that is there and cannot be opened is not one that is missing. On a server not every name opens, and what
    // fails there is told to the run's monitor.
    void failIfThere(const std::string& table) const {
        if (dataset_.type() == workspaceRemoteDatabase) return;
        const bool isThere = std::ranges::any_of(layers_, [&](const LayerInfo& layer) {
            return toUtf8(upperCase(toBstr(layer.name))) == toUtf8(upperCase(toBstr(table)));
        });
        if (isThere) failToOpen(table);
    }

    [[noreturn]] void failToOpen(const std::string& table) const {
        CComPtr<IErrorInfo> info;
        CComBSTR why;
        if (GetErrorInfo(0, &info) == S_OK && info) info->GetDescription(&why);
        throw embedded_host::HostError(fmt::format("{}: table {} cannot be opened{}{}", dataset_.name(), table,
                                                   why.Length() == 0 ? "" : ": ", toUtf8(why)));
    }

    // As the dataset names it, with database and owner on a server.
    static std::string nameOf(ITable* table) {
        CComBSTR name;
        const CComQIPtr<IDataset> dataset(table);
        return dataset && SUCCEEDED(dataset->get_Name(&name)) ? toUtf8(name) : std::string();
    }

    void checkFields(const CheckedRule& rule, const QueryRuleFetch& fetch, ITable* table) {
        CComPtr<IFields> fields;
        if (FAILED(table->get_Fields(&fields)) || !fields) return;
        for (const auto& [name, alias] : fetch.fetchFields) {
            LONG position = -1;
            if (SUCCEEDED(fields->FindField(name, &position)) && position >= 0) continue;
            findings_
                .add(rule.at, "field-missing",
                     fmt::format("table '{}' has no field '{}' to fetch", toUtf8(fetch.tableName), toUtf8(name)))
                .help = suggestion(toUtf8(name), dataset_.fieldNames(nameOf(table)), "the table's fields are: ");
        }
    }

    GdalWorkspace& dataset_;
    const std::vector<LayerInfo>& layers_;
    CComPtr<IWorkspace> workspace_;
    Findings& findings_;
    ClauseCheck clauses_;
    std::set<std::string> queried_;
};

// One finding for what a dataset has many of.
void addList(const std::string& dataset, const char* kind, const char* what, const std::vector<std::string>& names,
             Findings& findings) {
    constexpr std::size_t longestList = 20;
    if (names.empty()) return;
    const std::span<const std::string> shown(names.data(), std::min(names.size(), longestList));
    std::string text =
        fmt::format("{} layer{} {}: {}", names.size(), names.size() == 1 ? "" : "s", what, fmt::join(shown, ", "));
    if (names.size() > shown.size()) text += fmt::format(" and {} more", names.size() - shown.size());
    findings.addIn({dataset}, kind, std::move(text));
}

// \param layers those that nothing configures.
void reportUnused(const std::vector<const CheckedClass*>& classes, const std::vector<std::string>& layers,
                  Findings& findings) {
    Finding* others = nullptr;
    for (const CheckedClass* checked : classes) {
        const Place place{findings.document(), checked->at.line, checked->at.column};
        const std::string meant = meantName(checked->name, layers);
        if (!meant.empty()) {
            Finding& finding =
                findings.addIn(place, "configuration-without-layer",
                               fmt::format("the dataset has no layer for the featureClass '{}'", checked->name));
            finding.severity = Severity::Warning;
            finding.help = fmt::format("did you mean '{}'?", meant);
        } else if (others) {
            others->text += fmt::format(", '{}'", checked->name);
            others->alsoAt.push_back(place);
        } else {
            others = &findings.addIn(place, "configuration-without-layer",
                                     fmt::format("the dataset has no layer for '{}'", checked->name));
        }
    }
}

}  // namespace

void checkDataset(const DocumentModel& model, const CheckedDataset& checkedDataset, Findings& findings) {
    GdalWorkspace& dataset = *checkedDataset.workspace;
    const std::string& name = checkedDataset.name;
    const std::vector<LayerInfo> layers = dataset.layers();
    for (const LayerInfo& layer : layers) dataset.fieldNames(layer.name);  // one that cannot be read ends the check
    TableCheck tables(dataset, layers, findings);
    std::map<const CheckedClass*, const LayerInfo*> layerOf;
    for (const LayerInfo& layer : layers)
        if (const CheckedClass* const checked = model.find(layer.alias)) layerOf.try_emplace(checked, &layer);
    for (const CheckedClass& checked : model.classes()) {
        if (!checked.isKept) continue;
        const auto typeOf = [&](const std::string& field) {
            const auto layer = layerOf.find(&checked);
            return layer == layerOf.end() ? std::nullopt : dataset.fieldType(layer->second->name, field);
        };
        DocumentModel::forEachIn(checked.conditions, [&](const CheckedCondition& condition) {
            for (const CheckedRule& rule : condition.rules) tables.check(rule, typeOf);
        });
    }
    std::set<const CheckedClass*> used;
    std::vector<std::string> unconfigured;
    std::vector<std::string> unwritable;
    for (const LayerInfo& layer : layers) {
        const CheckedClass* const checked = model.find(layer.alias);
        if (checked) {
            used.insert(checked);
            std::string lacks = LayerCheck(*checked, layer, checkedDataset, findings).run();
            if (!lacks.empty()) unwritable.push_back(std::move(lacks));
        } else if (!tables.isQueried(layer.name) && !isAboutOthers(layer.name)) {
            unconfigured.push_back(layer.name);
        }
    }
    addList(name, "layer-unconfigured", "without configuration in the document", unconfigured, findings);
    addList(name, "target-missing", "without fields that a run writes", unwritable, findings);
    std::vector<const CheckedClass*> unused;
    for (const CheckedClass& checked : model.classes())
        if (checked.isKept && !used.contains(&checked)) unused.push_back(&checked);
    reportUnused(unused, unconfigured, findings);
}

}  // namespace cxml
