#include "tools/lookups/lookup_lists.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>
#include <ranges>
#include <set>
#include <span>
#include <utility>

namespace cxml {
namespace {

constexpr const char* defaultClass = "######";

bool hasSmallLetters(const std::string& name) {
    return std::ranges::any_of(name, [](char c) { return c >= 'a' && c <= 'z'; });
}

class Maker {
public:
    Maker(const LookupTables& tables, const LookupChoice& choice) : choice_(choice) {
        for (const UnreadRow& row : tables.unread)
            lists_.reports.push_back(
                {row.number, row.line, row.className, {}, {}, false, {}, {{LossKind::RowForm, row.why, {}}}});
        for (const LookupRow& row : tables.rows) {
            if (!isChosen(row.table)) {
                ++lists_.otherRows;
                continue;
            }
            take(row);
        }
    }

    LookupLists take() {
        for (Class& one : classes_) {
            LookupClass made{one.name, {}};
            for (auto& [primitive, rows] : one.rows) {
                LookupList list{primitive, conditionsOf(rows)};
                if (!list.conditions.empty()) made.lists.push_back(std::move(list));
            }
            if (!made.lists.empty()) lists_.classes.push_back(std::move(made));
        }
        std::ranges::sort(lists_.reports, {}, &RowReport::number);
        return std::move(lists_);
    }

private:
    struct Row {
        const LookupRow* source;
        std::vector<AttributeTest> tests;
        RowReport report;
    };
    struct Class {
        std::string name;
        std::map<Primitive, std::vector<Row>> rows;
    };

    bool isChosen(LookupTable table) const {
        return table == choice_.points || table == choice_.areas || table == LookupTable::Lines;
    }

    void refuse(Row row, LossKind kind, std::string why) {
        row.report.losses.insert(row.report.losses.begin(), {kind, std::move(why), {}});
        lists_.reports.push_back(std::move(row.report));
    }

    void take(const LookupRow& source) {
        Row row{&source, {}, {}};
        row.report.number = source.number;
        row.report.line = source.line;
        row.report.className = source.className;
        row.report.primitive = nameOf(source.primitive);
        row.report.attributes = source.attributes;
        if (source.className == defaultClass) {
            refuse(std::move(row), LossKind::DefaultClass, source.instruction);
            return;
        }
        for (const std::string& attribute : source.attributes) {
            std::optional<AttributeTest> test = readAttributeTest(attribute);
            if (!test) {
                refuse(std::move(row), LossKind::AttributeForm, attribute);
                return;
            }
            if (!canHold(*test, source.className)) {
                refuse(std::move(row), LossKind::NeverHolds, attribute);
                return;
            }
            if (mayHave(source.className, test->field)) row.tests.push_back(std::move(*test));
        }
        Class* const ofClass = classOf(source.className);
        if (!ofClass) {
            refuse(std::move(row), LossKind::ClassName, source.className);
            return;
        }
        ofClass->rows[source.primitive].push_back(std::move(row));
    }

    // Documents do not tell capitals from small letters in names of classes. Where both are there, S-57's own classes,
    // which are written in capitals, are taken.
    Class* classOf(const std::string& name) {
        const std::string key = toUtf8(upperCase(toBstr(name)));
        const auto [known, isNew] = places_.try_emplace(key, classes_.size());
        if (isNew) {
            classes_.push_back({name, {}});
            return &classes_.back();
        }
        Class& one = classes_[known->second];
        if (one.name == name) return &one;
        if (!hasSmallLetters(one.name) || hasSmallLetters(name)) return nullptr;
        for (auto& [primitive, rows] : one.rows)
            for (Row& row : rows) refuse(std::move(row), LossKind::ClassName, one.name);
        one = {name, {}};
        return &one;
    }

    std::vector<LookupCondition> conditionsOf(std::vector<Row>& rows) {
        // Those with the most tests first, of equally many the first of the tables.
        std::ranges::sort(rows, [](const Row& a, const Row& b) {
            const std::size_t tests[] = {a.source->attributes.size(), b.source->attributes.size()};
            return tests[0] != tests[1] ? tests[0] > tests[1] : a.source->number < b.source->number;
        });
        std::set<std::vector<AttributeTest>> known;
        std::vector<Row*> winners;
        for (Row& row : rows) {
            std::vector<AttributeTest> sorted = row.tests;
            std::ranges::sort(sorted);
            if (known.insert(std::move(sorted)).second) {
                winners.push_back(&row);
                continue;
            }
            const std::string& instruction = row.source->instruction;
            refuse(std::move(row), LossKind::NeverWins, instruction);
        }
        std::vector<LookupCondition> conditions;
        // From the last one, so that it is known whether a row has others to take the place of.
        for (Row* const row : winners | std::views::reverse) {
            LookupCondition condition = conditionOf(*row, !conditions.empty());
            RowReport& report = row->report;
            report.isCarried = !condition.symbol.empty() || condition.text;
            report.symbol = condition.symbol;
            if (report.isCarried) conditions.push_back(std::move(condition));
            lists_.reports.push_back(std::move(report));
        }
        std::ranges::reverse(conditions);
        return conditions;
    }

    LookupCondition conditionOf(Row& row, bool hasOthers) {
        std::vector<Loss>& losses = row.report.losses;
        const Instruction instruction = readInstruction(row.source->instruction);
        LookupCondition condition;
        condition.tests = row.tests;
        const Piece* const symbol = symbolPiece(instruction, row.source->primitive);
        for (const std::string& odd : instruction.odd) losses.push_back({LossKind::InstructionForm, odd, {}});
        for (const Piece& piece : instruction.pieces) {
            if (piece.isProcedure())
                losses.push_back(
                    {LossKind::Procedure, piece.arguments.front(), replacementOf(piece.arguments.front())});
            else if (piece.isText())
                takeText(piece, row.source->className, condition, losses);
            else if (&piece != symbol)
                losses.push_back({LossKind::FurtherSymbol, piece.text, {}});
        }
        if (symbol) {
            condition.symbol = documentNameOf(*symbol);
            condition.rotation = rotationOf(*symbol);
            if (condition.rotation && !mayHave(row.source->className, condition.rotation->field))
                condition.rotation.reset();
            if (!condition.rotation && symbol->word == "SY" && symbol->arguments.size() > 1)
                losses.push_back({LossKind::Rotation, symbol->text, {}});
        } else {
            losses.push_back(
                {LossKind::NoSymbol, row.source->instruction.empty() ? "no instruction" : row.source->instruction, {}});
            if (hasOthers) condition.symbol = noSymbol;
        }
        losses.push_back({LossKind::Display,
                          fmt::format("{}, {}, {}", row.source->displayPriority, row.source->radarPriority,
                                      row.source->displayCategory),
                          {}});
        return condition;
    }

    static void takeText(const Piece& piece, const std::string& className, LookupCondition& condition,
                         std::vector<Loss>& losses) {
        std::optional<RowText> text;
        if (!condition.text) text = rowText(piece);
        const auto isThere = [&](const std::string& field) { return mayHave(className, field); };
        if (!text || !std::ranges::all_of(text->fields, isThere)) {
            losses.push_back({LossKind::Text, piece.text, {}});
            return;
        }
        condition.text = std::move(text);
        losses.push_back({LossKind::TextFormat, textFormat(piece), {}});
    }

    std::string replacementOf(const std::string& procedure) const {
        return choice_.replacementOf ? choice_.replacementOf(procedure) : std::string();
    }

    const LookupChoice& choice_;
    LookupLists lists_;
    std::vector<Class> classes_;
    std::map<std::string, std::size_t> places_;  // in classes_, by the name in capitals
};

}  // namespace

std::size_t LookupLists::conditions() const {
    std::size_t count = 0;
    for (const LookupClass& one : classes)
        for (const LookupList& list : one.lists) count += list.conditions.size();
    return count;
}

LookupLists makeLists(const LookupTables& tables, const LookupChoice& choice) {
    return Maker(tables, choice).take();
}

}  // namespace cxml
