// The same documents over the same rows in every host: symbols, placements, computed fields, messages and counts are
// the same for each pair of them.
#include "conformance/hosts.h"
#include "postgres/database.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace conformance {
namespace {

using Hosts = std::vector<std::unique_ptr<Host>>;

Hosts hostsOfTheProcess() {
    Hosts hosts;
    hosts.push_back(makeMemoryHost());
    hosts.push_back(makeGeoPackageHost());
    hosts.push_back(makeArrowHost(7));
    hosts.push_back(makeArrowHost(4096));
    return hosts;
}

/// Runs the case everywhere and compares each pair. \return how many values rows have afterwards.
std::size_t compare(const std::filesystem::path& document, const Hosts& hosts) {
    const Case which = readCase(document);
    EXPECT_FALSE(which.runs.empty()) << document << " runs over none of its tables";
    std::vector<std::vector<LayerAnswer>> answers;
    for (const auto& host : hosts) {
        try {
            answers.push_back(host->run(which));
        } catch (const std::exception& error) {
            ADD_FAILURE() << document << " in " << host->name() << ": " << error.what();
            return 0;
        }
    }
    for (std::size_t one = 0; one < hosts.size(); ++one)
        for (std::size_t other = one + 1; other < hosts.size(); ++other)
            for (const std::string& difference :
                 differences(which, hosts[one]->name(), answers[one], hosts[other]->name(), answers[other]))
                ADD_FAILURE() << difference;
    std::size_t values = 0;
    for (const LayerAnswer& answer : answers.front()) values += answer.after.rows.size() * answer.after.fields.size();
    return values;
}

void compareAll(const std::filesystem::path& folder, const Hosts& hosts, std::size_t leastValues) {
    std::size_t values = 0;
    for (const std::filesystem::path& document : documentsOf(folder)) values += compare(document, hosts);
    EXPECT_GE(values, leastValues) << folder << " has lost rows";
}

std::filesystem::path corpus() {
    const char* const folder = std::getenv("CXML_TEST_CORPUS");
    if (!folder)
        throw std::runtime_error("CXML_TEST_CORPUS names no folder; run the tests with ctest, which fills one");
    return folder;
}

// What the corpus says instead of a real cell.
std::string whyNoCell() {
    std::string reason;
    std::getline(std::ifstream(corpus() / "cell" / "none"), reason);
    return reason;
}

constexpr std::size_t writtenValues = 100;
constexpr std::size_t valuesOfARandomDocument = 400;
constexpr std::size_t harbourValues = 2'000;
constexpr std::size_t cellValues = 50'000;

void compareRandom(const Hosts& hosts) {
    const std::filesystem::path folder = corpus() / "random";
    const std::size_t documents = documentsOf(folder).size();
    EXPECT_GE(documents, 10U);
    compareAll(folder, hosts, documents * valuesOfARandomDocument);
}

TEST(Conformance, OfWrittenCases) {
    compareAll(TEST_DATA_DIR, hostsOfTheProcess(), writtenValues);
}

TEST(Conformance, OfRandomDocuments) {
    compareRandom(hostsOfTheProcess());
}

TEST(Conformance, OfTheHarbour) {
    compareAll(corpus() / "harbour", hostsOfTheProcess(), harbourValues);
}

TEST(Conformance, OfARealCell) {
    if (const std::string reason = whyNoCell(); !reason.empty()) GTEST_SKIP() << reason;
    compareAll(corpus() / "cell", hostsOfTheProcess(), cellValues);
}

/// All of them, and a server.
class ServerConformance : public postgres_test::DatabaseTest {
protected:
    Hosts hosts() const {
        Hosts hosts = hostsOfTheProcess();
        hosts.push_back(makePostgresHost(dataset(), "host=" + server_ + " dbname=" + database_ + " user=admin"));
        return hosts;
    }
};

TEST_F(ServerConformance, OfWrittenCases) {
    compareAll(TEST_DATA_DIR, hosts(), writtenValues);
}

TEST_F(ServerConformance, OfRandomDocuments) {
    compareRandom(hosts());
}

TEST_F(ServerConformance, OfTheHarbour) {
    compareAll(corpus() / "harbour", hosts(), harbourValues);
}

TEST_F(ServerConformance, OfARealCell) {
    if (const std::string reason = whyNoCell(); !reason.empty()) GTEST_SKIP() << reason;
    compareAll(corpus() / "cell", hosts(), cellValues);
}

}  // namespace
}  // namespace conformance
