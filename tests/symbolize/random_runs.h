// Random documents over random rows, for comparing ways to run them. Everything that a way could get wrong is in them:
// nested conditions, missing fields, values whose types differ from row to row and from run to run, list rules,
// queries, expressions.
#pragma once

#include "cxml/condition_map.h"
#include "memhost/messages.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "support/loaded_manager.h"
#include "symbolize/runs.h"

#include <functional>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace random_runs {

/// Every type word that a host could answer with; arrays aside, see answerEmpty().
inline constexpr VARTYPE allTypes[] = {VT_EMPTY,
                                       VT_NULL,
                                       VT_I2,
                                       VT_I4,
                                       VT_R4,
                                       VT_R8,
                                       VT_CY,
                                       VT_DATE,
                                       VT_BSTR,
                                       VT_DISPATCH,
                                       VT_ERROR,
                                       VT_BOOL,
                                       VT_UNKNOWN,
                                       VT_DECIMAL,
                                       VT_I1,
                                       VT_UI1,
                                       VT_UI2,
                                       VT_UI4,
                                       VT_I8,
                                       VT_UI8,
                                       VT_INT,
                                       VT_UINT,
                                       VT_BYREF | VT_I4,
                                       VT_BYREF | VT_R8,
                                       VT_BYREF | VT_BSTR,
                                       VT_BYREF | VT_VARIANT};

/// Types that comparing reads from an operand whatever its own type is. In a range, where types may differ, that can be
/// an address.
inline bool isReadAsItsOwn(VARTYPE type) {
    return type == VT_I1 || type == VT_UI2 || type == VT_UI4 || type == VT_UI8;
}

// What values refer to.
inline LONG referredNumber = 2;
inline double referredReal = 2;
inline CComBSTR referredText(OLESTR("2"));
inline CComVariant referredVariant(2);

/// A host's value of that type. What the texts of digits do not convert to is without content: no object, no array.
inline CComVariant typedValue(VARTYPE type, const std::string& digits) {
    CComVariant value(memhost::bstr(digits));
    if (SUCCEEDED(value.ChangeType(type))) return value;
    value.Clear();
    value.llVal = 0;
    if (type == (VT_BYREF | VT_I4)) value.byref = &referredNumber;
    if (type == (VT_BYREF | VT_R8)) value.byref = &referredReal;
    if (type == (VT_BYREF | VT_BSTR)) value.byref = static_cast<void*>(&referredText.m_str);
    if (type == (VT_BYREF | VT_VARIANT)) value.byref = &referredVariant;
    value.vt = type;
    return value;
}

enum class Arrays { None, Some };

/// How hosts answer that there is no value, NULL aside: with and without S_FALSE. Arrays are answered with here, too:
/// platforms differ in whether a row could keep one.
inline std::optional<HRESULT> answerEmpty(const VARIANT& stored, std::size_t row, Arrays arrays, VARIANT* value) {
    if (stored.vt != VT_EMPTY || row % 4 == 0) return std::nullopt;
    if (row % 4 == 1 || arrays == Arrays::None) return S_FALSE;
    value->llVal = 0;
    value->vt = static_cast<VARTYPE>(VT_ARRAY | (row % 4 == 2 ? VT_I4 : VT_UI1));
    return S_OK;
}

class Generator {
public:
    explicit Generator(unsigned seed)
        : random_(seed), tame_(oneIn(3)), hasRanges_(oneIn(2)), hasDistinctValues_(oneIn(4)) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    bool oneIn(unsigned count) { return below(count) == 0; }
    template <class T>
    T pick(std::initializer_list<T> choices) {
        return choices.begin()[below(static_cast<unsigned>(choices.size()))];
    }

    /// \param large whether there are more conditions than a word has bits.
    std::string document(bool large) {
        const std::size_t conditions = large ? 70 : tame_ ? 2 + below(3) : 2 + below(10);
        std::string text = "<conditionMap name='random'><featureClass name='Rnd'>";
        for (std::size_t i = 0; i < conditions; ++i) text += condition(0);
        text += "<subtype number='1,2'>";
        for (std::size_t i = 0; i < conditions / 2; ++i) text += condition(0);
        text += "</subtype><subtype number='2'>";
        for (std::size_t i = 0; i < conditions / 3; ++i) text += condition(0);
        return text + "</subtype></featureClass></conditionMap>";
    }

    /// A value of MIX: of any type, when `mixed`; else of the type that is `usual`.
    memhost::Cell mixedValue(VARTYPE usual, bool mixed) {
        VARTYPE type = mixed && oneIn(3) ? allTypes[below(static_cast<unsigned>(std::size(allTypes)))] : usual;
        if (hasRanges_ && isReadAsItsOwn(type)) type = usual;
        if (oneIn(6)) return nullptr;
        return typedValue(type, pick<std::string>({"0", "1", "2", "3"}));
    }

    std::string text() {
        return pick<std::string>({"", "A", "AB", "BAB", "A*B", "1", "2", "1.5", "3,1", "1,,2,", "7,7"});
    }

    /// Whether D has values that come but once: such a field is not worth remembering.
    bool hasDistinctValues() const noexcept { return hasDistinctValues_; }

private:
    std::string condition(unsigned depth) {
        std::string element = "<condition";
        if (!oneIn(4)) element += " rulename='S" + std::to_string(++names_) + "'";
        if (oneIn(3)) element += " xoffset='" + pick<std::string>({"0", "1", "2.5"}) + "'";
        const bool computes = !tame_ && oneIn(12);
        if (computes) element += " type='2' field='LABEL'";
        element += '>';
        for (unsigned i = tame_ ? 1 + below(3) : pick({0U, 1U, 1U, 2U, 3U}); i > 0; --i) element += rule(depth);
        if (computes)
            element += pick<std::string>({"<expression>def Generate(I, T): return str(I) + str(T)</expression>",
                                          "<expression>def Generate(Light[]): return str(len(Light))</expression>",
                                          "<expression>def Generate(I): return str(1 // (I - 3))</expression>"});
        return element + "</condition>";
    }

    std::string rule(unsigned depth) {
        if (!tame_ && oneIn(10)) return queryRule();
        const bool ofList = oneIn(4);
        std::string op =
            ofList
                ? pick<std::string>({"equal", "notequal", "containsany", "containsall", "containsnone", "hasmultiple"})
                : pick<std::string>(
                      {"equal", "equal", "equal", "notequal", "lt", "lte", "gt", "gte", "between", "like", "notlike"});
        const std::string field = tame_ ? pick<std::string>({"I", "D", "T", "MIX"})
                                        : pick<std::string>({"I", "I", "D", "T", "T", "MIX", "MIX", "FAR", "Light"});
        if (op == "between" && field == "MIX" && !hasRanges_) op = "equal";
        std::string element =
            std::string("<rule type='") + (ofList ? 'L' : 'A') + "' operator='" + op + "' field='" + field + "'";
        if (!tame_ && oneIn(10)) return element + " fieldValue='" + pick<std::string>({"I", "D", "MIX", "FAR"}) + "'/>";
        element += '>';
        for (unsigned i = op == "between" ? 2 : pick({0U, 1U, 1U, 2U, 3U}); i > 0; --i)
            element += "<value>" + operand() + "</value>";
        if (!tame_ && depth < 2)
            for (unsigned i = pick({0U, 0U, 0U, 0U, 1U}); i > 0; --i) element += condition(depth + 1);
        return element + "</rule>";
    }

    std::string operand() {
        if (tame_) return pick<std::string>({"0", "1", "2", "3", "NULL"});
        return pick<std::string>({"0", "1", "2", "3", "1.5", "2.5", "NULL", "A", "A*", "*B", "x", "''", "1e1"});
    }

    std::string queryRule() {
        return pick<std::string>({"<rule type='Q' operator='exists' table='LIGHTS'>",
                                  "<rule type='Q' operator='fetch' table='LIGHTS'>",
                                  "<rule type='Q' operator='fetch' table='LIGHTS' selectOption='multiple'>"}) +
               "<query>N = %s</query><params><param value='" + pick<std::string>({"I", "MIX", "FAR"}) +
               "'/></params><fields><field name='CHAR' alias='" + pick<std::string>({"Light", "Light", "FAR", "I"}) +
               "'/></fields></rule>";
    }

    std::mt19937 random_;
    // Tame documents have few rules, of which all can be remembered, with operands that every type of field has: soon
    // no row changes one any more, and many rows satisfy no condition.
    bool tame_;
    bool hasRanges_;  // over MIX
    bool hasDistinctValues_;
    unsigned names_ = 0;
};

/// Rows for a Side. \param mixed from which row on MIX has values of all types.
inline std::vector<std::vector<memhost::Cell>> makeRows(Generator& generator, std::size_t count, VARTYPE mixType,
                                                        std::size_t mixed) {
    using memhost::Cell;
    std::vector<std::vector<Cell>> rows;
    for (std::size_t i = 0; i < count; ++i) {
        const auto number = [&]() -> Cell {
            return generator.oneIn(6) ? Cell(nullptr) : Cell(static_cast<int>(generator.below(5)));
        };
        const Cell real = generator.oneIn(6)              ? Cell(nullptr)
                          : generator.hasDistinctValues() ? Cell(static_cast<double>(i) / 1000)
                                                          : Cell(generator.pick({0.0, -0.0, 1.0, 1.5, 2.5, 3.0}));
        const Cell text = generator.oneIn(6) ? Cell(nullptr) : Cell(generator.text());
        rows.push_back({generator.oneIn(2) ? Cell(nullptr) : Cell("S1"), nullptr, nullptr, number(), real, text,
                        generator.mixedValue(mixType, i >= mixed), number()});
    }
    return rows;
}

/// One manager with its own copies of the tables.
class Side {
public:
    using Answers = ConditionalXml::RowSymbolization::Answers;

    /// \param observer null, or told of every run; must outlive this.
    Side(const std::string& document, Answers answers, ConditionalXml::EvaluationObserver* observer = nullptr)
        : manager_(managerOf(document)), answers_(answers), observer_(observer) {}

    void run(const std::vector<std::vector<memhost::Cell>>& rows, VARTYPE mixType, Arrays arrays = Arrays::Some) {
        memhost::Table builder("Rnd");
        builder.field("SYMBOL_C", VT_BSTR).field("Xoffset_C", VT_R8).field("LABEL", VT_BSTR);
        builder.field("I", VT_I4).field("D", VT_R8).field("T", VT_BSTR).field("MIX", mixType).field("KIND", VT_I4);
        builder.subtypes("KIND");
        for (const std::vector<memhost::Cell>& row : rows) builder.row(row);
        table_ = builder.build();
        const memhost::TableObject& table = *table_;
        table_->answerValue = [&table, arrays](std::size_t row, LONG field, VARIANT* value) {
            return answerEmpty(table.value(row, field), row, arrays, value);
        };
        const auto lights =
            memhost::Table("LIGHTS").field("CHAR", VT_BSTR).row({"F"}).row({"Fl"}).row({nullptr}).build();
        lights->answerWhere = [](const std::string& where) {
            std::vector<ObjectId> ids;
            for (ObjectId id = 1; id <= 3; ++id)
                if ((where.back() + id) % 3 != 0) ids.push_back(id);
            return ids;
        };
        const auto workspace = memhost::make<memhost::Workspace>(workspaceFileSystem);
        workspace->add(datasetFeatureClass, table_);
        workspace->add(datasetTable, lights);
        ended_ = end([&] {
            return ConditionalXml::symbolizeFeatureClass(map(), memhost::bstr("RND"), table_->featureClass(), nullptr,
                                                         messages_, answers_, observer_);
        });
    }

    const ConditionalXml::ConditionMap& map() const { return *SymbologyManagerAccess::currentMap(manager_); }

    /// Which rows have a symbol: '+', or '-'.
    std::string holding(std::size_t rows) const {
        std::string signs;
        for (std::size_t row = 0; row < rows; ++row) signs += table_->text(row, "SYMBOL_C") == "NULL" ? '-' : '+';
        return signs;
    }

    /// Everything that can be seen: the rows, what was written, the messages, the operands of all rules.
    std::vector<std::string> state(std::size_t rows) const {
        std::vector<std::string> lines{ended_};
        for (std::size_t row = 0; row < rows; ++row)
            lines.push_back(table_->text(row, "SYMBOL_C") + ' ' + table_->text(row, "Xoffset_C") + ' ' +
                            table_->text(row, "LABEL"));
        for (const memhost::Update& update : table_->updates) lines.push_back("updated " + std::to_string(update.id));
        for (const memhost::Messages::Entry& entry : messages_->entries()) lines.push_back(entry.text);
        for (const std::shared_ptr<ConditionalXml::Rule>& rule : map().rules)
            if (const auto* attribute = dynamic_cast<const ConditionalXml::CXAttributeRule*>(rule.get()))
                for (const CComVariant& operand : attribute->values) lines.push_back(memhost::describe(operand));
        return lines;
    }

private:
    /// How a run ended: a value that cannot be copied ends it.
    static std::string end(const std::function<bool()>& run) {
        try {
            return run() ? "done" : "refused";
        } catch (const CAtlException& error) {
            return "status " + std::to_string(error.m_hr);
        }
    }

    SymbologyManager manager_;
    Answers answers_;
    ConditionalXml::EvaluationObserver* observer_;
    std::string ended_;
    CComPtr<memhost::TableObject> table_;
    CComPtr<memhost::Messages> messages_ = memhost::make<memhost::Messages>();
};

}  // namespace random_runs
