#include "report_page.h"

#include "report_pictures.h"
#include "tools/draw/svg.h"
#include "tools/pages/page.h"
#include "tools/pages/templates.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <array>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include <sha2.h>

namespace cxml {
namespace {

using nlohmann::ordered_json;

constexpr std::size_t mostOfText = 300;   // characters of a value
constexpr std::size_t mostOfLine = 2000;  // of a line of an explanation

std::string text(const ordered_json& value) {
    return value.is_string() ? shortened(value.get_ref<const std::string&>(), mostOfText) : value.dump();
}

// As a content security policy names a script.
std::string hashOf(std::string_view script) {
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA2_CTX context;
    SHA256Init(&context);
    SHA256Update(&context, reinterpret_cast<const std::uint8_t*>(script.data()), script.size());
    SHA256Final(digest.data(), &context);
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string base64;
    for (std::size_t i = 0; i < digest.size(); i += 3) {
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k) bits = (bits << 8U) | (i + k < digest.size() ? digest.at(i + k) : 0U);
        for (std::size_t k = 0; k < 4; ++k)
            base64 += i + k > digest.size() ? '=' : letters[(bits >> (18U - 6U * k)) & 63U];
    }
    return "sha256-" + base64;
}

class View {
public:
    View(const ordered_json& content, SymbolSet& symbols) : content_(content), pictures_(symbols) {
        for (const ordered_json& one : content_["classes"])
            for (const ordered_json& condition : one["conditions"])
                conditions_.emplace(condition["address"].get<std::string>(), fmt::format("c{}", conditions_.size()));
        for (const ordered_json& row : content_["explained"])
            rows_.emplace(keyOf(row["layer"], row["fid"]), fmt::format("e{}", rows_.size()));
    }

    ordered_json all() {
        const std::string file = content_["document"]["file"];
        ordered_json view{{"document", text(file)},
                          {"title", text(file.substr(file.rfind('/') + 1))},
                          {"dataset", text(content_["dataset"])},
                          {"version", content_["cxml"]["version"]},
                          {"sha256", content_["document"]["sha256"]},
                          {"stamp", content_["stamp"].get<std::string>().empty() ? ordered_json() : content_["stamp"]}};
        classes(view);
        ledger(view);
        symbols(view);
        findings(view);
        map(view);
        difference(view);
        tests(view);
        explained(view);
        cards(view);
        return view;
    }

    const std::string& pictures() const noexcept { return pictures_.definitions(); }

    // What the page's script needs.
    ordered_json data(const std::vector<std::string>& command) const {
        ordered_json rows = ordered_json::array();
        for (const ordered_json& row : content_["explained"]) {
            ordered_json values = ordered_json::array();
            for (const ordered_json& value : row["values"])
                values.push_back({text(value["field"]), oneLine(text(value["value"]))});
            rows.push_back({{"layer", row["layer"]},
                            {"fid", row["fid"]},
                            {"id", rows_.at(keyOf(row["layer"], row["fid"]))},
                            {"values", std::move(values)}});
        }
        return {{"command", command}, {"rows", std::move(rows)}};
    }

private:
    static std::string keyOf(const ordered_json& layer, const ordered_json& fid) {
        return fid.dump() + ' ' + layer.get<std::string>();
    }

    ordered_json conditionId(const ordered_json& address) const {
        const auto found = conditions_.find(address.get<std::string>());
        return found == conditions_.end() ? ordered_json() : ordered_json(found->second);
    }

    ordered_json sample(const ordered_json& layer, const ordered_json& fid) const {
        const auto found = rows_.find(keyOf(layer, fid));
        return {{"fid", fid.dump()}, {"id", found == rows_.end() ? ordered_json() : ordered_json(found->second)}};
    }

    ordered_json picture(const ordered_json& name) {
        const std::string id = name.is_string() && !name.empty() ? pictures_.idOf(name.get<std::string>()) : "";
        return id.empty() ? ordered_json() : ordered_json(id);
    }

    // "44 (6), 48 (6)"
    static std::string linesOf(const ordered_json& replacedBy) {
        std::vector<std::string> parts;
        constexpr std::size_t most = 8;
        for (std::size_t i = 0; i < std::min(most, replacedBy.size()); ++i)
            parts.push_back(fmt::format("{} ({})", replacedBy[i]["line"].dump(), replacedBy[i]["rows"].dump()));
        if (replacedBy.size() > most) parts.push_back(fmt::format("and {} more", replacedBy.size() - most));
        return fmt::format("{}", fmt::join(parts, ", "));
    }

    static std::string reasonOf(const ordered_json& condition) {
        const auto& state = condition["state"].get_ref<const std::string&>();
        if (condition.contains("dead")) return "proved: " + text(condition["dead"]);
        if (state == "replaced") return "always replaced by line " + linesOf(condition["replaced_by"]);
        if (state == "not-reached") return "no row of this data comes to it";
        if (state == "not-held") return "its rules let no row of this data pass";
        if (state == "not-measured") return "could not be measured";
        if (!condition["replaced_by"].empty()) return "replaced by line " + linesOf(condition["replaced_by"]);
        return {};
    }

    static const char* lookOf(const ordered_json& condition) {
        const auto& state = condition["state"].get_ref<const std::string&>();
        if (condition.contains("dead")) return "dead";
        if (state == "replaced") return "loser";
        return state.starts_with("not-") ? "unreached" : "";
    }

    ordered_json conditionOf(const ordered_json& condition) {
        const bool isNamed = !condition["name"].get_ref<const std::string&>().empty();
        const std::string reason = reasonOf(condition);
        ordered_json view{{"id", conditionId(condition["address"])},
                          {"line", text(condition["line"])},
                          {"name", condition["name"]},
                          {"shownName", isNamed ? text(condition["name"]) : "(no name)"},
                          {"depth", std::to_string(std::min(condition["depth"].get<int>(), 3))},
                          {"picture", picture(condition["name"])},
                          {"isDefault", condition["fallback"]},
                          {"isLoser", condition["state"] == "replaced" || condition.contains("dead")},
                          {"look", lookOf(condition)},
                          {"reason", reason.empty() ? ordered_json() : ordered_json(reason)},
                          {"reached", text(condition["reached"])},
                          {"held", text(condition["held"])},
                          {"decided", isNamed ? text(condition["decided"]) : ""},
                          {"rules", ordered_json::array()},
                          {"sample", ordered_json::array()}};
        for (const ordered_json& rule : condition["rules"]) {
            const std::int64_t asked = rule["true"].get<std::int64_t>() + rule["false"].get<std::int64_t>();
            std::string answers = asked == 0 ? "" : fmt::format("{} of {} true", rule["true"].dump(), asked);
            if (rule["unmeasured"] != 0) answers += fmt::format(" {} not measured", rule["unmeasured"].dump());
            view["rules"].push_back({{"line", text(rule["line"])}, {"text", text(rule["text"])}, {"answers", answers}});
        }
        for (const ordered_json& one : condition["sample"]) view["sample"].push_back(sample(one["layer"], one["fid"]));
        return view;
    }

    void classes(ordered_json& view) {
        view["classes"] = ordered_json::array();
        for (const ordered_json& one : content_["classes"]) {
            const ordered_json& measures = one["measures"];
            const auto share = [&](const char* name) {
                return fmt::format("{} of {}", measures[name]["seen"].dump(), measures[name]["of"].dump());
            };
            ordered_json conditions = ordered_json::array();
            std::string list;
            for (const ordered_json& condition : one["conditions"]) {
                ordered_json entry = conditionOf(condition);
                const std::string here =
                    condition["list"] == "-" ? "default list" : "list of subtype " + text(condition["list"]);
                entry["listHead"] = here == list ? ordered_json() : ordered_json(here);
                list = here;
                conditions.push_back(std::move(entry));
            }
            std::string name = text(one["class"]);
            const std::string id = fmt::format("k{}", view["classes"].size());
            classIds_.emplace(toUtf8(upperCase(toBstr(one["class"].get<std::string>()))), id);
            view["classes"].push_back({{"id", id},
                                       {"first", view["classes"].empty()},
                                       {"class", std::move(name)},
                                       {"rows", plural(one["rows"].get<std::int64_t>(), "row")},
                                       {"measures", fmt::format("names that decided {}, rules seen both ways {}",
                                                                share("decided"), share("rules"))},
                                       {"hasConditions", !conditions.empty()},
                                       {"conditions", std::move(conditions)}});
        }
    }

    void addRemark(ordered_json& remarks, const ordered_json& layer, const std::string& what, const ordered_json& rows,
                   const ordered_json& ids) const {
        ordered_json samples = ordered_json::array();
        for (const ordered_json& id : ids) samples.push_back(sample(layer, id));
        remarks.push_back({{"layer", text(layer)},
                           {"what", what},
                           {"rows", rows == 0 ? ordered_json() : ordered_json(rows.dump())},
                           {"near", nullptr},
                           {"hasSample", !samples.empty()},
                           {"sample", std::move(samples)}});
    }

    void remarksOf(ordered_json& remarks, const ordered_json& layer) const {
        for (const char* const end : {"kept", "none", "failed"}) {
            const ordered_json& rows = layer["ends"][end];
            if (rows == 0) continue;
            addRemark(remarks, layer["layer"], end, rows, layer["samples"][end]);
            if (!layer.contains("nearest") || !layer["nearest"].contains(end)) continue;
            const ordered_json& near = layer["nearest"][end];
            remarks.back()["near"] = {{"line", text(near["line"])}, {"id", conditionId(near["address"])}};
        }
        for (const ordered_json& question : layer["questions"])
            addRemark(remarks, layer["layer"],
                      fmt::format("line {}: not answered ({}): {}", question["line"].dump(), text(question["outcome"]),
                                  text(question["clause"])),
                      question["rows"], question["sample"]);
        for (const ordered_json& message : layer["messages"])
            addRemark(remarks, layer["layer"],
                      message["line"] == 0 ? text(message["text"])
                                           : fmt::format("line {}: {}", message["line"].dump(), text(message["text"])),
                      message["rows"], message["sample"]);
    }

    static std::int64_t messagesOf(const ordered_json& layer) {
        std::int64_t count = 0;
        for (const ordered_json& message : layer["messages"])
            count += std::max<std::int64_t>(message["rows"].get<std::int64_t>(), 1);
        return count;
    }

    void ledger(ordered_json& view) {
        const ordered_json& ledger = content_["ledger"];
        view["layers"] = ordered_json::array();
        view["remarks"] = ordered_json::array();
        std::array<std::int64_t, 7> sums{};
        for (const ordered_json& layer : ledger["layers"]) {
            const ordered_json& ends = layer["ends"];
            const auto found = classIds_.find(toUtf8(upperCase(toBstr(layer["layer"].get<std::string>()))));
            const std::array<std::int64_t, 7> counts{layer["rows"], ends["rule"],   ends["default"],  ends["kept"],
                                                     ends["none"],  ends["failed"], messagesOf(layer)};
            for (std::size_t i = 0; i < counts.size(); ++i) sums[i] += counts[i];
            view["layers"].push_back(
                {{"layer", text(layer["layer"])},
                 {"class", found == classIds_.end() ? ordered_json() : ordered_json(found->second)},
                 {"rows", std::to_string(counts[0])},
                 {"rule", std::to_string(counts[1])},
                 {"default", std::to_string(counts[2])},
                 {"kept", std::to_string(counts[3])},
                 {"none", std::to_string(counts[4])},
                 {"failed", std::to_string(counts[5])},
                 {"messages", std::to_string(counts[6])},
                 {"isKept", counts[3] != 0},
                 {"isNone", counts[4] != 0},
                 {"isFailed", counts[5] != 0},
                 {"hasMessages", counts[6] != 0}});
            remarksOf(view["remarks"], layer);
        }
        sums_ = sums;
        view["sums"] = ordered_json::array();
        for (const std::int64_t sum : sums) view["sums"].push_back(std::to_string(sum));
        view["hasRemarks"] = !view["remarks"].empty();
        view["rows"] = ledger["rows"].dump();
        view["accounted"] = ledger["accounted"].dump();
    }

    void symbols(ordered_json& view) {
        view["symbols"] = ordered_json::array();
        view["unpictured"] = ordered_json::array();
        for (const ordered_json& symbol : content_["symbols"]) {
            ordered_json conditions = ordered_json::array();
            for (const ordered_json& one : symbol["conditions"])
                conditions.push_back({{"id", conditionId(one["address"])},
                                      {"line", text(one["line"])},
                                      {"rows", one["rows"] == 0 ? ordered_json() : ordered_json(one["rows"].dump())}});
            if (symbol["picture"] == "none") view["unpictured"].push_back(text(symbol["symbol"]));
            view["symbols"].push_back({{"symbol", text(symbol["symbol"])},
                                       {"rows", plural(symbol["rows"].get<std::int64_t>(), "row")},
                                       {"isUsed", symbol["rows"] != 0},
                                       {"picture", picture(symbol["symbol"])},
                                       {"conditions", std::move(conditions)}});
        }
        view["hasUnpictured"] = !view["unpictured"].empty();
    }

    void findings(ordered_json& view) {
        view["findings"] = ordered_json::array();
        for (const ordered_json& finding : content_["findings"]) {
            ordered_json follows = ordered_json::array();
            if (finding.contains("other"))
                follows.push_back(
                    fmt::format("line {}: {}", finding["other"]["line"].dump(), text(finding["other"]["text"])));
            if (finding.contains("follows"))
                for (const ordered_json& one : finding["follows"])
                    follows.push_back(fmt::format("line {}: {}", one["line"].dump(), text(one["text"])));
            view["findings"].push_back(
                {{"place", finding["line"] == 0 ? text(finding["file"])
                                                : fmt::format("{}:{}", text(finding["file"]), finding["line"].dump())},
                 {"severity", finding["severity"]},
                 {"kind", finding["kind"]},
                 {"text", text(finding["text"])},
                 {"help", finding.contains("help") ? ordered_json(text(finding["help"])) : ordered_json()},
                 {"ignored", finding.contains("ignored") ? ordered_json(text(finding["ignored"])) : ordered_json()},
                 {"follows", std::move(follows)}});
            if (!finding.contains("ignored")) ++shownFindings_;
        }
        view["hasFindings"] = !view["findings"].empty();
    }

    void map(ordered_json& view) const {
        view["map"] = content_.contains("map") && !content_["map"].is_null();
        if (!view["map"]) return;
        const ordered_json& map = content_["map"];
        const bool isDrawn = !map.contains("why");
        view["isDrawn"] = isDrawn;
        view["why"] = isDrawn ? ordered_json() : ordered_json(text(map["why"]));
        view["features"] = map["features"].dump();
        if (!isDrawn) return;
        view["isCut"] = !map["complete"].get<bool>();
        view["mapLayers"] = ordered_json::array();
        for (const ordered_json& layer : map["layers"])
            view["mapLayers"].push_back({{"layer", layer["layer"]}, {"features", layer["features"].dump()}});
        view["missing"] = ordered_json::array();
        for (const ordered_json& one : map["withoutPicture"])
            view["missing"].push_back({{"symbol", text(one["symbol"])}, {"features", one["features"].dump()}});
        view["hasMissing"] = !view["missing"].empty();
    }

    void difference(ordered_json& view) {
        view["difference"] = content_.contains("difference");
        if (!view["difference"]) return;
        const ordered_json& difference = content_["difference"];
        view["first"] = text(difference["against"]);
        view["second"] = text(content_["document"]["file"]);
        std::string summary =
            fmt::format("{} of {} rows the same", difference["same"].dump(), difference["rows"].dump());
        for (const auto& [name, count] : difference["changes"].items())
            if (count != 0) summary += fmt::format(", {} {}", count.dump(), name);
        view["summary"] = summary;
        view["realRuns"] = !difference["real_runs"].empty();
        view["groups"] = ordered_json::array();
        for (const ordered_json& group : difference["groups"]) {
            const bool isSymbol = group["fields"] == "SYMBOL_C";
            ordered_json sides = ordered_json::array();
            for (const char* const side : {"from", "to"}) {
                const ordered_json& value = group[side][isSymbol ? "symbol" : "value"];
                sides.push_back({{"value", value.is_null() ? "no value" : text(value)},
                                 {"picture", isSymbol ? picture(value) : ordered_json()},
                                 {"line", group[side].contains("line") ? ordered_json(group[side]["line"].dump())
                                                                       : ordered_json()}});
            }
            view["groups"].push_back(
                {{"rows", group["rows"].dump()},
                 {"layer", text(group["layer"])},
                 {"fields", isSymbol ? ordered_json() : ordered_json(text(group["fields"]))},
                 {"sides", std::move(sides)},
                 {"causes", group["words"]},
                 {"sample", fmt::format("fid {}", fmt::join(group["sample"].get<std::vector<std::int64_t>>(), " "))}});
        }
        view["hasGroups"] = !view["groups"].empty();
    }

    void tests(ordered_json& view) const {
        view["tests"] = content_.contains("tests");
        if (!view["tests"]) return;
        const ordered_json& tests = content_["tests"];
        view["failed"] = tests["failed"] != 0;
        view["summary"] = fmt::format("{} failed, {} passed", tests["failed"].dump(), tests["passed"].dump());
        view["failures"] = ordered_json::array();
        for (const ordered_json& failure : tests["failures"])
            view["failures"].push_back({{"place", text(failure["place"])}, {"text", text(failure["text"])}});
        view["hasFailures"] = !view["failures"].empty();
    }

    void explained(ordered_json& view) const {
        view["explained"] = ordered_json::array();
        for (const ordered_json& row : content_["explained"]) {
            ordered_json lines = ordered_json::array();
            const std::string_view all = row["text"].get_ref<const std::string&>();
            for (std::size_t begin = 0; begin < all.size();) {
                const std::size_t end = std::min(all.find('\n', begin), all.size());
                lines.push_back(shortened(all.substr(begin, end - begin), mostOfLine));
                begin = end + 1;
            }
            view["explained"].push_back({{"id", rows_.at(keyOf(row["layer"], row["fid"]))},
                                         {"layer", text(row["layer"])},
                                         {"fid", row["fid"].dump()},
                                         {"lines", std::move(lines)}});
        }
        view["notExplained"] =
            content_["notExplained"] == 0 ? ordered_json() : ordered_json(content_["notExplained"].dump());
    }

    void cards(ordered_json& view) const {
        const auto add = [&](const std::string& value, const char* what, const char* target, bool bad) {
            view["cards"].push_back({{"value", value}, {"what", what}, {"target", target}, {"bad", bad}});
        };
        add(std::to_string(content_["ledger"]["layers"].size()), "layers", "#ledger", false);
        add(view["rows"], "rows", "#ledger", content_["ledger"]["rows"] != content_["ledger"]["accounted"]);
        const std::array ends{"by a rule", "by a default", "kept", "none", "failed", "messages"};
        for (std::size_t i = 0; i < ends.size(); ++i)
            add(std::to_string(sums_.at(i + 1)), ends.at(i), "#ledger", i >= 2 && sums_.at(i + 1) != 0);
        add(std::to_string(shownFindings_), "findings", "#findings", shownFindings_ != 0);
        if (content_.contains("difference"))
            add(std::to_string(content_["difference"]["rows"].get<std::int64_t>() -
                               content_["difference"]["same"].get<std::int64_t>()),
                "rows otherwise", "#difference", false);
        if (content_.contains("tests"))
            add(content_["tests"]["failed"].dump(), "tests failed", "#tests", view["failed"]);
    }

    const ordered_json& content_;
    PagePictures pictures_;
    std::unordered_map<std::string, std::string> conditions_;  // ids by address
    std::unordered_map<std::string, std::string> rows_;
    std::unordered_map<std::string, std::string> classIds_;  // by names in upper case
    std::array<std::int64_t, 7> sums_{};
    std::int64_t shownFindings_ = 0;
};

}  // namespace

std::string reportPage(Report& report, const ReportArguments& arguments) {
    View view(report.content, *report.symbols);
    const ordered_json content = view.all();
    std::vector<std::string> command{"cxml", "explain", arguments.document, report.content["dataset"]};
    for (const std::string& field : arguments.rows.subtypeOptions)
        command.insert(command.end(), {"--subtype-field", field});
    const std::string_view script = templates::report_js;
    return page(templates::report_html, content,
                {{"reportCss", std::string(templates::report_css)},
                 {"script", std::string(script)},
                 {"scriptHash", hashOf(script)},
                 {"pictures", view.pictures()},
                 {"mapSvg", std::move(report.map)},
                 {"data", jsonInPage(view.data(command))}});
}

}  // namespace cxml
