// Why rows have their symbols: cxml explain.
#include "tool_test.h"

namespace {

using nlohmann::json;

constexpr const char* document = R"(<conditionMap name="buoys">
  <featureClass name="BOYLAT">
    <condition rulename="PLAIN"/>
    <condition rulename="OUT">
      <rule type="A" operator="equal" field="CATLAM" value="2">
        <condition rulename="IN" angle="90"/>
      </rule>
      <rule type="A" operator="like" field="COLOUR" value="3*"/>
    </condition>
    <condition rulename="BOTH">
      <rule type="L" operator="containsany" field="COLOUR"><value>4</value><value>6</value></rule>
      <rule type="A" operator="gte" field="DEPTH" value="5"/>
      <rule type="A" operator="equal" field="NOSUCH" value="1"/>
    </condition>
    <condition type="2" field="LABEL_C">
      <rule type="Q" operator="fetch" table="LIGHTS"><query>NAME = '%s'</query><params><param value="NAME"/></params>
        <fields><field name="LITCHR" alias="Light.C"/></fields></rule>
      <expression>def Generate(NAME, Light.C[]): return NAME + "/".join(Light.C[])</expression>
    </condition>
    <condition rulename="BAD"><rule type="A" operator="near" field="CATLAM" value="1"/></condition>
  </featureClass>
  <featureClass name="BOYCAR"><condition rulename="ELSEWHERE"/></featureClass>
</conditionMap>
)";

class Explain : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        file = writeFile("buoys.cxml", document);
        addTable(
            dataset, "BOYLAT",
            "NAME TEXT, CATLAM INTEGER, COLOUR TEXT, DEPTH REAL, LABEL_C TEXT, SYMBOL_C TEXT, Rotate_C REAL",
            "(NAME, CATLAM, COLOUR, DEPTH) VALUES ('one', 1, '3', 2.5), ('two', 2, '4', NULL), ('three', 2, '3,4', 9)");
        addTable(dataset, "LIGHTS", "NAME TEXT, LITCHR TEXT", "(NAME, LITCHR) VALUES ('one', 'Fl'), ('one', 'Q')");
    }
    Outcome explain(Arguments more) {
        more.insert(more.begin(), {"explain", file, dataset, "BOYLAT"});
        return cxml(more);
    }
    json explainJson(Arguments more) {
        more.emplace_back("--json");
        const Outcome outcome = explain(more);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out).at("rows").at(0);
    }
    /// The answer about one condition.
    json whyNot(const char* fid, const char* wanted) {
        return explainJson({"--fid", fid, "--why-not", wanted})["why_not"];
    }

    std::string dataset;
    std::string file;
};

TEST_F(Explain, WalkForPeople) {
    EXPECT_EQ(explain({"--fid", "1"}).out,
              "BOYLAT fid 1   SYMBOL_C = PLAIN   decided by buoys.cxml:3  BOYLAT/-/PLAIN\n"
              "default list\n"
              "  CATLAM = 1 (port-hand lateral mark)  COLOUR = \"3\" (red)\n"
              "     3  PLAIN            DECIDES\n"
              "     4  OUT              no              5 CATLAM = 1  equal 2  false\n"
              "    10  BOTH             no              11 COLOUR = \"3\"  containsany 4, 6  false\n"
              "    15  (no name)        writes          16 fetch LIGHTS: NAME = 'one'  1 row\n"
              "                                         Generate(NAME = \"one\", Light.C = \"Fl\") = \"oneFl\"\n"
              "  no placement; Xoffset_C, Yoffset_C, Rotate_C stay\n"
              "  would write: LABEL_C NULL -> \"oneFl\"; SYMBOL_C NULL -> \"PLAIN\"\n"
              "  message of line 13: Field 'NOSUCH' referenced in CXML does not exist on BOYLAT.\n");
    EXPECT_EQ(explain({"--fid", "2"}).out,
              "BOYLAT fid 2   SYMBOL_C = IN   decided by buoys.cxml:6  BOYLAT/-/IN in 4\n"
              "default list\n"
              "  CATLAM = 2 (starboard-hand lateral mark)  COLOUR = \"4\" (green)\n"
              "     3  PLAIN            replaced by 6\n"
              "     4  OUT              no              5 CATLAM = 2  equal 2  true\n"
              "                                         8 COLOUR = \"4\"  like \"3*\"  false\n"
              "     6    IN             DECIDES\n"
              "    10  BOTH             no              11 COLOUR = \"4\"  containsany 4, \"6\"  true\n"
              "                                         12 DEPTH = NULL  gte \"5\"  false\n"
              "    15  (no name)        no              16 fetch LIGHTS: NAME = 'two'  0 rows\n"
              "  no placement; Xoffset_C, Yoffset_C, Rotate_C stay\n"
              "  would write: SYMBOL_C NULL -> \"IN\"\n"
              "  message of line 13: Field 'NOSUCH' referenced in CXML does not exist on BOYLAT.\n");
}

TEST_F(Explain, EveryKindOfEndAndValueInJson) {
    const json row = explainJson({"--fid", "3"});
    EXPECT_EQ(row["symbol"],
              json::parse(R"({"value": "OUT", "was": {"type": "null"}, "line": 4, "address": "BOYLAT/-/OUT"})"));
    EXPECT_EQ(row["placement"], json::parse(R"({"line": 6, "address": "BOYLAT/-/IN"})"));
    const json& conditions = row["conditions"];
    ASSERT_EQ(conditions.size(), 4U);
    EXPECT_EQ(conditions[0]["end"], "replaced");
    EXPECT_EQ(conditions[1]["end"], "decides");
    EXPECT_EQ(conditions[1]["rules"][0]["nested"][0]["end"], "outer-name");
    EXPECT_EQ(conditions[2]["end"], "no");
    EXPECT_EQ(conditions[2]["rules"][1], json::parse(R"({"line": 12, "type": "A", "operator": "gte", "answer": "true",
        "field": "DEPTH", "seen": {"type": "real", "value": "9"}, "operands": [{"type": "real", "value": "5"}],
        "comparable": true, "nested": []})"));
    EXPECT_EQ(conditions[2]["rules"][0]["seen"], json::parse(R"({"type": "text", "value": "3,4"})"));
    EXPECT_EQ(conditions[2]["rules"][0]["meaning"], "red, green");
    EXPECT_EQ(conditions[2]["rules"][2]["seen"], json::parse(R"({"type": "missing"})"));
    EXPECT_EQ(conditions[3]["rules"][0]["clause"], "NAME = 'three'");
    EXPECT_EQ(row["fields"].size(), 2U);
}

TEST_F(Explain, MeaningsWrapAndAreToldOfFieldsOfS57Only) {
    sql(dataset, "INSERT INTO BOYLAT (CATLAM, COLOUR) VALUES (3, '3,4,3,99')");
    const std::string shown = explain({"--fid", "4"}).out;
    EXPECT_NE(shown.find("\n  CATLAM = 3 (preferred channel to starboard lateral mark)\n"
                         "  COLOUR = \"3,4,3,99\" (red, green, red, no code of COLOUR)\n"),
              std::string::npos)
        << shown;
    sql(dataset, "UPDATE BOYLAT SET CATLAM = 9, COLOUR = NULL WHERE fid = 4");
    EXPECT_EQ(explain({"--fid", "4"}).out.find('('), explain({"--fid", "4"}).out.find("(no name)")) << "no such code";
    sql(dataset,
        "ALTER TABLE BOYLAT RENAME TO BUOYS; UPDATE gpkg_contents SET table_name = 'BUOYS', identifier = 'BUOYS' "
        "WHERE table_name = 'BOYLAT'");
    const std::string other =
        writeFile("other.cxml",
                  "<conditionMap name='m'><featureClass name='BUOYS'><condition rulename='P'><rule type='A' "
                  "field='CATLAM' operator='equal' value='2'/></condition></featureClass></conditionMap>");
    const Outcome outcome = cxml({"explain", other, dataset, "BUOYS", "--fid", "2"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("CATLAM = 2  equal 2  true"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("starboard"), std::string::npos) << outcome.out;
}

TEST_F(Explain, WithoutTablesOfS57ThereAreNoMeanings) {
    setenv("S57_CSV", inFolder("none").c_str(), 1);
    const Outcome outcome = explain({"--fid", "1"});
    unsetenv("S57_CSV");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(outcome.err.ends_with(
        "\ncxml: the tables of S-57 are not installed with GDAL: meanings of codes are not shown\n"))
        << outcome.err;
    EXPECT_NE(outcome.out.find("CATLAM = 1  equal 2  false"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("port-hand"), std::string::npos) << outcome.out;
}

TEST_F(Explain, OtherValuesAreTriedAndNotWritten) {
    const json row = explainJson({"--fid", "1", "--set", "CATLAM=2", "--set", "DEPTH=NULL"});
    EXPECT_EQ(row["symbol"]["value"], "OUT");
    EXPECT_EQ(row["row"]["set"]["CATLAM"]["value"], json::parse(R"({"type": "integer", "value": "2"})"));
    EXPECT_EQ(row["row"]["set"]["DEPTH"]["value"], json::parse(R"({"type": "null"})"));
    EXPECT_EQ(symbols(dataset), "- - -");
    EXPECT_EQ(sql(dataset, "SELECT CATLAM FROM BOYLAT WHERE fid = 1"), "1");
    EXPECT_EQ(explain({"--fid", "1", "--set", "NOFIELD=2"}).status, 2);
    EXPECT_EQ(explain({"--fid", "1", "--set", "CATLAM=two"}).status, 2) << "the field does not take it";
    EXPECT_EQ(explain({"--fid", "1", "--set", "CATLAM"}).status, 2);
}

TEST_F(Explain, ReasonsOfTheClosedList) {
    EXPECT_EQ(whyNot("1", "OUT")[0]["reasons"], json({"rule-false"}));
    EXPECT_EQ(whyNot("1", "IN")[0]["reasons"], json({"not-reached"}));
    EXPECT_EQ(whyNot("2", "PLAIN")[0]["reasons"], json({"replaced"}));
    EXPECT_EQ(whyNot("3", "IN")[0]["reasons"], json({"outer-name"}));
    EXPECT_EQ(whyNot("1", "ELSEWHERE")[0]["reasons"], json({"not-configured"}));
    EXPECT_EQ(whyNot("1", "BAD")[0]["reasons"], json({"discarded"}));
    EXPECT_EQ(whyNot("1", "NONE")[0]["reasons"], json({"no-such-name"}));
    EXPECT_EQ(whyNot("1", "PLAIN")[0]["reasons"], json::array()) << "it decides";
}

TEST_F(Explain, ConditionsAreNamedByLineAndAddressToo) {
    EXPECT_EQ(whyNot("1", "4")[0]["address"], "BOYLAT/-/OUT");
    EXPECT_EQ(whyNot("1", "BOYLAT/-/IN")[0]["line"], 6);
}

// What is proposed is put into the row, and a run must come to the symbol.
TEST_F(Explain, SmallestChangesAreConfirmedByRuns) {
    int confirmed = 0;
    for (const char* fid : {"1", "2", "3"})
        for (const char* wanted : {"PLAIN", "OUT", "IN"}) {
            const json answer = whyNot(fid, wanted)[0];
            if (answer["reasons"].empty()) continue;
            ASSERT_TRUE(answer["change"].is_object()) << answer;
            const std::string copy = inFolder("copy.gpkg").string();
            std::filesystem::copy_file(dataset, copy, std::filesystem::copy_options::overwrite_existing);
            for (const auto& [field, change] : answer["change"].items()) {
                const json& value = change["value"];
                sql(copy, "UPDATE BOYLAT SET " + field + " = " +
                              (value.contains("value") ? "'" + value["value"].get<std::string>() + "'" : "NULL") +
                              " WHERE fid = " + fid);
            }
            EXPECT_EQ(cxml({"symbolize", file, copy, "BOYLAT"}).status, 0);
            EXPECT_EQ(sql(copy, std::string("SELECT SYMBOL_C FROM BOYLAT WHERE fid = ") + fid), wanted) << answer;
            ++confirmed;
        }
    EXPECT_EQ(confirmed, 6);
    EXPECT_TRUE(whyNot("1", "BOTH")[0]["change"].is_null()) << "a field that is not there cannot be changed";
    EXPECT_EQ(whyNot("1", "OUT")[0]["change"].size(), 1U);
}

TEST_F(Explain, OneLineForScripts) {
    EXPECT_EQ(explain({"--where", "CATLAM = 2", "--short"}).out,
              file + ":6:BOYLAT/-/IN\tBOYLAT\t2\tIN\n" + file + ":4:BOYLAT/-/OUT\tBOYLAT\t3\tOUT\n");
    EXPECT_EQ(explain({"--where", "1 = 1", "--limit", "1", "--short"}).out,
              file + ":3:BOYLAT/-/PLAIN\tBOYLAT\t1\tPLAIN\n");
    EXPECT_EQ(explain({"--fid", "1", "--expect", "PLAIN"}).status, 0);
    EXPECT_EQ(explain({"--fid", "1", "--expect", "OUT"}).status, 1);
}

TEST_F(Explain, WhatCannotBeAnswered) {
    EXPECT_EQ(explain({}).status, 2);
    EXPECT_EQ(explain({"--fid", "99"}).status, 2);
    EXPECT_EQ(explain({"--where", "NOFIELD = 1"}).status, 2);
    EXPECT_EQ(cxml({"explain", file, dataset, "LIGHTS", "--fid", "1"}).status, 2) << "no configuration";
    EXPECT_EQ(cxml({"explain", file, dataset, "NOLAYER", "--fid", "1"}).status, 2);
}

TEST_F(Explain, ReadOnlyFilesAreExplained) {
    std::filesystem::permissions(dataset, std::filesystem::perms::owner_read);
    EXPECT_EQ(explain({"--fid", "2", "--expect", "IN"}).status, 0);
}

TEST_F(Explain, HostileTextsDoNotSteerTheTerminal) {
    sql(dataset,
        "UPDATE BOYLAT SET COLOUR = char(27) || ']0;x' || char(7) || char(10) || '3', NAME = '''; --' WHERE fid = 2");
    for (const char* how : {"--full", "--short"}) {
        const Outcome outcome = explain({"--fid", "2", how});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out.find('\x1B'), std::string::npos) << outcome.out;
        EXPECT_EQ(outcome.out.find('\a'), std::string::npos) << outcome.out;
    }
    EXPECT_NE(explain({"--fid", "2"}).out.find("16 fetch LIGHTS: NAME = ''; --'  refused"), std::string::npos);
}

TEST_F(Explain, NearestRow) {
    sql(dataset, "ALTER TABLE MARKS ADD COLUMN SYMBOL_C TEXT");
    const std::string marks = writeFile(
        "marks.cxml",
        "<conditionMap name='m'><featureClass name='MARKS'><condition rulename='X'/></featureClass></conditionMap>");
    const auto near = [&](Arguments more) {
        more.insert(more.begin(), {"explain", marks, dataset, "MARKS", "--short"});
        return cxml(more).out;
    };
    const std::string first = marks + ":1:MARKS/-/X\tMARKS\t1\tX\n";
    const std::string second = marks + ":1:MARKS/-/X\tMARKS\t2\tX\n";
    EXPECT_EQ(near({"--near", "-1.1999,50.55"}), second);
    EXPECT_EQ(near({"--near", "-1.1999,50.55", "--where", "fid = 1"}), first);
    EXPECT_EQ(near({"--near", "-1.1999,50.55", "--limit", "2"}), first + second);
    EXPECT_EQ(near({"--near", "-1.1999,50.55", "--where", "fid = 9"}), "");
}

TEST_F(Explain, LayerThatLacksTheSymbolFieldIsToldTheWayOut) {
    addTable(dataset, "BOYCAR", "CATLAM MEDIUMINT", "(CATLAM) VALUES (1)");
    const Outcome outcome = cxml({"explain", file, dataset, "BOYCAR", "--fid", "1"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(
        outcome.err.find("BOYCAR: no row has got a symbol: the layer has no field SYMBOL_C, which 'cxml symbolize' "
                         "with --add-fields adds\n"),
        std::string::npos)
        << outcome.err;
}

}  // namespace
