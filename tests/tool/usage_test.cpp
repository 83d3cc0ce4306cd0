// Arguments, help and exit statuses of what cannot be started.
#include "tool_test.h"

#include <unistd.h>
#include <algorithm>
#include <ostream>
#include <set>
#include <string_view>

namespace {

struct UsageCase {
    const char* name;
    std::vector<std::string> arguments;
    const char* complaint;  // part of the one line on standard error
};

void PrintTo(const UsageCase& usage, std::ostream* out) {
    *out << usage.name;
}

class Usage : public ToolTest, public testing::WithParamInterface<UsageCase> {};

TEST_P(Usage, IsRefusedWithOneLine) {
    const Outcome outcome = cxml(GetParam().arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("cxml: ", 0), 0U) << outcome.err;
    EXPECT_NE(outcome.err.find(GetParam().complaint), std::string::npos) << outcome.err;
}

const UsageCase usageCases[] = {
    {"NoCommand", {}, "a command is missing"},
    {"UnknownCommand", {"simbolize", "a", "b"}, "simbolize; did you mean 'symbolize'?"},
    {"CommandLikeNoOther", {"frobnicate", "a"}, "; there are import, init, symbolize, "},
    {"UnknownOption", {"symbolize", "a", "b", "--frobnicate"}, "--frobnicate (see"},
    {"OptionLikeAnother", {"diff", "a", "b", "--onyl=x"}, "did you mean '--only'?"},
    {"HelpOfAnUnknownCommand", {"help", "legder"}, "'legder' is no command; did you mean 'ledger'?"},
    {"CompletionOfNoShell", {"completion", "fish"}, "fish"},
    {"SymbolizeWithoutArguments", {"symbolize"}, "DOCUMENT"},
    {"SymbolizeWithoutDataset", {"symbolize", "a"}, "DATASET"},
    {"ResetWithoutDataset", {"reset", "a"}, "DATASET"},
    {"ResetTakesNoWhere", {"reset", "a", "b", "--where", "1"}, "--where"},
    {"ImportWithoutDataset", {"import", "a.000"}, "DATASET"},
    {"InitWithoutDataset", {"init"}, "DATASET"},
    {"InitTakesNoJson", {"init", "b.gpkg", "--json"}, "--json"},
    {"ImportTakesNoJson", {"import", "a.000", "b.gpkg", "--json"}, "--json"},
    {"CheckWithoutDocument", {"check"}, "DOCUMENT"},
    {"CheckOfTwoDatasets", {"check", "a", "b", "c"}, "c"},
    {"WhereWithoutValue", {"symbolize", "a", "b", "--where"}, "--where"},
    {"IdIsNoNumber", {"symbolize", "a", "b", "--fids", "1,x2"}, "'x2'"},
    {"IdIsAFraction", {"symbolize", "a", "b", "--fids", "1.5"}, "'1.5'"},
    {"IdIsMissing", {"symbolize", "a", "b", "--fids", "1,,2"}, "''"},
    {"NoIds", {"symbolize", "a", "b", "--fids", ""}, "--fids"},
    {"LogWithoutAFile", {"check", "a", "--log"}, "--log"},
    {"LogThatCannotBeWritten", {"check", "a", "--log", "/no such folder/log"}, "/no such folder/log: the log cannot"},
    {"LogOfARunThatCannotBeWritten", {"reset", "a", "b", "--log", "/no such folder/log"}, "the log cannot be written"},
    {"ImportTakesNoLog", {"import", "a.000", "b.gpkg", "--log", "c"}, "--log"},
    {"NearNowhere", {"explain", "a", "b", "c", "--near", "north"}, "--near"},
    {"NearBeyondThePole", {"explain", "a", "b", "c", "--near", "0,91"}, "--near"},
    {"NearAndARow", {"explain", "a", "b", "c", "--near", "0,1", "--fid", "2"}, "--near"},
    {"DiffWithoutDataset", {"diff", "a.cxml", "b.cxml"}, "DATASET"},
    {"IntentionIsBlank", {"diff", "a", "b", "--only", ""}, "--only"},
    {"TestWithoutDocument", {"test"}, "DOCUMENT"},
    {"MutantsBelowOne", {"test", "a", "--mutate", "--limit", "0"}, "--limit"},
    {"PinWithoutOutput", {"pin", "a", "b"}, "--output"},
    {"PinWithoutDataset", {"pin", "a", "-o", "b"}, "DATASET"},
    {"DryRunWritesNoFields", {"symbolize", "a", "b", "--dry-run", "--add-fields"}, "--add-fields"},
    {"JobsBelowOne", {"symbolize", "a", "b", "--jobs", "0"}, "--jobs"},
    {"JobsAreNoNumber", {"symbolize", "a", "b", "--jobs", "all"}, "--jobs"},
    {"JobsKeepNoLedgerFile", {"symbolize", "a", "b", "--jobs", "2", "--ledger", "c"}, "--ledger"},
    {"FmtWithoutDocument", {"fmt"}, "DOCUMENT"},
    {"FmtTakesNoJson", {"fmt", "a", "--json"}, "--json"},
    {"SchemaOfADocument", {"schema", "a.cxml"}, "a.cxml"},
    {"DrawWithoutOutput", {"draw", "a"}, "--output"},
    {"DrawWithoutDataset", {"draw", "-o", "a.svg"}, "DATASET"},
    {"DrawTakesNoIds", {"draw", "a", "-o", "b.svg", "--fids", "1"}, "--fids"},
    {"WhereOfAPictureIsBlank", {"draw", "a", "-o", "b.svg", "--where", " "}, "--where"},
    {"BoundsOfThreeNumbers", {"draw", "a", "-o", "b.svg", "--bbox", "1,2,3"}, "--bbox"},
    {"SymbolsWithoutACommand", {"symbols"}, "subcommand"},
    {"SymbolsOfAnUnknownPalette", {"symbols", "import", "a", "b", "--palette", "noon"}, "--palette"},
    {"LookupsWithoutOutput", {"lookups", "a.xml"}, "--output"},
    {"LookupsOfAnUnknownTable", {"lookups", "a.xml", "-o", "b", "--points", "paperchart"}, "--points"},
    {"LookupsTakeNoLog", {"lookups", "a.xml", "-o", "b", "--log", "c"}, "--log"},
    {"StyleWithoutDataset", {"style"}, "DATASET"},
    {"StyleOfAnUnknownPalette", {"style", "a.gpkg", "--palette", "noon"}, "--palette"},
    {"PaletteWithoutAStyle", {"symbolize", "a", "b", "--palette", "dusk"}, "--style"},
    {"DryRunWritesNoStyles", {"symbolize", "a", "b", "--dry-run", "--style"}, "--style"},
    {"SymbolsWithoutAFolder", {"symbols", "import", "a"}, "DIR"},
    {"WhereIsEmpty", {"symbolize", "a", "b", "--where", ""}, "--where"},
    {"WhereIsBlank", {"symbolize", "a", "b", "--where", " \t\n"}, "--where"},
    {"WhereOfNoFile", {"symbolize", "a", "b", "--where", "@/no such file"}, "/no such file: No such file"},
    {"WhereOfAFolder", {"ledger", "a", "b", "--where", "@/"}, "/: Is a directory"},
    {"WhereOfAnEmptyFile", {"draw", "a", "-o", "b.svg", "--where", "@/dev/null"}, "--where: a condition is missing"},
    {"WhereOfAnEndlessFile", {"symbolize", "a", "b", "--where", "@/dev/zero"}, "/dev/zero: longer than"},
    {"LayerWithoutAName", {"reset", "a", "b", "-l"}, "--layer"},
    {"IdIsTooLarge", {"symbolize", "a", "b", "--fids", "9223372036854775808"}, "'9223372036854775808'"},
    {"GdalOptionWithoutAValue", {"symbolize", "a", "b", "--config", "CPL_DEBUG"}, "'CPL_DEBUG' is not NAME=VALUE"},
    {"GdalOptionWithoutAName", {"symbolize", "a", "b", "--config", "=ON"}, "'=ON' is not NAME=VALUE"},
};

INSTANTIATE_TEST_SUITE_P(All, Usage, testing::ValuesIn(usageCases),
                         [](const auto& tested) { return tested.param.name; });

class Tool : public ToolTest {};

TEST_F(Tool, SaysItsVersion) {
    const Outcome outcome = cxml({"--version"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "cxml " CXML_VERSION "\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Tool, HelpNamesEveryCommandAndExitStatus) {
    const Outcome outcome = cxml({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* word : {"import", "symbolize", "reset", "check", "draw", "Exit status", "130"})
        EXPECT_NE(outcome.out.find(word), std::string::npos) << word;
}

TEST_F(Tool, HelpOfACommandNamesItsOptions) {
    const Outcome outcome = cxml({"symbolize", "--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* word : {"DOCUMENT", "DATASET", "LAYER", "--where", "--fids", "--subtype-field", "--add-fields",
                             "--json", "--quiet", "--debug-output", "--log", "--user-site", "--config"})
        EXPECT_NE(outcome.out.find(word), std::string::npos) << word;
}

TEST_F(Tool, HelpOfCheckSaysWhatItChecks) {
    const Outcome outcome = cxml({"check", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Checked: "), std::string::npos) << outcome.out;
}

TEST_F(Tool, HelpIsACommandToo) {
    EXPECT_EQ(cxml({"help"}).out, cxml({"--help"}).out);
    EXPECT_EQ(cxml({"help", "ledger"}).out, cxml({"ledger", "--help"}).out);
    EXPECT_EQ(cxml({"help", "symbols", "import"}).out, cxml({"symbols", "import", "--help"}).out);
}

TEST_F(Tool, CompletesCommandsOptionsAndFiles) {
    const std::string script = writeFile("cxml.bash", cxml({"completion", "bash"}).out);
    EXPECT_EQ(cxml({"completion", "zsh"}).out, readFile(script)) << "it is for both";
    const std::string file = writeFile("rules.cxml", "");
    const auto complete = [&](const std::string& words) {
        const Outcome outcome =
            runProcess({"bash", "-c",
                        "set -u; source " + script + "; COMP_WORDS=(" + words +
                            "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _cxml; echo \"${COMPREPLY[@]}\""});
        EXPECT_EQ(outcome.err, "") << words;
        return outcome.out;
    };
    EXPECT_EQ(complete("cxml sy"), "symbolize symbols\n");
    EXPECT_EQ(complete("cxml --v"), "--version\n");
    EXPECT_EQ(complete("cxml diff --on"), "--only\n");
    EXPECT_EQ(complete("cxml diff " + file.substr(0, file.size() - 3)), file + "\n");
    EXPECT_EQ(complete("cxml help le"), "ledger\n");
    EXPECT_EQ(complete("cxml symbols im"), "import\n");
}

TEST_F(Tool, DocumentMayComeFromStandardInput) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    ProcessOptions options;
    options.inFile = data("buoys.cxml");
    const Outcome outcome = cxml({"symbolize", "-", dataset, "-q"}, options);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED");
}

/// The words of a text that begin with two dashes.
std::set<std::string> longOptions(std::string_view text) {
    std::set<std::string> options;
    for (std::size_t at = text.find("--"); at != std::string_view::npos; at = text.find("--", at)) {
        const std::size_t end = text.find_first_not_of("-abcdefghijklmnopqrstuvwxyz", at);
        options.insert(std::string(text.substr(at, end - at)));
        at = std::min(end, text.size());
    }
    return options;
}

TEST_F(Tool, ManualPageHasTheCommandsAndOptionsOfTheHelp) {
    std::string page = readFile(SOURCE_ROOT "/docs/cxml.1");
    std::erase(page, '\\');  // dashes are written \-
    std::set<std::string> helped = longOptions(cxml({"--help"}).out);
    for (const std::string command :
         {"import",         "init",    "symbolize",  "explain", "ledger", "diff",   "coverage", "report",
          "test",           "pin",     "reset",      "check",   "fmt",    "schema", "draw",     "style",
          "symbols import", "lookups", "completion", "help"}) {
        const std::size_t blank = std::min(command.find(' '), command.size());
        Arguments words{command.substr(0, blank)};
        if (blank < command.size()) words.push_back(command.substr(blank + 1));
        words.emplace_back("--help");
        helped.merge(longOptions(cxml(words).out));
        const std::size_t synopsis = page.find("\n.B cxml " + command + "\n");
        ASSERT_NE(synopsis, std::string::npos) << command;
        EXPECT_NE(page.find("\n.TP\n.B " + command + "\n"), std::string::npos) << command;
    }
    EXPECT_EQ(longOptions(page), helped);
    EXPECT_TRUE(helped.contains("--where"));
}

struct DatasetCase {
    const char* name;
    const char* dataset;  // in the test's folder
    const char* content;  // null: no such file
};

void PrintTo(const DatasetCase& dataset, std::ostream* out) {
    *out << dataset.name;
}

class UnusableDataset : public ToolTest, public testing::WithParamInterface<DatasetCase> {};

TEST_P(UnusableDataset, IsNamedInOneLine) {
    const std::string path =
        GetParam().content ? writeFile(GetParam().dataset, GetParam().content) : inFolder(GetParam().dataset).string();
    for (const char* command : {"symbolize", "reset"}) {
        const Outcome outcome = cxml({command, data("buoys.cxml"), path});
        EXPECT_EQ(outcome.status, 2) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_NE(outcome.err.find(path), std::string::npos) << outcome.err;
    }
}

const DatasetCase datasetCases[] = {
    {"NoSuchFile", "none.gpkg", nullptr},
    {"NoSuchFolder", "none/none.gpkg", nullptr},
    {"AFolder", ".", nullptr},
    {"EmptyFile", "empty.gpkg", ""},
    {"TextFile", "text.gpkg", "not a database, only a text of some length that has a wrong ending"},
    {"TruncatedDatabase", "short.gpkg", "SQLite format 3"},
};

INSTANTIATE_TEST_SUITE_P(All, UnusableDataset, testing::ValuesIn(datasetCases),
                         [](const auto& tested) { return tested.param.name; });

class Dataset : public ToolTest {};

TEST_F(Dataset, ThatIsReadOnlyIsNamed) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    ProcessOptions options;
    options.asNobody = true;
    if (runProcess({CXML_PROGRAM, "--version"}, options).status != 0)
        GTEST_SKIP() << "another user cannot run the program where it is built";
    const std::string dataset = newDataset();
    addBuoys(dataset);
    std::filesystem::permissions(dataset, std::filesystem::perms::owner_read | std::filesystem::perms::group_read |
                                              std::filesystem::perms::others_read);
    const std::string document = writeFile("buoys.cxml", readFile(data("buoys.cxml")));
    const Outcome outcome = cxml({"symbolize", document, dataset}, options);
    EXPECT_EQ(outcome.status, 2) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(Dataset, UnknownLayerIsNamedWithSimilarOnes) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, "BOYLAT", "BOYLAR"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "cxml: " + dataset + ": there is no layer 'BOYLAR'; similar: BOYLAT\n");
    EXPECT_EQ(symbols(dataset), "- - - - -") << "nothing runs when the usage is wrong";
}

TEST_F(Dataset, UnknownLayerIsNamedWithThoseThatThereAre) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const Outcome outcome = cxml({"reset", data("buoys.cxml"), dataset, "HARBOURS"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "cxml: " + dataset + ": there is no layer 'HARBOURS'; available: MARKS, BOYLAT\n");
}

TEST_F(Dataset, UnknownLayerLeavesAJsonObjectWithoutLayers) {
    const nlohmann::json said = cxmlJson({"symbolize", data("buoys.cxml"), newDataset(), "NOPE"}, 2);
    EXPECT_EQ(said, nlohmann::json::parse(R"({"document": {"loaded": true, "error": null, "messages": []},
                                              "layers": []})"));
}

TEST_F(Dataset, LayersCanHaveAnyName) {
    const std::string dataset = newDataset();
    const std::vector<std::string> names{"[BOYLAT]", "[A,B]", "A,B", "[]", "[[A],[B]]", "-x", "--all", "A=B"};
    for (const std::string& name : names) {
        addTable(dataset, name, "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (1)", "boylat " + name);
    }
    for (const std::string& name : names) {
        const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, "--", name});
        EXPECT_EQ(outcome.out, name + ": 0 rows, 0 changed; failed, rolled back\n") << outcome.err;
        EXPECT_NE(outcome.err.find("No configuration defined for: 'BOYLAT "), std::string::npos) << outcome.err;
    }
    const Outcome both = cxml({"symbolize", data("buoys.cxml"), dataset, "[A,B]", "[BOYLAT]", "--json"});
    EXPECT_NE(both.out.find("\"layer\": \"[A,B]\""), std::string::npos) << both.out;
    EXPECT_NE(both.out.find("\"layer\": \"[BOYLAT]\""), std::string::npos) << both.out;
}

TEST_F(Dataset, FilesCanHaveNamesInBrackets) {
    const Outcome outcome = cxml({"import", "[a,b]", inFolder("c.gpkg").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err.rfind("cxml: [a,b]: ", 0), 0U) << outcome.err;
}

TEST_F(Dataset, SubtypeFieldThatDoesNotExistIsNamedBeforeAnythingChanges) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const Outcome outcome = cxml({"symbolize", data("subtypes.cxml"), dataset, "--subtype-field", "NOSUCH"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find("NOSUCH"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("BOYLAT"), std::string::npos) << outcome.err;
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

TEST_F(Dataset, WithoutConfiguredLayersIsGoodAndSaysSo) {
    const std::string dataset = newDataset();
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "cxml: " + dataset + ": no layer has a configuration in " + data("buoys.cxml") + "\n");
}

TEST_F(Tool, EndsWithoutAWordWhenNobodyReadsOn) {
    const std::string dataset = newDataset();
    addManyBuoys(dataset, 20000);
    const Outcome outcome =
        runProcess({"bash", "-c",
                    std::string("'" CXML_PROGRAM "' explain '") + data("buoys.cxml") + "' '" + dataset +
                        "' BOYLAT --where '1 = 1' --limit 20000 --short | head -n 1; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(outcome.out, data("buoys.cxml") + ":7:BoyLat/-/RED\tBOYLAT\t1\tRED\n141\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Tool, SaysWhenItsOutputCannotBeWritten) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    ProcessOptions options;
    options.outFile = "/dev/full";
    for (const Arguments& more : {Arguments{}, Arguments{"--json"}}) {
        Arguments arguments{"symbolize", data("buoys.cxml"), dataset};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = cxml(arguments, options);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "cxml: standard output cannot be written\n");
    }
}

}  // namespace
