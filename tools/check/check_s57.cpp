// What a document asks of S-57's classes and attributes, and S-57 does not have.
#include "checks.h"
#include "names.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "tools/s57/catalogue.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <cctype>
#include <map>
#include <optional>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleEqual;
using ConditionalXml::CXAttributeRuleLike;
using ConditionalXml::CXAttributeRuleNotEqual;
using ConditionalXml::ListAttributeRule;
using embedded_host::GdalWorkspace;
using embedded_host::LayerInfo;

std::string textOf(const CComVariant& operand) {
    return toUtf8(WideView(operand.bstrVal, SysStringLen(operand.bstrVal)));
}

// "1 port-hand lateral mark, 2 starboard-hand lateral mark": as many as one reads.
std::string codesOf(const S57Attribute& attribute) {
    constexpr std::size_t most = 6;
    std::vector<std::string> codes;
    for (const auto& [code, meaning] : attribute.meanings) {
        if (codes.size() == most) {
            codes.push_back(fmt::format("... {}", attribute.meanings.rbegin()->first));
            break;
        }
        codes.push_back(fmt::format("{} {}", code, meaning));
    }
    return fmt::format("{}", fmt::join(codes, ", "));
}

// The configuration of one class.
class ClassCheck {
public:
    /// \param layer null without one: then fields are what cells have.
    ClassCheck(const CheckedClass& checked, const S57Class& ofClass, const S57Catalogue& catalogue,
               const LayerInfo* layer, GdalWorkspace* dataset, Findings& findings)
        : checked_(checked),
          class_(ofClass),
          catalogue_(catalogue),
          layer_(layer),
          dataset_(dataset),
          findings_(findings) {}

    void run() {
        DocumentModel::forEachIn(checked_.conditions, [this](const CheckedCondition& condition) {
            for (const CheckedRule& rule : condition.rules) checkRule(rule);
        });
        // What a layer has and lacks is said of the layer.
        if (layer_) return;
        std::map<std::string, Finding*> known;
        forEachUnfetched(checked_, [&](const NameUse& use) {
            const S57Attribute* const attribute = catalogue_.findAttribute(use.name);
            if (!attribute || class_.has(*attribute)) return;
            const auto [first, isNew] = known.try_emplace(attribute->acronym);
            if (isNew)
                first->second = &findings_.add(use.at, "attribute-not-of-class",
                                               fmt::format("the class {} ({}) has no attribute {} ({})", class_.acronym,
                                                           class_.name, attribute->acronym, attribute->name));
            else
                alsoAt(*first->second, use.at);
        });
    }

private:
    using UnknownCodes = std::vector<std::pair<Spot, std::string>>;

    void alsoAt(Finding& finding, Spot at) const {
        const Place place{findings_.document(), at.line, at.column};
        if (finding.place != place && std::ranges::find(finding.alsoAt, place) == finding.alsoAt.end())
            finding.alsoAt.push_back(place);
    }

    void checkRule(const CheckedRule& rule) {
        auto* const attributeRule = rule.as<CXAttributeRule>();
        if (!attributeRule) return;
        const std::string field = toUtf8(attributeRule->fieldName);
        const S57Attribute* const attribute = catalogue_.findField(&class_, field);
        if (!attribute) return;
        const std::optional<VARTYPE> type = layer_ ? dataset_->fieldType(layer_->name, field) : std::nullopt;
        if (!layer_ || type == VT_BSTR) checkFamily(rule, *attribute);
        if (!attribute->hasCodes()) return;
        if (!comparesCodes(rule)) return;
        UnknownCodes unknown;
        for (std::size_t i = 0; i < attributeRule->values.size(); ++i)
            if (attributeRule->values[i].vt == VT_BSTR)
                collectUnknown(rule, i, textOf(attributeRule->values[i]), *attribute, unknown);
        report(unknown, *attribute);
    }

    // Whether the rule is of the family for what the attribute holds.
    void checkFamily(const CheckedRule& rule, const S57Attribute& attribute) {
        const bool isListRule = rule.as<ListAttributeRule>() != nullptr;
        if (isListRule && !layer_ && (attribute.type == 'E' || attribute.type == 'I' || attribute.type == 'F')) {
            Finding& finding = findings_.add(rule.at, "list-field-type",
                                             fmt::format("{} ({}) has one value, which cells have as a number: a list "
                                                         "attribute rule finds codes in texts only",
                                                         attribute.acronym, attribute.name));
            finding.severity = Severity::Warning;
            return;
        }
        if (isListRule || attribute.type != 'L' || comparesCodes(rule)) return;
        const auto* const pattern = rule.as<CXAttributeRuleLike>();
        const std::string why =
            pattern ? whyAmbiguous(*pattern, attribute) : "which is compared as a text here: '3,4' comes after '20'";
        if (why.empty()) return;
        Finding& finding =
            findings_.add(rule.at, "list-compared",
                          fmt::format("{} ({}) is a list of codes, {}", attribute.acronym, attribute.name, why));
        finding.severity = Severity::Warning;
        finding.help =
            "to ask for codes in the list use a list attribute rule: type=\"L\" operator=\"containsany\" with a "
            "<value> for each code";
    }

    // "in which '*3*' fits 13 (pink), too".
    static std::string whyAmbiguous(const CXAttributeRuleLike& rule, const S57Attribute& attribute) {
        for (const CComVariant& operand : rule.values) {
            const std::string pattern = operand.vt == VT_BSTR ? textOf(operand) : std::string();
            if (pattern.size() < 3 || !pattern.starts_with('*') || !pattern.ends_with('*')) continue;
            const std::string wanted = pattern.substr(1, pattern.size() - 2);
            const std::optional<int> code = readCode(wanted);
            if (!code) continue;
            for (const auto& [other, meaning] : attribute.meanings)
                if (other != *code && std::to_string(other).find(wanted) != std::string::npos)
                    return fmt::format("in which '{}' fits {} ({}), too", pattern, other, meaning);
        }
        return {};
    }

    static bool comparesCodes(const CheckedRule& rule) {
        return rule.as<ListAttributeRule>() || rule.as<CXAttributeRuleEqual>() || rule.as<CXAttributeRuleNotEqual>();
    }

    void collectUnknown(const CheckedRule& rule, std::size_t index, std::string_view text,
                        const S57Attribute& attribute, UnknownCodes& unknown) const {
        const bool isList = attribute.type == 'L' && !rule.as<ListAttributeRule>();
        while (!text.empty()) {
            const std::size_t end = isList ? std::min(text.find(','), text.size()) : text.size();
            const std::string_view piece = text.substr(0, end);
            text.remove_prefix(std::min(end + 1, text.size()));
            const std::optional<int> code = readCode(piece);
            if (code ? attribute.meaningOf(*code) != nullptr : !isWord(piece) || isSaidOfItsType(rule)) continue;
            unknown.emplace_back(operandSpot(rule, index), fmt::format("'{}'", piece));
        }
    }

    // Codes of one rule are one mistake: they may be those of another attribute.
    void report(const UnknownCodes& unknown, const S57Attribute& attribute) {
        if (unknown.empty()) return;
        std::vector<std::string> codes;
        for (const auto& [at, code] : unknown)
            if (std::ranges::find(codes, code) == codes.end()) codes.push_back(code);
        Finding& finding = findings_.add(unknown.front().first, "code-unknown",
                                         fmt::format("{} ({}) has no code{} {}", attribute.acronym, attribute.name,
                                                     codes.size() == 1 ? "" : "s", fmt::join(codes, ", ")));
        finding.help = meantCode(unknown.front().second, attribute) + "its codes are: " + codesOf(attribute);
        for (const auto& [at, code] : unknown) alsoAt(finding, at);
    }

    // For somebody who wrote what a code means, or how that begins, in quotation marks.
    static std::string meantCode(std::string_view quoted, const S57Attribute& attribute) {
        const std::string wanted = lowerAscii(quoted.substr(1, quoted.size() - 2));
        const auto isMeant = [&](const auto& entry) { return lowerAscii(entry.second).starts_with(wanted); };
        if (wanted.empty() || std::ranges::count_if(attribute.meanings, isMeant) != 1) return {};
        const auto& [code, meaning] = *std::ranges::find_if(attribute.meanings, isMeant);
        return fmt::format("did you mean {}, {}? ", code, meaning);
    }

    // Not a number of another kind, which rules make a code of.
    static bool isWord(std::string_view text) {
        return !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0;
    }

    // Operands that convert to no code, or not to the type of a field.
    bool isSaidOfItsType(const CheckedRule& rule) const {
        return rule.as<ListAttributeRule>() ||
               (layer_ && dataset_->fieldType(layer_->name, toUtf8(rule.as<CXAttributeRule>()->fieldName)) != VT_BSTR);
    }

    const CheckedClass& checked_;
    const S57Class& class_;
    const S57Catalogue& catalogue_;
    const LayerInfo* layer_;
    GdalWorkspace* dataset_;
    Findings& findings_;
};

// The layer of a class; null without one.
const LayerInfo* layerOf(const CheckedClass& checked, const std::vector<LayerInfo>& layers) {
    const auto found =
        std::ranges::find_if(layers, [&](const LayerInfo& layer) { return isSameName(layer.alias, checked.name); });
    return found == layers.end() ? nullptr : &*found;
}

}  // namespace

void checkS57(const DocumentModel& model, GdalWorkspace* dataset, const S57Catalogue& catalogue, Findings& findings) {
    const std::vector<LayerInfo> layers = dataset ? dataset->layers() : std::vector<LayerInfo>();
    for (const CheckedClass& checked : model.classes()) {
        if (!checked.isKept) continue;
        if (!catalogue.isThere() && looksLikeS57(checked.name)) {
            findings.addIn({findings.document()}, "catalogue-missing",
                           "the tables of S-57 are not installed with GDAL: codes and attributes are not checked");
            return;
        }
        const LayerInfo* const layer = layerOf(checked, layers);
        const S57Class* const ofClass = catalogue.findClass(checked.name, layer ? layer->name : std::string());
        if (ofClass) ClassCheck(checked, *ofClass, catalogue, layer, dataset, findings).run();
    }
}

}  // namespace cxml
