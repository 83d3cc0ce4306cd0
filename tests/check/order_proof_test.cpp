// What is proved of the order of conditions, against what evaluating them gives.
#include "tools/check/order_proof.h"

#include "lists.h"
#include "rules/rule.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <iostream>
#include <set>

namespace {

using ConditionalXml::Condition;
using ConditionalXml::FeatureClassRule;
using cxml::OrderProof;
using cxml::OrderProofs;
using cxml::ProofBudget;

OrderProofs prove(const LoadedMap& loaded) {
    ProofBudget budget;
    return cxml::proveOrder(listOf(loaded.rule("C")), budget);
}

std::string nameOf(const Condition& condition) {
    return memhost::utf8(condition.rulename.m_str);
}

/// "A<B,C" for one that others replace, "A!" for one that never holds, "*" behind what rests on something.
std::string inWords(const OrderProofs& proofs) {
    std::string text;
    for (const OrderProof& proof : proofs.proofs) {
        text += (text.empty() ? "" : " ") + nameOf(*proof.condition);
        if (proof.kind == OrderProof::Kind::NeverHolds) text += '!' + std::to_string(proof.rules.size());
        for (std::size_t i = 0; i < proof.by.size(); ++i) text += (i == 0 ? "<" : ",") + nameOf(*proof.by[i]);
        if (!proof.assumptions.empty()) text += '*';
    }
    return text;
}

struct Case {
    const char* what;
    std::string document;
    std::string proved;
};

std::string manyCodes() {
    std::string list;
    for (int code = 1; code <= 20; ++code)
        list += condition("S" + std::to_string(code), rule("L", "L", "containsany", {std::to_string(code)}));
    return list;
}

const std::vector<Case>& cases() {
    const auto a = [](const std::string& field, const std::string& op, const std::vector<std::string>& values,
                      const std::string& nested = "") { return rule("A", field, op, values, nested); };
    const auto l = [](const std::string& op, const std::vector<std::string>& values) {
        return rule("L", "L", op, values);
    };
    const std::string query = "<rule type='Q' operator='exists' table='T'><query>1 = 1</query></rule>";
    const std::string fetch =
        "<rule type='Q' operator='fetch' table='T'><query>1 = 1</query><fields><field name='X' "
        "alias='F'/></fields></rule>";
    static const std::vector<Case> all{
        {"default first", condition("D", "") + condition("A", a("N", "equal", {"1"})), ""},
        {"default last", condition("A", a("N", "equal", {"1"})) + condition("D", ""), "A<D"},
        {"the wider bound later", condition("A", a("N", "gte", {"18.2"})) + condition("B", a("N", "gte", {"5.4"})),
         "A<B*"},
        {"the narrower bound later", condition("A", a("N", "gte", {"5.4"})) + condition("B", a("N", "gte", {"18.2"})),
         ""},
        {"a range in a range",
         condition("A", a("N", "between", {"2", "3"})) + condition("B", a("N", "between", {"1", "4"})), "A<B*"},
        {"a range in two that meet",
         condition("A", a("N", "between", {"2", "6"})) + condition("B", a("N", "lt", {"4"})) +
             condition("C", a("N", "gte", {"4"})),
         "A<B,C*"},
        {"a range in two that leave a number between",
         condition("A", a("N", "between", {"2", "6"})) + condition("B", a("N", "lt", {"4"})) +
             condition("C", a("N", "gt", {"4"})),
         ""},
        {"the fewest of several",
         condition("A", a("N", "equal", {"1", "2"})) + condition("B", a("N", "equal", {"1"})) +
             condition("C", a("N", "equal", {"1", "2", "3"})) + condition("D", a("N", "equal", {"2"})),
         "A<C B<C"},
        {"NULL and not NULL",
         condition("D", "") + condition("A", a("N", "equal", {"NULL"})) + condition("B", a("N", "notequal", {"NULL"})),
         "D<A,B"},
        {"texts are not numbers", condition("A", a("N", "equal", {"2.5"})) + condition("B", a("N", "equal", {"2"})),
         ""},
        {"two fields",
         condition("A", a("N", "equal", {"1"}) + a("M", "equal", {"1"})) + condition("B", a("M", "equal", {"1"})),
         "A<B"},
        {"two fields, the wider one first",
         condition("B", a("M", "equal", {"1"})) + condition("A", a("N", "equal", {"1"}) + a("M", "equal", {"1"})), ""},
        {"beginnings", condition("A", a("T", "like", {"No 1*"})) + condition("B", a("T", "like", {"No*"})), "A<B"},
        {"a text and its beginning", condition("A", a("T", "like", {"No 1"})) + condition("B", a("T", "like", {"No*"})),
         "A<B"},
        {"like and notlike",
         condition("D", "") + condition("A", a("T", "like", {"*x*"})) + condition("B", a("T", "notlike", {"*x*"})),
         "D<A,B"},
        {"another pattern", condition("A", a("T", "like", {"*AB"})) + condition("B", a("T", "like", {"*B"})), ""},
        {"codes", condition("A", l("equal", {"3", "4"})) + condition("B", l("containsany", {"3"})), "A<B"},
        {"any code", condition("A", l("equal", {"3"})) + condition("B", l("containsany", {"3", "4"})), "A<B"},
        {"all codes of a list", condition("A", l("containsany", {"3"})) + condition("B", l("equal", {"3"})), ""},
        {"more than one code", condition("A", l("equal", {"3", "4"})) + condition("B", l("hasmultiple", {})), "A<B"},
        {"containsall of different codes", condition("A", l("containsall", {"3", "4"})), "A!1"},
        {"a range the wrong way", condition("A", a("N", "between", {"4", "2"})), "A!1*"},
        {"two values", condition("A", a("N", "equal", {"1"}) + a("N", "equal", {"2"})), "A!2"},
        {"two bounds", condition("A", a("N", "lt", {"1"}) + a("N", "gt", {"2"})), "A!2*"},
        {"two bounds that leave one", condition("A", a("N", "lte", {"1"}) + a("N", "gte", {"1"})), ""},
        {"three that leave nothing",
         condition("A", a("N", "equal", {"1", "2"}) + a("N", "equal", {"2", "3"}) + a("N", "equal", {"1", "3"})),
         "A!3"},
        {"the fewest that leave nothing",
         condition("A", a("N", "notequal", {"9"}) + a("N", "equal", {"1"}) + a("N", "equal", {"2"})), "A!2"},
        {"codes have no contradiction", condition("A", l("containsany", {"1"}) + l("containsany", {"2"})), ""},
        {"a nested condition that the outer rule excludes",
         condition("", a("N", "equal", {"1"}, condition("A", a("N", "equal", {"2"})))), "A!2"},
        {"nested, in their order",
         condition("", a("N", "notequal", {"NULL"},
                         condition("A", a("M", "equal", {"1"})) + condition("B", a("M", "equal", {"1", "2"})))),
         "A<B"},
        {"nested, by one of the list",
         condition("", a("N", "equal", {"1"}, condition("A", a("M", "equal", {"1"})))) +
             condition("B", a("N", "equal", {"1", "2"})),
         "A<B"},
        {"by a nested one, even when its outer condition fails later",
         condition("A", a("N", "equal", {"1"})) +
             condition("", a("N", "equal", {"1"}, condition("B", "")) + a("M", "equal", {"7"})),
         "A<B"},
        {"the outer name is said elsewhere", condition("O", a("N", "equal", {"1"}, condition("A", ""))), ""},
        {"a query may answer anything", condition("A", a("N", "equal", {"1"})) + condition("B", query), ""},
        {"behind a query", condition("A", query) + condition("B", ""), "A<B"},
        {"a second field",
         condition("A", a("N", "equal", {"1"})) +
             condition("B", "<rule type='A' field='N' operator='equal' fieldValue='N'/>"),
         ""},
        {"what is fetched",
         condition("", fetch) + condition("A", a("F", "equal", {"1"})) + condition("B", a("F", "equal", {"1"})), ""},
        {"a condition without a name replaces no symbol", condition("A", a("N", "equal", {"1"})) + condition("", ""),
         ""},
        {"codes that are as good as each other",
         condition("A", l("containsany", {"1", "2", "3", "4", "5", "6"})) +
             condition("B", l("containsany", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12"})),
         "A<B"},
        {"not any text", condition("A", a("T", "notlike", {"*"})), "A!1"},
        {"too many codes", manyCodes(), ""},
    };
    return all;
}

TEST(OrderProof, ofSmallLists) {
    for (const Case& tested : cases()) {
        SCOPED_TRACE(tested.what);
        const LoadedMap loaded = LoadedMap::ofClass("C", tested.document);
        EXPECT_EQ(inWords(prove(loaded)), tested.proved) << tested.document;
    }
}

TEST(OrderProof, showsARow) {
    const LoadedMap loaded =
        LoadedMap::ofClass("C", condition("A", rule("A", "N", "gte", {"18.2"}) + rule("L", "L", "equal", {"3", "4"})) +
                                    condition("B", rule("A", "N", "gte", {"5.4"})));
    const OrderProofs proofs = prove(loaded);
    ASSERT_EQ(proofs.proofs.size(), 1U);
    EXPECT_EQ(proofs.proofs.front().witness, "N = 18.2, L = '3,4'");
    EXPECT_EQ(proofs.proofs.front().assumptions, "N holds numbers");
}

TEST(OrderProof, saysWhatWasTooMuch) {
    const LoadedMap loaded = LoadedMap::ofClass("C", manyCodes());
    EXPECT_EQ(prove(loaded).rulesLeftOut, 20U);
    ProofBudget spent{ProofBudget::most};
    EXPECT_FALSE(cxml::proveOrder(listOf(loaded.rule("C")), spent).isComplete);
}

/// Which of the named conditions, nested ones too, decide for some row and which hold.
struct Seen {
    std::set<const OLECHAR*> decided;
};

void collectNamed(const FeatureClassRule::ConditionList& list, std::vector<const Condition*>& named) {
    for (const auto& condition : list) {
        if (condition->rulename.Length() != 0) named.push_back(condition.get());
        for (const auto& rule : condition->rules) collectNamed(rule->nestedConditions, named);
    }
}

class ProofsOfRandomLists : public testing::TestWithParam<unsigned> {};

TEST_P(ProofsOfRandomLists, holdForRandomRows) {
    std::size_t proved = 0;
    std::size_t never = 0;
    for (unsigned seed = GetParam(); seed < GetParam() + 50; ++seed) {
        ListGenerator generator(seed);
        const std::string document = generator.list();
        const LoadedMap loaded = LoadedMap::ofClass("C", document);
        FeatureClassRule& configuration = loaded.rule("C");
        const OrderProofs proofs = prove(loaded);
        Seen seen;
        // Rules keep their operands' types, so the fields have one type each for a while.
        for (int run = 0; run < 5; ++run) {
            generator.chooseNumbers();
            const LoadedMap fresh = LoadedMap::ofClass("C", document);
            std::vector<const Condition*> originals;
            std::vector<const Condition*> copies;
            collectNamed(configuration.defaultConditions, originals);
            collectNamed(fresh.rule("C").defaultConditions, copies);
            for (int i = 0; i < 200; ++i) {
                ConditionalXml::RowValueMap row(fresh.rule("C").fieldNames);
                row.append(memhost::bstr("N"), generator.number());
                row.append(memhost::bstr("T"), generator.text());
                row.append(memhost::bstr("L"), generator.codes());
                BSTR name = nullptr;
                const Condition* matched = nullptr;
                for (Condition* tested : listOf(fresh.rule("C"))) tested->evaluate(row, name, matched, nullptr);
                for (std::size_t k = 0; k < copies.size(); ++k)
                    if (copies[k]->rulename.m_str == name) seen.decided.insert(originals[k]->rulename.m_str);
            }
        }
        std::set<const Condition*> said;
        for (const OrderProof& proof : proofs.proofs) {
            said.insert(proof.condition);
            if (proof.condition->rulename.Length() != 0) {
                EXPECT_FALSE(seen.decided.contains(proof.condition->rulename.m_str))
                    << "seed " << seed << ' ' << nameOf(*proof.condition) << ": " << document;
            }
            EXPECT_TRUE(proof.kind != OrderProof::Kind::Replaced || proof.isByAll || !proof.witness.empty());
        }
        std::vector<const Condition*> named;
        for (const auto& condition : configuration.defaultConditions)
            if (condition->rulename.Length() != 0) named.push_back(condition.get());
        for (const Condition* condition : named) {
            if (seen.decided.contains(condition->rulename.m_str)) continue;
            ++never;
            if (said.contains(condition)) ++proved;
        }
    }
    // Rows are random: that none was decided by a condition does not say that none can be.
    std::cout << proved << " of " << never << " conditions that decided no row are proved to decide none\n";
    EXPECT_GE(proved * 10, never * 7);
}

INSTANTIATE_TEST_SUITE_P(Seeds, ProofsOfRandomLists, testing::Values(0U, 50U, 100U, 150U, 200U, 250U));

}  // namespace
