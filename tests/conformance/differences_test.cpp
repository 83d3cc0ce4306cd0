// What may differ between hosts: all of it, and each is really different. Whatever else differs is a defect.
#include "conformance/hosts.h"
#include "postgres/database.h"
#include "support/documents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace conformance {
namespace {

struct Allowed {
    const char* what;
    const char* conditions;
    const char* rows;  // of MARKS
    // The rows' symbols.
    std::string memory{};
    std::string geoPackage{};
    std::string arrow{};
    std::string postgres{};
};

constexpr const char* marks =
    "table\tMARKS\tMARKS\nfield\tA\tinteger\nfield\tB\treal\nfield\tC\ttext\nfield\tE\tboolean\nfield\tDAY\tdate\n";
constexpr const char* twoRows = "row\t1\t0.5\t3\t1\t2024-02-29\nrow\t2\t1\tNorth\t0\t2000-01-01\n";

#define ASKS(clause, params)                                                                  \
    "<condition rulename='YES'><rule type='Q' operator='exists' table='MARKS'><query>" clause \
    "</query><params>" params "</params></rule></condition>"

const Allowed allowed[] = {
    {"names are found exactly as they are spelt in memory, in any case elsewhere",
     "<condition rulename='YES'><rule type='A' field='a' operator='equal' value='1'/></condition>", twoRows, "-,-",
     "YES,-", "YES,-", "YES,-"},
    {"tables, too",
     "<condition rulename='YES'><rule type='Q' operator='exists' table='marks'><query>1 = 1</query></rule></condition>",
     twoRows, "-,-", "YES,YES", "YES,YES", "YES,YES"},
    {"not-a-number is NULL in streams and in files, which cannot store it",
     "<condition rulename='VALUE'/><condition rulename='NULL'><rule type='A' field='B' operator='equal' value='NULL'/>"
     "</condition>",
     "row\t1\tnan\ta\t1\t2024-02-29\n", "VALUE", "NULL", "NULL", "VALUE"},
    {"questions about the run's own rows see them as they came in streams, as they are written elsewhere",
     "<condition rulename='FIRST'/>" ASKS("SYMBOL_C = 'FIRST'", ""), twoRows, "FIRST,YES", "FIRST,YES", "FIRST,FIRST",
     "FIRST,YES"},
    {"LIKE regards case on a server", ASKS("C LIKE 'north'", ""), twoRows, "YES,YES", "YES,YES", "YES,YES", "-,-"},
    {"a text and a number do not compare on a server", ASKS("C = 3", ""), twoRows, "YES,YES", "YES,YES", "YES,YES",
     "-,-"},
    {"a boolean and a number do not compare on a server", ASKS("E = 1", ""), twoRows, "YES,YES", "YES,YES", "YES,YES",
     "-,-"},
    {"a server understands a date as rules write it, a file compares texts", ASKS("DAY = '%s'", "<param value='DAY'/>"),
     twoRows, "-,-", "-,-", "-,-", "YES,YES"},
    {"functions of SQL are the database's", ASKS("ifnull(C, 'x') = '3'", ""), twoRows, "YES,YES", "YES,YES", "YES,YES",
     "-,-"},
};

#undef ASKS

Case caseOf(const TemporaryFolder& folder, const Allowed& difference) {
    std::string rows = std::string(marks) + "field\tSYMBOL_C\ttext\n";
    for (const char letter : std::string(difference.rows)) rows += letter == '\n' ? "\t\\N\n" : std::string(1, letter);
    folder.write("difference.rows", rows);
    return readCase(folder.write("difference.cxml", "<conditionMap name='difference'><featureClass name='MARKS'>" +
                                                        std::string(difference.conditions) +
                                                        "</featureClass></conditionMap>"));
}

std::string symbolsOf(const std::vector<LayerAnswer>& answers) {
    std::string symbols;
    for (const LayerAnswer& answer : answers) {
        EXPECT_EQ(answer.failure, "");
        for (const std::vector<Value>& row : answer.after.rows)
            symbols += (symbols.empty() ? "" : ",") + row.at(*answer.after.find("SYMBOL_C")).value_or("-");
    }
    return symbols;
}

void expectSymbols(Host& host, std::string Allowed::* expected) {
    for (const Allowed& difference : allowed) {
        const TemporaryFolder folder;
        EXPECT_EQ(symbolsOf(host.run(caseOf(folder, difference))), difference.*expected)
            << difference.what << ": " << host.name();
    }
}

TEST(AllowedDifferences, AreDifferences) {
    for (const Allowed& one : allowed)
        EXPECT_GT((std::set{one.memory, one.geoPackage, one.arrow, one.postgres}).size(), 1U) << one.what;
}

TEST(AllowedDifferences, OfTheHostInMemory) {
    expectSymbols(*makeMemoryHost(), &Allowed::memory);
}

TEST(AllowedDifferences, OfFiles) {
    expectSymbols(*makeGeoPackageHost(), &Allowed::geoPackage);
}

TEST(AllowedDifferences, OfStreams) {
    expectSymbols(*makeArrowHost(1), &Allowed::arrow);
}

class ServerDifferences : public postgres_test::DatabaseTest {
protected:
    std::unique_ptr<Host> host(Names names) const {
        return makePostgresHost(dataset(), "host=" + server_ + " dbname=" + database_ + " user=admin", names);
    }
};

TEST_F(ServerDifferences, OfSql) {
    expectSymbols(*host(Names::AsElsewhere), &Allowed::postgres);
}

TEST_F(ServerDifferences, OfNamesInMessages) {
    const TemporaryFolder folder;
    const Allowed missing{
        .what = "a field that is not there",
        .conditions = "<condition><rule type='A' field='NONE' operator='equal' value='1'/></condition>",
        .rows = twoRows};
    const Case which = caseOf(folder, missing);
    const auto elsewhere = makeGeoPackageHost()->run(which).front().messages.front().first;
    EXPECT_EQ(elsewhere, "Field 'NONE' referenced in CXML does not exist on MARKS.");
    EXPECT_EQ(host(Names::AsTheyAre)->run(which).front().messages.front().first,
              "Field 'NONE' referenced in CXML does not exist on " + database_ + ".conformance.marks.");
}

/// What finds the others would find one.
TEST(Differences, AreFound) {
    const TemporaryFolder folder;
    const Case which = caseOf(folder, allowed[0]);
    const std::vector<LayerAnswer> one = makeGeoPackageHost()->run(which);
    EXPECT_EQ(differences(which, "one", one, "other", one), std::vector<std::string>{});
    const auto found = [&](auto&& change) {
        std::vector<LayerAnswer> other = one;
        change(other.front());
        const std::vector<std::string> lines = differences(which, "one", one, "other", other);
        return lines.size() == 1 ? lines.front() : std::to_string(lines.size()) + " differences";
    };
    EXPECT_EQ(found([](LayerAnswer& answer) { answer.after.rows[1][*answer.after.find("C")] = std::nullopt; }),
              "difference.cxml, MARKS, row 2, c: \"North\" in one, NULL in other");
    EXPECT_EQ(found([](LayerAnswer& answer) { answer.after.rows.pop_back(); }),
              "difference.cxml, MARKS: 2 rows are left in one, in other 1");
    EXPECT_EQ(found([](LayerAnswer& answer) { answer.messages.emplace_back("more", 3); }),
              "difference.cxml, MARKS: \"2 rows, 1 changed\" in one, \"2 rows, 1 changed; 3 times more\" in other");
    EXPECT_EQ(found([](LayerAnswer& answer) { answer.changed = 0; }),
              "difference.cxml, MARKS: \"2 rows, 1 changed\" in one, \"2 rows, 0 changed\" in other");
    EXPECT_EQ(differences(which, "one", one, "other", {}),
              std::vector<std::string>{"difference.cxml: 1 runs in one, in other 0"});
}

}  // namespace
}  // namespace conformance
