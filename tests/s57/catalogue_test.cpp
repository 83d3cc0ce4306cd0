// The catalogue of S-57: the installed one, against what charts and INT 1 say, and how tables are read.
#include "tools/s57/catalogue.h"

#include <gtest/gtest.h>
#include <ostream>

namespace {

using cxml::S57Attribute;
using cxml::S57Catalogue;
using cxml::S57Class;

const S57Catalogue& installed() {
    return S57Catalogue::installed();
}

TEST(InstalledCatalogue, IsThere) {
    EXPECT_TRUE(installed().isThere());
}

struct ClassFact {
    const char* acronym;
    int code;
    const char* name;
    const char* attribute;
    bool has;
};

void PrintTo(const ClassFact& fact, std::ostream* out) {
    *out << fact.acronym << ' ' << fact.attribute;
}

class ClassOf : public testing::TestWithParam<ClassFact> {};

TEST_P(ClassOf, Has) {
    const S57Class* const found = installed().findClass(GetParam().acronym);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->code, GetParam().code);
    EXPECT_EQ(found->name, GetParam().name);
    const S57Attribute* const attribute = installed().findAttribute(GetParam().attribute);
    ASSERT_TRUE(attribute);
    EXPECT_EQ(found->has(*attribute), GetParam().has);
    EXPECT_EQ(installed().findField(found, GetParam().attribute) != nullptr, GetParam().has);
}

const ClassFact classFacts[] = {
    {"BOYLAT", 17, "Buoy, lateral", "CATLAM", true},  {"BOYLAT", 17, "Buoy, lateral", "OBJNAM", true},
    {"BOYLAT", 17, "Buoy, lateral", "INFORM", true},  // the set of all classes
    {"BOYLAT", 17, "Buoy, lateral", "SORDAT", true},  // and the one of where it comes from
    {"BOYLAT", 17, "Buoy, lateral", "CATCAM", false}, {"BOYLAT", 17, "Buoy, lateral", "BCNSHP", false},
    {"BCNLAT", 7, "Beacon, lateral", "BCNSHP", true}, {"LIGHTS", 75, "Light", "SECTR1", true},
    {"LIGHTS", 75, "Light", "CATLAM", false},         {"SOUNDG", 129, "Sounding", "QUASOU", true},
    {"SOUNDG", 129, "Sounding", "VALSOU", false},  // a sounding's depth is in its geometry
    {"WRECKS", 159, "Wreck", "VALSOU", true},         {"DEPARE", 42, "Depth area", "DRVAL1", true},
    {"M_COVR", 302, "Coverage", "CATCOV", true},
};

INSTANTIATE_TEST_SUITE_P(All, ClassOf, testing::ValuesIn(classFacts));

struct AttributeFact {
    const char* acronym;
    int code;
    char type;
    const char* name;
};

void PrintTo(const AttributeFact& fact, std::ostream* out) {
    *out << fact.acronym;
}

class AttributeOf : public testing::TestWithParam<AttributeFact> {};

TEST_P(AttributeOf, IsKnown) {
    const S57Attribute* const found = installed().findAttribute(GetParam().acronym);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->code, GetParam().code);
    EXPECT_EQ(found->type, GetParam().type);
    EXPECT_EQ(found->name, GetParam().name);
    EXPECT_EQ(found->hasCodes(), found->type == 'E' || found->type == 'L');
}

const AttributeFact attributeFacts[] = {
    {"CATLAM", 36, 'E', "Category of lateral mark"},
    {"COLOUR", 75, 'L', "Colour"},
    {"BOYSHP", 4, 'E', "Buoy shape"},
    {"NATSUR", 113, 'L', "Nature of surface"},
    {"VALSOU", 179, 'F', "Value of sounding"},
    {"OBJNAM", 116, 'S', "Object name"},
    {"SCAMIN", 133, 'I', "Scale minimum"},
    {"DATEND", 85, 'A', "Date end"},
    {"WATLEV", 187, 'E', "Water level effect"},
};

INSTANTIATE_TEST_SUITE_P(All, AttributeOf, testing::ValuesIn(attributeFacts));

struct ValueFact {
    const char* name;
    const char* attribute;
    const char* value;
    const char* meaning;
};

void PrintTo(const ValueFact& fact, std::ostream* out) {
    *out << fact.attribute << " = " << fact.value;
}

class Meaning : public testing::TestWithParam<ValueFact> {};

TEST_P(Meaning, IsTold) {
    const S57Attribute* const found = installed().findAttribute(GetParam().attribute);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->meaningOf(std::string_view(GetParam().value)), GetParam().meaning);
}

const ValueFact valueFacts[] = {
    {"Code", "CATLAM", "1", "port-hand lateral mark"},
    {"AnotherCode", "CATLAM", "2", "starboard-hand lateral mark"},
    {"InQuotes", "BCNSHP", "1", "stake, pole, perch, post"},
    {"Wreck", "CATWRK", "2", "dangerous wreck"},
    {"OneOfAList", "COLOUR", "3", "red"},
    {"List", "COLOUR", "3,4", "red, green"},
    {"ListWithBlanks", "COLOUR", "1, 11", "white, orange"},
    {"WithAnUnknownCode", "COLOUR", "3,99", "red, no code of COLOUR"},
    {"UnknownCode", "CATLAM", "9", ""},
    {"Nothing", "COLOUR", "", ""},
    {"NoNumber", "CATLAM", "1a", ""},
    {"NoNumberThatAnIntHolds", "CATLAM", "99999999999999999999", ""},
    {"OfALaterEdition", "WATLEV", "7", "floating"},
    {"OfNoCodes", "VALSOU", "1", ""},
};

INSTANTIATE_TEST_SUITE_P(All, Meaning, testing::ValuesIn(valueFacts),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(InstalledCatalogue, FindsNamesInAnyCaseAndThatOfInlandChartsExactly) {
    EXPECT_EQ(installed().findClass("boylat"), installed().findClass("BOYLAT"));
    EXPECT_EQ(installed().findAttribute("Catlam")->acronym, "CATLAM");
    EXPECT_EQ(installed().findAttribute("RESTRN")->code, 131);
    EXPECT_EQ(installed().findAttribute("restrn")->code, 17004);
    for (const char* none : {"", "BUOY", "BOYLATX", "###", "N/A", "FCSUBTYPE", "SYMBOL_C"}) {
        EXPECT_EQ(installed().findClass(none), nullptr) << none;
        EXPECT_EQ(installed().findAttribute(none), nullptr) << none;
    }
    EXPECT_EQ(installed().findClass("Lateral buoys", "BOYLAT")->code, 17);
    EXPECT_EQ(installed().findField(nullptr, "CATLAM"), nullptr);
}

TEST(Tables, AreReadWithQuotesOldEncodingsAndLinesThatAreNotWhole) {
    const S57Catalogue catalogue(
        "heading\r\n"
        "1,\"One, \"\"two\"\"\",AAAAAA,BBBBBB;CCCCCC;,,DDDDDD;\r\n"
        "x,No number,EEEEEE,,,\r\n"
        "2,Short\r\n"
        "3,Again,AAAAAA,,EEEEEE;,",
        "heading\n7,Caf\xE9,BBBBBB,E\n8,Caf\xC3\xA9,CCCCCC,L,F\n9,None,###,E\n10,No type,DDDDDD,\n",
        "heading\n7,1,\xE9t\xE9\n7,1,twice\n8,2,\n8,x,no\n99,1,nobody's\n");
    ASSERT_TRUE(catalogue.isThere());
    const S57Class* const one = catalogue.findClass("AAAAAA");
    ASSERT_TRUE(one);
    EXPECT_EQ(one->name, "One, \"two\"");
    EXPECT_EQ(one->attributes, (std::set<std::string>{"BBBBBB", "CCCCCC", "DDDDDD", "EEEEEE"}));
    EXPECT_EQ(catalogue.findClass("EEEEEE"), nullptr);
    ASSERT_TRUE(catalogue.findAttribute("BBBBBB"));
    EXPECT_EQ(catalogue.findAttribute("BBBBBB")->name, "Café");
    EXPECT_EQ(catalogue.findAttribute("BBBBBB")->meaningOf(std::string_view("1")), "été");
    EXPECT_EQ(catalogue.findAttribute("CCCCCC")->name, "Café");
    EXPECT_EQ(catalogue.findAttribute("DDDDDD"), nullptr);
}

TEST(Tables, ThatAreNotThereLeaveNothing) {
    const S57Catalogue catalogue("", "", "");
    EXPECT_FALSE(catalogue.isThere());
    EXPECT_EQ(catalogue.findClass("BOYLAT"), nullptr);
    EXPECT_EQ(catalogue.findAttribute("CATLAM"), nullptr);
    EXPECT_TRUE(cxml::looksLikeS57("BOYLAT"));
    EXPECT_TRUE(cxml::looksLikeS57("M_COVR"));
    for (const char* other : {"BUOY", "BoyLat", "BOYLATS", "BOY1AT"}) EXPECT_FALSE(cxml::looksLikeS57(other)) << other;
}

}  // namespace
