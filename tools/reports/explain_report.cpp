#include "explain_report.h"

#include "tools/s57/catalogue.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <filesystem>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::QueryRule;
using End = WalkedCondition::End;

constexpr std::size_t lineWidth = 80;
constexpr std::size_t rulesColumn = 41;

std::string nameOf(const Condition& condition) {
    return condition.rulename.Length() == 0 ? "(no name)" : oneLine(toUtf8(condition.rulename));
}

std::string fileName(const Document& document) {
    return oneLine(std::filesystem::path(document.path).filename().string());
}

// What was asked, and what the answer was. Texts come from documents and data: on one line, steering nothing.
class Lines {
public:
    Lines(const Document& document, const ExplainedRow& row, Detail detail, bool isColoured)
        : places_(document.places), document_(document), row_(row), detail_(detail), isColoured_(isColoured) {}

    std::string all() {
        head();
        list();
        meanings();
        for (const WalkedCondition& walked : row_.explanation.conditions) condition(walked, 0);
        placement();
        for (const RowExplanation::Message& message : row_.explanation.messages)
            add(fmt::format("  message{}: {}", message.line == 0 ? "" : fmt::format(" of line {}", message.line),
                            oneLine(message.text)));
        return std::move(text_);
    }

    static std::string ruleText(const DocumentPlaces& places, const WalkedRule& walked) {
        std::string text = fmt::format("{} ", places.lineOf(*walked.rule));
        if (const auto* query = dynamic_cast<const QueryRule*>(walked.rule))
            return text + queryText(places, *query, walked);
        const auto* attribute = dynamic_cast<const CXAttributeRule*>(walked.rule);
        if (!attribute) return text + "rule";
        const std::string field = toUtf8(attribute->fieldName);
        if (!walked.isAsked) return oneLine(text + field + "  not reached");
        text += fmt::format("{} = {}  {}", field, inWords(walked.seen), places.operatorOf(*walked.rule));
        if (walked.other) text += fmt::format(" {} = {}", toUtf8(attribute->valueFieldName), inWords(*walked.other));
        std::vector<std::string> operands;
        operands.reserve(walked.operands.size());
        for (const ShownValue& operand : walked.operands) operands.push_back(inWords(operand));
        text += fmt::format(" {}  {}", fmt::join(operands, ", "), walked.answer ? "true" : "false");
        if (!walked.isComparable) text += " (nothing of its type)";
        return oneLine(text);
    }

private:
    static std::string queryText(const DocumentPlaces& places, const QueryRule& query, const WalkedRule& walked) {
        const std::string table = fmt::format("{} {}", places.operatorOf(query), toUtf8(query.tableName));
        if (!walked.isAsked) return oneLine(table + "  not reached");
        switch (walked.outcome) {
            case QueryRule::Outcome::NotAsked:
                return oneLine(table + "  not asked: the row lacks a parameter, or the rule is not whole");
            case QueryRule::Outcome::NoFilter:
                return oneLine(fmt::format("{}: {}  not taken", table, walked.clause));
            case QueryRule::Outcome::NoTable:
                return oneLine(fmt::format("{}: {}  no such table", table, walked.clause));
            case QueryRule::Outcome::Refused:
                return oneLine(fmt::format("{}: {}  refused", table, walked.clause));
            case QueryRule::Outcome::Answered:
                break;
        }
        return oneLine(fmt::format("{}: {}  {} row{}", table, walked.clause, walked.rows, walked.rows == 1 ? "" : "s"));
    }

    void add(const std::string& line) { text_ += line + '\n'; }

    std::string emphasized(const std::string& text) const {
        return isColoured_ ? "\x1B[1;32m" + text + "\x1B[0m" : text;
    }

    void head() {
        const RowExplanation& row = row_.explanation;
        std::string line = fmt::format("{} fid {}", oneLine(row_.layer), row.row);
        for (const Change& change : row_.set)
            line += fmt::format("  with {} = {}", oneLine(change.field), oneLine(inWords(shown(&change.value))));
        if (!row.isDecided)
            add(line + "   could not be decided");
        else if (row.named)
            add(fmt::format("{}   SYMBOL_C = {}   decided by {}:{}  {}{}", line, nameOf(*row.named),
                            fileName(document_), places_.lineOf(*row.named), oneLine(places_.addressOf(*row.named)),
                            placeOf(*row.named)));
        else
            add(fmt::format("{}   no condition names a symbol; SYMBOL_C stays {}", line, oneLine(inWords(row.symbol))));
    }

    // "in 53" for a nested condition.
    std::string placeOf(const Condition& condition) const {
        const Condition* outer = places_.outerOf(condition);
        return outer ? fmt::format(" in {}", places_.lineOf(*outer)) : std::string();
    }

    void list() {
        const RowExplanation& row = row_.explanation;
        if (!row.list) return;
        const bool isDefault = !row.configuration || row.list == &row.configuration->defaultConditions;
        std::string subtype;
        if (row.subtype) subtype = fmt::format(" ({} = {})", oneLine(row_.subtypeField), *row.subtype);
        if (isDefault)
            add(fmt::format("default list{}", row.subtype ? subtype + ": no list of that subtype" : ""));
        else
            add(fmt::format("list of subtype {}{}; the default list is not used", *row.subtype, subtype));
        if (row.conditions.empty()) add("  the list has no conditions");
    }

    // "  CATLAM = 1 (port-hand lateral mark)  COLOUR = ...": each field once, however many rules ask for it.
    void meanings() {
        std::vector<std::string> parts;
        addMeanings(row_.explanation.conditions, parts);
        std::string line;
        for (const std::string& part : parts) {
            if (!line.empty() && line.size() + 2 + part.size() > lineWidth) {
                add(line);
                line.clear();
            }
            line += "  " + part;
        }
        if (!line.empty()) add(line);
    }

    void addMeanings(const std::vector<WalkedCondition>& conditions, std::vector<std::string>& parts) const {
        for (const WalkedCondition& walked : conditions)
            for (const WalkedRule& rule : walked.rules) {
                if (const std::string meaning = meaningOf(row_, rule); !meaning.empty()) {
                    const auto* attribute = dynamic_cast<const CXAttributeRule*>(rule.rule);
                    std::string part =
                        oneLine(fmt::format("{} = {} ({})", toUtf8(attribute->fieldName), inWords(rule.seen), meaning));
                    if (std::ranges::find(parts, part) == parts.end()) parts.push_back(std::move(part));
                }
                addMeanings(rule.nested, parts);
            }
    }

    // "  48  BOYLAT13        replaced  by 58" and behind it the rules.
    void condition(const WalkedCondition& walked, std::size_t depth) {
        std::string line = fmt::format("{:>6}  {}{}", places_.lineOf(*walked.condition), std::string(2 * depth, ' '),
                                       nameOf(*walked.condition));
        std::string end = cxml::nameOf(walked.end);
        if (walked.end == End::Decides) end = emphasized("DECIDES");
        if (walked.by) end += fmt::format(" by {}", places_.lineOf(*walked.by));
        constexpr std::size_t endColumn = 25;
        line += std::string(line.size() + 1 < endColumn ? endColumn - line.size() : 2, ' ') + end;
        std::vector<std::string> parts;
        for (const WalkedRule& rule : walked.rules)
            if (detail_ == Detail::Full || rule.isAsked) parts.push_back(ruleText(places_, rule));
        if (!walked.arguments.empty() || walked.generated) parts.push_back(callText(walked));
        if (walked.isNotRun()) parts.emplace_back("its expression was not run");
        if (!walked.error.empty()) parts.push_back(oneLine(walked.error.substr(0, walked.error.find('\n'))));
        wrap(std::move(line), walked.end == End::Decides && isColoured_ ? emphasized("").size() : 0, parts);
        for (const WalkedRule& rule : walked.rules)
            for (const WalkedCondition& nested : rule.nested) condition(nested, depth + 1);
    }

    void wrap(std::string line, std::size_t invisible, const std::vector<std::string>& parts) {
        bool isBegun = false;
        for (const std::string& part : parts) {
            const std::size_t width = line.size() - invisible;
            const std::size_t gap = isBegun ? 2 : width + 2 <= rulesColumn ? rulesColumn - width : 2;
            if (isBegun && width + gap + part.size() > lineWidth) {
                add(line);
                line = std::string(rulesColumn, ' ') + part;
                invisible = 0;
            } else {
                line += std::string(gap, ' ') + part;
            }
            isBegun = true;
        }
        add(line);
    }

    static std::string callText(const WalkedCondition& walked) {
        std::vector<std::string> arguments;
        for (const auto& [name, values] : walked.arguments) {
            std::vector<std::string> shownValues;
            for (const ShownValue& value : values) shownValues.push_back(inWords(value));
            arguments.push_back(values.empty()       ? name + " has no value"
                                : values.size() == 1 ? name + " = " + shownValues[0]
                                                     : fmt::format("{} = [{}]", name, fmt::join(shownValues, ", ")));
        }
        std::string text = fmt::format("Generate({})", fmt::join(arguments, ", "));
        using Outcome = ConditionalXml::Expression::Outcome;
        if (walked.generated == Outcome::Accepted)
            text += " = " + inWords({"text", toUtf8(walked.condition->generatedValue)});
        else if (walked.generated == Outcome::NoArgument)
            text += " not called";
        else if (walked.generated)
            text += " returned no text";
        return oneLine(text);
    }

    void placement() {
        const RowExplanation& row = row_.explanation;
        if (!row.isDecided) return;
        add(row.placed ? fmt::format("  placement of line {}", places_.lineOf(*row.placed))
                       : std::string("  no placement; Xoffset_C, Yoffset_C, Rotate_C stay"));
        std::vector<std::string> puts;
        puts.reserve(row.puts.size());
        for (const RowExplanation::Put& put : row.puts)
            puts.push_back(fmt::format("{} {} -> {}{}", put.field, inWords(put.before), inWords(put.value),
                                       put.isTaken ? "" : " (the field does not take it)"));
        std::string nothing = "nothing";
        if (row.named) nothing += fmt::format(" ({} is there)", inWords(row.symbol));
        add(oneLine("  would write: " + (puts.empty() ? nothing : fmt::format("{}", fmt::join(puts, "; ")))));
    }

    const DocumentPlaces& places_;
    const Document& document_;
    const ExplainedRow& row_;
    Detail detail_;
    bool isColoured_;
    std::string text_;
};

std::string changeText(const std::vector<Change>& changes) {
    std::vector<std::string> parts;
    parts.reserve(changes.size());
    for (const Change& change : changes)
        parts.push_back(
            fmt::format("{} {} -> {}", change.field, inWords(shown(&change.before)), inWords(shown(&change.value))));
    return oneLine(fmt::format("{}", fmt::join(parts, " and ")));
}

std::string whyNotText(const Document& document, const ExplainedRow& row) {
    const RowExplanation& explanation = row.explanation;
    std::string text = fmt::format("{} fid {} has {}. {}:\n", oneLine(row.layer), explanation.row,
                                   explanation.named ? fmt::format("{} ({})", nameOf(*explanation.named),
                                                                   document.places.lineOf(*explanation.named))
                                                     : "no symbol by any condition",
                                   oneLine(row.wanted));
    for (const WhyNot& answer : row.whyNot) {
        text += answer.line == 0 ? "  " : fmt::format("  {:>4}  ", answer.line);
        text += answer.reasons.empty() ? "decides this row" : fmt::format("{}", fmt::join(answer.reasons, ", "));
        if (!answer.detail.empty()) text += ": " + oneLine(answer.detail);
        text += '\n';
        for (const WalkedRule* rule : answer.rules)
            text += fmt::format("        {}\n", Lines::ruleText(document.places, *rule));
        if (answer.change)
            text += fmt::format("        smallest change: {}   (evaluated: gives {})\n", changeText(*answer.change),
                                nameOf(*answer.evaluated->named));
        else if (answer.isSearched)
            text += fmt::format("        no change of up to {} fields was found by which it would decide\n",
                                mostChangedFields);
    }
    return text;
}

}  // namespace

std::string meaningOf(const ExplainedRow& row, const WalkedRule& walked) {
    const auto* const attribute = dynamic_cast<const CXAttributeRule*>(walked.rule);
    if (!attribute || !walked.isAsked || (walked.seen.type != "integer" && !walked.seen.isText())) return {};
    const S57Catalogue& catalogue = S57Catalogue::installed();
    const auto* const configuration = row.explanation.configuration;
    const S57Class* const ofClass =
        catalogue.findClass(row.layer, configuration ? toUtf8(configuration->name) : std::string());
    const S57Attribute* const found = catalogue.findField(ofClass, toUtf8(attribute->fieldName));
    return found ? found->meaningOf(walked.seen.text) : std::string();
}

std::string explained(const Document& document, const ExplainedRow& row, Detail detail, bool isColoured) {
    if (detail == Detail::Short) {
        const Condition* named = row.explanation.named;
        return fmt::format("{}\t{}\t{}\t{}\n",
                           named ? fmt::format("{}:{}:{}", oneLine(document.path), document.places.lineOf(*named),
                                               oneLine(document.places.addressOf(*named)))
                                 : "-",
                           oneLine(row.layer), row.explanation.row, named ? oneLine(toUtf8(named->rulename)) : "-");
    }
    if (!row.wanted.empty()) return whyNotText(document, row);
    return Lines(document, row, detail, isColoured).all();
}

std::string whyNotLine(const DocumentPlaces& places, const std::string& file, const WhyNot& answer) {
    if (answer.line == 0) return oneLine(answer.detail);
    const std::string place = fmt::format("{}:", oneLine(file));
    if (answer.reasons.empty()) return fmt::format("{}{} decides this row", place, answer.line);
    const std::string reasons = fmt::format("{}", fmt::join(answer.reasons, ", "));
    if (answer.rules.empty())
        return fmt::format("{}{} {}{}{}", place, answer.line, reasons, answer.detail.empty() ? "" : ": ",
                           oneLine(answer.detail));
    const std::string rule = place + Lines::ruleText(places, *answer.rules.front());
    return reasons == "not-reached" ? fmt::format("{}, so {} was not reached", rule, answer.line) : rule;
}

}  // namespace cxml
