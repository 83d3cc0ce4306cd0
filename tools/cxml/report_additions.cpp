#include "report_additions.h"

#include "diff.h"
#include "diff_report.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "test_files.h"
#include "test_report.h"

#include <fmt/format.h>
#include <utility>

namespace cxml {

using nlohmann::ordered_json;

ExitStatus compareWith(const std::string& against, const ReportArguments& arguments, const LayerWork& work,
                       ordered_json& difference) {
    DiffArguments compared;
    static_cast<LayerArguments&>(compared) = static_cast<const LayerArguments&>(arguments);
    compared.json = false;
    compared.quiet = true;
    compared.first = against;
    return compareDocuments(compared, work, [&](const DatasetDifference& all) {
        difference = differenceJson(all);
        ordered_json& groups = difference["groups"];
        std::size_t number = 0;  // the groups of the layers stand one after the other
        for (const LayerDifference& layer : all.layers)
            for (std::size_t i = 0; i < layer.groups.size(); ++i, ++number) {
                ordered_json& words = groups[number]["words"] = ordered_json::array();
                if (i >= layer.causes.size()) continue;
                for (const Cause& cause : layer.causes[i]) words.push_back(causeText(all, cause));
            }
    });
}

ordered_json testsOf(const std::vector<std::string>& files, const Document& document) {
    OperandState operands(*document.map);
    const TestedRules rules{*document.map, document.places, document.path, operands};
    std::vector<TestFile> tested;
    ordered_json failures = ordered_json::array();
    for (const std::string& path : files) {
        TestFile& file = tested.emplace_back(readTests(path, {}));
        for (const auto& run : file.runs) {
            if (stopped()) throw embedded_host::HostError("interrupted");
            const TestedSection& section = file.results.emplace_back(run->run(rules, SectionRun::Detail::Verdict));
            for (const auto& [line, text] : section.failures)
                failures.push_back({{"place", fmt::format("{}:{}", path, line)}, {"text", text}});
            for (const TestedRow& row : section.rows)
                for (const Miss& miss : row.misses)
                    failures.push_back({{"place", fmt::format("{}:{}:{}", path, miss.place.line, miss.place.column)},
                                        {"text", miss.text + "; " + row.decided}});
        }
    }
    operands.restore();
    const TestCounts counts = countsOf(tested);
    return {{"passed", counts.passed},
            {"failed", counts.failed},
            {"skipped", counts.skipped},
            {"failures", std::move(failures)}};
}

}  // namespace cxml
