// Which field --subtype-field gives to which layer.
#include "tool_test.h"

namespace {

class SubtypeTest : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
    }
    Outcome run(Arguments more) {
        more.insert(more.begin(), {"symbolize", data("subtypes_of_two.cxml"), dataset});
        return cxml(more);
    }
    std::string dataset;
};

struct SubtypeOptions {
    const char* name;
    std::vector<std::string> options;
    const char* buoys;   // symbols of BOYLAT, which has the fields KIND and CATLAM
    const char* lights;  // of LIGHTS, which has CATLAM only
    const char* err;
};

void PrintTo(const SubtypeOptions& options, std::ostream* out) {
    *out << options.name;
}

class SubtypeFields : public SubtypeTest, public testing::WithParamInterface<SubtypeOptions> {};

TEST_P(SubtypeFields, AreThoseOfEachLayer) {
    addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, KIND MEDIUMINT, SYMBOL_C TEXT",
             "(CATLAM, KIND) VALUES (1, 2), (9, 1)");
    addTable(dataset, "LIGHTS", "CATLAM MEDIUMINT, SYMBOL_C TEXT", "(CATLAM) VALUES (1), (9)");
    const Outcome outcome = run(GetParam().options);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, GetParam().err);
    EXPECT_EQ(symbols(dataset, "BOYLAT"), GetParam().buoys);
    EXPECT_EQ(symbols(dataset, "LIGHTS"), GetParam().lights);
}

const SubtypeOptions subtypeOptions[] = {
    {"None", {}, "OTHER OTHER", "OTHER OTHER", ""},
    {"OneForAll", {"--subtype-field", "CATLAM"}, "ONE OTHER", "ONE OTHER", ""},
    {"OneThatALayerLacks",
     {"--subtype-field", "KIND"},
     "OTHER ONE",
     "OTHER OTHER",
     "cxml: LIGHTS: there is no field 'KIND'; the layer runs without --subtype-field\n"},
    {"OneForALayer", {"--subtype-field", "LIGHTS=CATLAM"}, "OTHER OTHER", "ONE OTHER", ""},
    {"OneForEach",
     {"--subtype-field", "LIGHTS=CATLAM", "--subtype-field", "BOYLAT=KIND"},
     "OTHER ONE",
     "ONE OTHER",
     ""},
    {"OneForALayerBesideOneForAll",
     {"--subtype-field", "BOYLAT=KIND", "--subtype-field", "CATLAM"},
     "OTHER ONE",
     "ONE OTHER",
     ""},
    {"InAnotherCase", {"--subtype-field", "BOYLAT=kind"}, "OTHER ONE", "OTHER OTHER", ""},
    {"BeforeALayer", {"--subtype-field", "CATLAM", "LIGHTS"}, "- -", "ONE OTHER", ""},
};

INSTANTIATE_TEST_SUITE_P(All, SubtypeFields, testing::ValuesIn(subtypeOptions),
                         [](const auto& tested) { return tested.param.name; });

struct WrongSubtypeOptions {
    const char* name;
    std::vector<std::string> options;
    const char* complaint;
};

void PrintTo(const WrongSubtypeOptions& options, std::ostream* out) {
    *out << options.name;
}

class WrongSubtypeFields : public SubtypeTest, public testing::WithParamInterface<WrongSubtypeOptions> {};

TEST_P(WrongSubtypeFields, EndTheCommandBeforeAnythingChanges) {
    addBuoys(dataset);
    addBuoys(dataset, "LIGHTS");
    const Outcome outcome = run(GetParam().options);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(GetParam().complaint), std::string::npos) << outcome.err;
    EXPECT_EQ(symbols(dataset), "- - - - -");
}

const WrongSubtypeOptions wrongSubtypeOptions[] = {
    {"NoLayerHasTheField",
     {"--subtype-field", "NOSUCH"},
     "none of the layers that run (BOYLAT, LIGHTS) has a field 'NOSUCH'"},
    {"TheLayerLacksTheField", {"--subtype-field", "LIGHTS=NOSUCH"}, "layer LIGHTS: there is no subtype field 'NOSUCH'"},
    {"NoSuchLayer", {"--subtype-field", "LIGHTZ=CATLAM"}, "there is no layer 'LIGHTZ'; similar: LIGHTS"},
    {"TwoForAll",
     {"--subtype-field", "CATLAM", "--subtype-field", "COLOUR"},
     "--subtype-field: given twice for all layers"},
    {"TwoForALayer",
     {"--subtype-field", "LIGHTS=CATLAM", "--subtype-field", "LIGHTS=COLOUR"},
     "--subtype-field: given twice for the layer 'LIGHTS'"},
    {"NoName", {"--subtype-field", ""}, "--subtype-field"},
    {"NoField", {"--subtype-field", "LIGHTS="}, "--subtype-field"},
    {"NoLayer", {"--subtype-field", "=CATLAM"}, "--subtype-field"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongSubtypeFields, testing::ValuesIn(wrongSubtypeOptions),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
