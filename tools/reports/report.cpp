#include "report.h"

#include "json_head.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using embedded_host::RowList;

constexpr std::size_t longestList = 10;  // repeated texts that a summary line names

std::string repeatedTexts(const MessageLog& messages) {
    std::string list;
    std::size_t named = 0;
    std::size_t left = 0;
    for (const MessageLog::Text& text : messages.texts()) {
        if (text.count < 2) continue;
        if (named++ < longestList)
            list += fmt::format("; {} times: {}", text.count, text.text);
        else
            ++left;
    }
    if (left != 0) list += fmt::format("; and {} more repeated", plural(static_cast<std::int64_t>(left), "text"));
    return list;
}

std::string rowIds(const RowList& list, std::string_view separator) {
    return fmt::format("{}", fmt::join(list.ids, separator));
}

std::string rowsWith(const RowList& list, std::string_view what) {
    if (list.rows == 0) return {};
    std::string text = fmt::format("; {} with {}: {}", plural(list.rows, "row"), what, rowIds(list, ", "));
    const std::int64_t more = list.rows - static_cast<std::int64_t>(list.ids.size());
    if (more > 0) text += fmt::format(" and {} more", more);
    return text;
}

// What is not zero of the ledger: "; 20 rule, 3 default".
std::string endsOf(const Ledger& ledger) {
    std::string text;
    for (std::size_t end = 0; end < rowEndNames.size(); ++end)
        if (const std::int64_t rows = ledger.count(static_cast<RowEnd>(end)); rows != 0)
            text += fmt::format("{}{} {}", text.empty() ? "; " : ", ", rows, rowEndNames[end]);
    std::int64_t questions = 0;
    for (const auto& [line, question] : ledger.unanswered()) questions += question->rows.rows;
    if (questions != 0) text += fmt::format("; {} not answered", plural(questions, "question"));
    return text;
}

void writeJson(std::ostream& out, std::string_view member, const RowList& list) {
    if (list.rows == 0) return;
    out << fmt::format(R"(, "{}": {{"rows": {}, "ids": [{}]}})", member, list.rows, rowIds(list, ", "));
}

const char* jsonBool(bool value) noexcept {
    return value ? "true" : "false";
}

// Written piece by piece: a run may have a million messages, most of them the same few texts.
void writeMessages(std::ostream& out, const MessageLog& messages) {
    std::vector<std::string> texts;
    texts.reserve(messages.texts().size());
    for (const MessageLog::Text& text : messages.texts()) texts.push_back(jsonString(text.text));
    out << '[';
    const char* separator = "";
    for (const MessageLog::Entry& entry : messages.entries()) {
        const char* kind = entry.kind == MessageKind::Error ? "error" : "message";
        out << separator << R"({"kind": ")" << kind << R"(", "text": )" << texts[entry.text];
        if (entry.origin.row) out << R"(, "row": )" << *entry.origin.row;
        if (entry.origin.line != 0) out << R"(, "line": )" << entry.origin.line;
        out << '}';
        separator = ", ";
    }
    out << ']';
}

}  // namespace

std::string summaryLine(const LayerResult& result) {
    std::string line = fmt::format("{}: {}, {} changed", result.layer, plural(result.rows, "row"), result.changed);
    if (result.interrupted)
        line += "; interrupted, rolled back";
    else if (!result.succeeded)
        line += "; failed, rolled back";
    else if (result.ledger)
        line += endsOf(*result.ledger);
    line += rowsWith(result.unreadable, "a value that cannot be read");
    line += rowsWith(result.refused, "a value that its field does not take");
    return line + repeatedTexts(result.messages);
}

std::string jsonString(std::string_view text) {
    return withEscapedControls(nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void writeJson(std::ostream& out, const LayerResult& result) {
    out << "{\"layer\": " << jsonString(result.layer) << ", \"succeeded\": " << jsonBool(result.succeeded)
        << ", \"rows\": " << result.rows << ", \"changed\": " << result.changed;
    writeJson(out, "unreadable", result.unreadable);
    writeJson(out, "refused", result.refused);
    if (result.ledger) {
        const char* separator = R"(, "ends": {)";
        for (std::size_t end = 0; end < rowEndNames.size(); ++end) {
            out << separator << '"' << rowEndNames[end] << "\": " << result.ledger->count(static_cast<RowEnd>(end));
            separator = ", ";
        }
        out << '}';
    }
    out << ", \"messages\": ";
    writeMessages(out, result.messages);
    out << '}';
}

void writeJson(std::ostream& out, const Document& document) {
    out << "{\"loaded\": " << jsonBool(document.loaded)
        << ", \"error\": " << (document.error ? jsonString(*document.error) : "null") << ", \"messages\": ";
    writeMessages(out, document.messages);
    out << '}';
}

void writeJson(std::ostream& out, const Document& document, const std::vector<LayerResult>& layers,
               const std::string& more) {
    out << "{\"document\": ";
    writeJson(out, document);
    out << ",\n \"layers\": [";
    const char* separator = "\n  ";
    for (const LayerResult& layer : layers) {
        out << separator;
        writeJson(out, layer);
        separator = ",\n  ";
    }
    out << "]" << (more.empty() ? "" : ",\n ") << more << "}\n";
}

}  // namespace cxml
