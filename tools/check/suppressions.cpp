#include "suppressions.h"

#include "markup.h"

#include <fmt/format.h>
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>

namespace cxml {
namespace {

constexpr std::string_view word = "cxml: expect";
constexpr const char* form = R"(write <!-- cxml: expect KIND "why" -->)";

struct Expectation {
    std::string kind;
    std::string why;
};

std::optional<Expectation> parse(std::string_view comment) {
    comment.remove_prefix(word.size());
    const std::size_t begin = comment.find_first_not_of(" \t\r\n");
    const std::size_t open = comment.find('"');
    const std::size_t close = comment.rfind('"');
    if (begin == std::string_view::npos || begin == 0 || open == std::string_view::npos) return std::nullopt;
    if (begin >= open || close <= open + 1) return std::nullopt;
    std::string_view kind = comment.substr(begin, open - begin);
    kind = kind.substr(0, kind.find_last_not_of(" \t\r\n") + 1);
    if (!findKind(kind)) return std::nullopt;
    return Expectation{std::string(kind), std::string(comment.substr(open + 1, close - open - 1))};
}

bool isIn(const Finding& finding, const std::string& document, const CommentedTag& tag) {
    const Spot at{finding.place.line, finding.place.column};
    return finding.place.file == document && tag.tag.line != 0 && at >= tag.tag && at < tag.tagEnd;
}

std::string digest(std::string_view text) {
    std::uint64_t hash = 14695981039346656037U;  // FNV-1a
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return fmt::format("{:016x}", hash);
}

}  // namespace

void applyExpectations(const SourceText& source, const std::string& document, std::vector<Finding>& findings) {
    Findings unused(document);
    for (const CommentedTag& tag : commentsWith(word, source)) {
        const std::optional<Expectation> expected = parse(tag.comment);
        const auto meant = std::ranges::find_if(findings, [&](const Finding& finding) {
            return expected && !finding.ignored && finding.kind == expected->kind && isIn(finding, document, tag);
        });
        if (meant != findings.end())
            meant->ignored = Ignored{true, expected->why};
        else if (expected)
            unused.add(tag.at, "expect-unused",
                       fmt::format("nothing of the kind '{}' is found in the tag behind this comment", expected->kind));
        else
            unused.add(tag.at, "expect-unused", "the comment silences nothing: it has no kind of finding or no reason")
                .help = form;
    }
    for (Finding& finding : unused.take()) findings.push_back(std::move(finding));
    sortByPlace(findings, document);
}

std::vector<std::string> fingerprintsOf(const std::vector<Finding>& findings, const std::string& document) {
    std::vector<std::string> fingerprints;
    std::map<std::string, int> seen;
    for (const Finding& finding : findings) {
        // A document is the same in another folder.
        const std::string file = finding.place.file == document
                                     ? std::string()
                                     : std::filesystem::path(finding.place.file).filename().string();
        const std::string print =
            digest(fmt::format("{}\n{}\n{}\n{}", finding.kind, file, finding.address, finding.text));
        const int number = ++seen[print];
        fingerprints.push_back(number == 1 ? print : fmt::format("{}-{}", print, number));
    }
    return fingerprints;
}

void applyBaseline(const std::set<std::string>& known, const std::string& document, std::vector<Finding>& findings) {
    const std::vector<std::string> fingerprints = fingerprintsOf(findings, document);
    for (std::size_t i = 0; i < findings.size(); ++i)
        if (!findings[i].ignored && known.contains(fingerprints[i]))
            findings[i].ignored = Ignored{false, "known before"};
}

}  // namespace cxml
