#include "finding_json.h"

#include "host/host_error.h"
#include "tools/check/suppressions.h"
#include "tools/reports/json_head.h"
#include "tools/reports/report.h"

#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* fingerprintName = "cxmlFinding/v1";

Json placeOf(const Place& place) {
    return {{"file", place.file}, {"line", place.line}, {"column", place.column}};
}

Json remarkOf(const Remark& remark) {
    Json json = placeOf(remark.place);
    if (!remark.kind.empty()) json["kind"] = remark.kind;
    json["text"] = remark.text;
    return json;
}

Json findingOf(const Finding& finding, const std::string& fingerprint) {
    Json json = placeOf(finding.place);
    json["severity"] = nameOf(finding.severity);
    json["kind"] = finding.kind;
    json["text"] = finding.text;
    if (!finding.help.empty()) json["help"] = finding.help;
    if (!finding.address.empty()) json["address"] = finding.address;
    if (finding.other) json["other"] = remarkOf(*finding.other);
    for (const Place& place : finding.alsoAt) json["alsoAt"].push_back(placeOf(place));
    for (const Remark& remark : finding.follows) json["follows"].push_back(remarkOf(remark));
    json["fingerprint"] = fingerprint;
    if (finding.ignored) json["ignored"] = finding.ignored->why;
    return json;
}

void writeList(std::ostream& out, const std::vector<std::string>& objects) {
    const char* separator = "\n  ";
    for (const std::string& object : objects) {
        out << separator << object;
        separator = ",\n  ";
    }
}

// A URI reference: what is no unreserved character of a path is written %2F.
std::string uriOf(const std::string& path) {
    constexpr std::string_view kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/!$&'()*+,;=@";
    std::string uri = path.starts_with('/') ? "file://" : "";
    for (const char c : path)
        if (kept.find(c) != std::string_view::npos)
            uri += c;
        else
            uri += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    return uri;
}

Json locationOf(const Place& place) {
    Json physical{{"artifactLocation", {{"uri", uriOf(place.file)}}}};
    if (place.line > 0) {
        physical["region"]["startLine"] = place.line;
        if (place.column > 0) physical["region"]["startColumn"] = place.column;
    }
    return {{"physicalLocation", std::move(physical)}};
}

Json relatedOf(const Finding& finding) {
    Json related = Json::array();
    std::set<Place> known{finding.place};
    const auto add = [&](const Place& place, const std::string& text) {
        if (!known.insert(place).second) return;  // readers refuse repeated places
        Json location = locationOf(place);
        location["id"] = related.size() + 1;
        location["message"]["text"] = text;
        related.push_back(std::move(location));
    };
    if (finding.other) add(finding.other->place, finding.other->text);
    for (const Place& place : finding.alsoAt) add(place, "the same is found here");
    for (const Remark& remark : finding.follows) add(remark.place, remark.text);
    return related;
}

Json resultOf(const Finding& finding, const std::string& fingerprint) {
    const std::span<const Kind> kinds = allKinds();
    Json result{{"ruleId", finding.kind}, {"level", nameOf(finding.severity)}};
    if (const Kind* const kind = findKind(finding.kind)) result["ruleIndex"] = kind - kinds.data();
    result["message"]["text"] = finding.help.empty() ? finding.text : finding.text + "\n" + finding.help;
    Json location = locationOf(finding.place);
    if (!finding.address.empty())
        location["logicalLocations"] = Json::array({{{"fullyQualifiedName", finding.address}, {"kind", "element"}}});
    result["locations"] = Json::array({std::move(location)});
    if (Json related = relatedOf(finding); !related.empty()) result["relatedLocations"] = std::move(related);
    result["partialFingerprints"][fingerprintName] = fingerprint;
    if (finding.ignored)
        result["suppressions"] = Json::array({{{"kind", finding.ignored->inDocument ? "inSource" : "external"},
                                               {"justification", finding.ignored->why}}});
    return result;
}

Json driver() {
    Json rules = Json::array();
    for (const Kind& kind : allKinds())
        rules.push_back({{"id", kind.name},
                         {"shortDescription", {{"text", kind.summary}}},
                         {"help", {{"text", kind.help}}},
                         {"defaultConfiguration", {{"level", nameOf(kind.severity)}}}});
    return {{"driver", {{"name", "cxml check"}, {"version", CXML_VERSION}, {"rules", std::move(rules)}}}};
}

void collect(const nlohmann::json& finding, std::set<std::string>& known) {
    if (const auto print = finding.find("fingerprint"); print != finding.end() && print->is_string())
        known.insert(print->get<std::string>());
    const auto prints = finding.find("partialFingerprints");
    if (prints != finding.end() && prints->is_object() && prints->contains(fingerprintName))
        known.insert(prints->at(fingerprintName).get<std::string>());
}

}  // namespace

void writeJson(std::ostream& out, const Document& document, const std::vector<Finding>& findings) {
    const std::vector<std::string> fingerprints = fingerprintsOf(findings, document.path);
    std::vector<std::string> shown;
    std::vector<std::string> ignored;
    for (std::size_t i = 0; i < findings.size(); ++i)
        (findings[i].ignored ? ignored : shown)
            .push_back(withEscapedControls(
                findingOf(findings[i], fingerprints[i]).dump(-1, ' ', false, Json::error_handler_t::replace)));
    out << "{\"document\": ";
    writeJson(out, document);
    out << ",\n \"findings\": [";
    writeList(out, shown);
    out << ']';
    if (!ignored.empty()) {
        out << ",\n \"ignored\": [";
        writeList(out, ignored);
        out << ']';
    }
    out << "}\n";
}

Json findingsJson(const std::string& document, const std::vector<Finding>& findings) {
    const std::vector<std::string> fingerprints = fingerprintsOf(findings, document);
    Json all = Json::array();
    for (std::size_t i = 0; i < findings.size(); ++i) all.push_back(findingOf(findings[i], fingerprints[i]));
    return all;
}

void writeSarif(std::ostream& out, const std::string& document, const std::vector<Finding>& findings) {
    const std::vector<std::string> fingerprints = fingerprintsOf(findings, document);
    Json results = Json::array();
    for (std::size_t i = 0; i < findings.size(); ++i) results.push_back(resultOf(findings[i], fingerprints[i]));
    Json run{{"tool", driver()}, {"columnKind", "unicodeCodePoints"}, {"results", std::move(results)}};
    const Json log{{"version", "2.1.0"}, {"runs", Json::array({std::move(run)})}};
    out << log.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::set<std::string> readBaseline(const std::string& path) {
    std::ifstream file(path);
    if (!file) throw embedded_host::HostError(fmt::format("{}: the baseline cannot be read", path));
    std::set<std::string> known;
    try {
        const nlohmann::json log = nlohmann::json::parse(file);
        if (log.contains("runs"))
            for (const auto& run : log.at("runs"))
                for (const auto& result : run.at("results")) collect(result, known);
        else
            for (const auto& finding : log.at("findings")) collect(finding, known);
        if (log.contains("ignored"))
            for (const auto& finding : log.at("ignored")) collect(finding, known);
    } catch (const nlohmann::json::exception&) {
        throw embedded_host::HostError(
            fmt::format("{}: the baseline is no result of 'cxml check' with --sarif or --json", path));
    }
    return known;
}

}  // namespace cxml
