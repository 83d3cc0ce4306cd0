// Planted mistakes of order, and documents without any: how many are found, and what is said of the others.
#include "support/documents.h"
#include "tools/check/checks.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <iostream>
#include <random>

namespace {

using cxml::Finding;
using cxml::Findings;

struct Planted {
    std::string document;
    LONG line = 0;  // of what can have no effect; 0 for none
};

/// Writes documents of a condition a line. What it writes is right unless a mistake is planted: the default first,
/// wider conditions before those that they contain.
class Writer {
public:
    explicit Writer(unsigned seed) : random_(seed) {}

    Planted correct() {
        std::vector<std::string> list{condition("")};
        // Depth zones, from the shallow one to the deep one; each bound above the one before.
        int bound = static_cast<int>(below(5));
        for (unsigned i = 1 + below(4); i > 0; --i) {
            list.push_back(condition(rule("A", "DRVAL1", "gte", {number(bound)})));
            bound += 1 + static_cast<int>(below(9));
        }
        // Codes, each its own, and some of them with a second field.
        std::vector<int> codes{1, 2, 3, 4, 5, 6, 7, 8, 9};
        std::ranges::shuffle(codes, random_);
        for (unsigned i = 0; i < 1 + below(4); ++i) {
            const std::string code = rule("A", "CATLAM", "equal", {std::to_string(codes[i])});
            list.push_back(condition(code));
            if (below(2) == 0) list.push_back(condition(code + rule("L", "COLOUR", "containsany", {"3"})));
            if (below(2) == 0)
                list.push_back(condition(code + rule("L", "COLOUR", "equal", {"3", std::to_string(4 + below(3))})));
        }
        if (below(2) == 0) {
            list.push_back(condition(rule("A", "OBJNAM", "like", {"No*"})));
            list.push_back(condition(rule("A", "OBJNAM", "like", {"No " + std::to_string(below(9)) + "*"})));
        }
        if (below(2) == 0)
            list.push_back("<condition>" +
                           rule("A", "VALSOU", "notequal", {"NULL"},
                                condition("") + condition(rule("A", "VALSOU", "gt", {"20"}))) +
                           "</condition>");
        if (below(2) == 0)
            list.push_back(condition("<rule type='Q' operator='exists' table='LIGHTS'><query>1 = 1</query></rule>"));
        return written(list, {}, 0);
    }

    static constexpr std::array kinds{"range", "default", "nested", "duplicate", "contradiction"};

    /// With a mistake of the kind in the middle of something correct.
    Planted with(std::size_t kind) {
        const std::string n = std::to_string(1 + below(9));
        const int low = static_cast<int>(below(20));
        const int high = low + 2 + static_cast<int>(below(20));
        const std::string own = rule("A", "CATCAM", "equal", {n});
        std::vector<std::string> list;
        std::size_t at = 0;
        switch (kind) {
            case 0:  // the bounds of two zones in the wrong order
                if (below(2) == 0) {
                    list = {condition(rule("A", "DEPTH", "gte", {number(high)})),
                            condition(rule("A", "DEPTH", "gte", {number(low)}))};
                } else {
                    list = {condition(rule("A", "DEPTH", "between", {number(low + 1), number(high - 1)})),
                            condition(rule("A", "DEPTH", "between", {number(low), number(high)}))};
                }
                break;
            case 1:
                list = {condition(own), condition("")};
                break;
            case 2:  // nested conditions of which a later one takes all that an earlier one would
                list = {"<condition>" +
                        rule("A", "MARSYS", "equal", {n},
                             "\n" + condition(rule("A", "BCNSHP", "equal", {n})) + "\n" +
                                 condition(rule("A", "BCNSHP", "notequal", {"NULL"}))) +
                        "</condition>"};
                at = 1;
                break;
            case 3:  // the same twice, with its rules in another order
                list = {condition(own + rule("A", "BCNSHP", "equal", {"2"})),
                        condition(rule("A", "BCNSHP", "equal", {"2"}) + own)};
                break;
            default:
                list = {condition(below(2) == 0 ? rule("A", "DEPTH", "gt", {number(high)}) +
                                                      rule("A", "DEPTH", "lt", {number(low)})
                                                : own + rule("A", "CATCAM", "equal", {n + "1"}))};
                break;
        }
        std::vector<std::string> others{condition("")};
        others.push_back(condition(rule("A", "BOYSHP", "equal", {n})));
        if (kind == 1) others.clear();
        return written(others, list, at);
    }

private:
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

    std::string number(int value) { return std::to_string(value) + (below(3) == 0 ? ".5" : ""); }

    std::string condition(const std::string& rules) {
        return "<condition rulename='S" + std::to_string(++names_) + "'>" + rules + "</condition>";
    }

    static std::string rule(const std::string& type, const std::string& field, const std::string& op,
                            const std::vector<std::string>& values, const std::string& nested = "") {
        std::string text = "<rule type='" + type + "' field='" + field + "' operator='" + op + "'>";
        for (const std::string& value : values) text += "<value>" + value + "</value>";
        return text + nested + "</rule>";
    }

    static Planted written(const std::vector<std::string>& first, const std::vector<std::string>& then,
                           std::size_t at) {
        Planted planted;
        planted.document = "<conditionMap name='planted'><featureClass name='C'>\n";
        for (const std::string& line : first) planted.document += line + '\n';
        if (!then.empty()) planted.line = static_cast<LONG>(2 + first.size() + at);
        for (const std::string& line : then) planted.document += line + '\n';
        planted.document += "</featureClass></conditionMap>\n";
        return planted;
    }

    std::mt19937 random_;
    int names_ = 0;
};

std::vector<Finding> check(const std::string& document) {
    const CComPtr<IXMLDOMDocument> dom = parseDocument(document);
    Findings findings("planted.cxml");
    const cxml::DocumentModel model(dom, findings);
    cxml::checkMeaning(model, findings);
    cxml::checkReach(model, findings);
    return findings.take();
}

TEST(OrderDefects, areFound) {
    constexpr unsigned each = 40;
    for (std::size_t kind = 0; kind < Writer::kinds.size(); ++kind) {
        unsigned found = 0;
        for (unsigned seed = 0; seed < each; ++seed) {
            const Planted planted = Writer(seed).with(kind);
            const std::vector<Finding> findings = check(planted.document);
            if (findings.size() == 1 && findings.front().place.line == planted.line)
                ++found;
            else
                ADD_FAILURE() << Writer::kinds.at(kind) << ' ' << seed << ": " << findings.size() << " findings\n"
                              << planted.document << (findings.empty() ? "" : findings.front().text);
        }
        std::cout << Writer::kinds.at(kind) << ": " << found << " of " << each << " found, each once\n";
    }
}

TEST(OrderDefects, areNotSaidOfCorrectDocuments) {
    unsigned alarms = 0;
    for (unsigned seed = 0; seed < 300; ++seed) {
        const Planted correct = Writer(seed).correct();
        for (const Finding& finding : check(correct.document)) {
            ++alarms;
            ADD_FAILURE() << seed << ": " << finding.kind << ": " << finding.text << '\n' << correct.document;
        }
    }
    std::cout << alarms << " false alarms in 300 documents\n";
}

}  // namespace
