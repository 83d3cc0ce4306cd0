// Styles of layers: which rows of the table are written, what is in them, and what is refused. How they look is tested
// with QGIS itself, in tests/pictures.
#include "tool_test.h"

#include <unistd.h>
#include <filesystem>
#include <ostream>

namespace {

class Style : public ToolTest {
protected:
    /// A GeoPackage with a layer of two points and the target fields.
    std::string newChart(const std::string& layer = "MARKS", const std::string& name = "chart.gpkg") const {
        const std::string path = inFolder(name).string();
        addLayer(path, layer);
        return path;
    }
    static void addLayer(const std::string& dataset, const std::string& layer) {
        Arguments arguments{"ogr2ogr", "-f",  "GPKG", dataset,           data("marks.geojson"),
                            "-nln",    layer, "-lco", "SPATIAL_INDEX=NO"};
        if (std::filesystem::exists(dataset)) arguments.emplace_back("-update");
        const Outcome made = runProcess(arguments);
        ASSERT_EQ(made.status, 0) << made.err;
        for (const char* column : {"Symbol_C TEXT", "XOFFSET_C REAL", "Yoffset_C REAL", "Rotate_C REAL"})
            sql(dataset, "ALTER TABLE " + quoted(layer) + " ADD COLUMN " + column);
    }
    static std::string quoted(std::string name) {
        for (std::size_t at = 0; (at = name.find('"', at)) != std::string::npos; at += 2) name.insert(at, 1, '"');
        return '"' + name + '"';
    }
    /// `value` is SQL.
    static void setSymbol(const std::string& dataset, const std::string& value, const std::string& layer = "MARKS",
                          const std::string& where = "1") {
        sql(dataset, "UPDATE " + quoted(layer) + " SET Symbol_C = " + value + " WHERE " + where);
    }
    static void makeStyleTable(const std::string& dataset) {
        sql(dataset,
            "CREATE TABLE layer_styles (id INTEGER PRIMARY KEY AUTOINCREMENT NOT NULL, f_table_catalog TEXT(256), "
            "f_table_schema TEXT(256), f_table_name TEXT(256), f_geometry_column TEXT(256), styleName TEXT(30), "
            "styleQML TEXT, styleSLD TEXT, useAsDefault BOOLEAN, description TEXT, owner TEXT(30), ui TEXT(30), "
            "update_time DATETIME DEFAULT (strftime('%Y-%m-%dT%H:%M:%fZ','now')))");
    }
    static void addStyle(const std::string& dataset, const std::string& name, bool isDefault,
                         const std::string& layer = "MARKS") {
        sql(dataset,
            "INSERT INTO layer_styles (f_table_catalog, f_table_schema, f_table_name, f_geometry_column, styleName, "
            "styleQML, useAsDefault) VALUES ('', '', '" +
                layer + "', 'geom', '" + name + "', '<qgis/>', " + (isDefault ? "1" : "0") + ")");
    }
    /// name:default of every style of a layer.
    static std::string styles(const std::string& dataset, const std::string& layer = "MARKS") {
        return sql(dataset,
                   "SELECT group_concat(styleName || ':' || useAsDefault, ' ') FROM (SELECT * FROM layer_styles WHERE "
                   "f_table_name = '" +
                       layer + "' ORDER BY styleName)");
    }
    std::string qml(const std::string& dataset, const std::string& name = "CXML") const {
        return writeFile("style.qml", sql(dataset, "SELECT styleQML FROM layer_styles WHERE styleName = '" + name +
                                                       "' ORDER BY f_table_name LIMIT 1"));
    }
    static std::string xpath(const std::string& file, const std::string& path) {
        Outcome answer = runProcess({"xmllint", "--huge", "--xpath", path, file});
        EXPECT_EQ(answer.status, 0) << path << '\n' << answer.err;
        if (!answer.out.empty() && answer.out.back() == '\n') answer.out.pop_back();
        return answer.out;
    }
};

TEST_F(Style, MakesTheTableAsQgisDoes) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "MARKS: a style of 1 symbol\n");
    EXPECT_EQ(sql(dataset, "SELECT group_concat(name || ' ' || type, ', ') FROM pragma_table_info('layer_styles')"),
              "id INTEGER, f_table_catalog TEXT(256), f_table_schema TEXT(256), f_table_name TEXT(256), "
              "f_geometry_column TEXT(256), styleName TEXT(30), styleQML TEXT, styleSLD TEXT, useAsDefault BOOLEAN, "
              "description TEXT, owner TEXT(30), ui TEXT(30), update_time DATETIME");
    EXPECT_EQ(sql(dataset, "SELECT data_type, identifier, srs_id FROM gpkg_contents WHERE table_name = 'layer_styles'"),
              "attributes|layer_styles|0");
    EXPECT_EQ(sql(dataset,
                  "SELECT f_table_catalog = '' AND f_table_schema = '', f_table_name, f_geometry_column, "
                  "typeof(useAsDefault), update_time IS NOT NULL FROM layer_styles"),
              "1|MARKS|geom|integer|1\n1|MARKS|geom|integer|1");
    EXPECT_EQ(styles(dataset), "CXML:1 CXML by name:0");
    expectIntact(dataset);
    EXPECT_EQ(runProcess({"ogrinfo", "-ro", "-al", dataset}).status, 0);
}

TEST_F(Style, HasThePicturesAndWhereTheyGo) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    const std::string file = qml(dataset);
    EXPECT_EQ(xpath(file, "string(//renderer-v2/@attr)"), "Symbol_C") << "as the layer writes it";
    EXPECT_EQ(xpath(file, "string(//category[1]/@value)"), "BOYLAT13");
    EXPECT_EQ(xpath(file, "string(//category[1]/@label)"), "BOYLAT13: conical buoy, green");
    const std::string layer = "//symbols/symbol[@name='0']/layer";
    EXPECT_EQ(xpath(file, "string(" + layer + "/Option/Option[@name='size']/@value)"), "3.4");
    EXPECT_EQ(xpath(file, "starts-with(" + layer + "/Option/Option[@name='name']/@value, 'base64:')"), "true");
    EXPECT_EQ(xpath(file, "string(" + layer + "//Option[@name='angle']/Option[@name='expression']/@value)"),
              "coalesce(\"Rotate_C\", 0)");
    const std::string offset =
        xpath(file, "string(" + layer + "//Option[@name='offset']/Option[@name='expression']/@value)");
    EXPECT_NE(offset.find("coalesce(\"XOFFSET_C\", 0) * cos(@r)"), std::string::npos) << offset;
    const std::string byName = qml(dataset, "CXML by name");
    EXPECT_EQ(xpath(byName, "string(//Option[@name='name']/Option[@name='expression']/@value)"),
              "coalesce(\"Symbol_C\", 'none') || '.svg'");
}

TEST_F(Style, PaletteChangesTheColours) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    const std::string day = readFile(qml(dataset));
    ASSERT_EQ(cxml({"style", dataset, "--palette", "night"}).status, 0);
    EXPECT_NE(readFile(qml(dataset)), day);
    ASSERT_EQ(cxml({"style", dataset, "--palette", "day"}).status, 0);
    EXPECT_EQ(readFile(qml(dataset)), day);
}

TEST_F(Style, TwiceLeavesTheFileAsItIs) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    const std::string before = readFile(dataset);
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(outcome.out, "MARKS: a style of 1 symbol\n");
    EXPECT_TRUE(readFile(dataset) == before);
}

TEST_F(Style, AnotherFileGetsTheSameStyle) {
    std::string first;
    for (const char* name : {"a.gpkg", "b.gpkg"}) {
        const std::string dataset = newChart("MARKS", name);
        setSymbol(dataset, "'BOYLAT13'");
        ASSERT_EQ(cxml({"style", dataset}).status, 0);
        const std::string text = readFile(qml(dataset)) + readFile(qml(dataset, "CXML by name"));
        if (first.empty()) first = text;
        EXPECT_EQ(text, first);
    }
}

TEST_F(Style, SomebodysDefaultStaysTheDefault) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    makeStyleTable(dataset);
    addStyle(dataset, "office", true);
    addStyle(dataset, "draft", false);
    addStyle(dataset, "CXML", true, "ELSEWHERE");
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "MARKS: a style of 1 symbol; it still opens with 'office'\n");
    EXPECT_EQ(styles(dataset), "CXML:0 CXML by name:0 draft:0 office:1");
    EXPECT_EQ(styles(dataset, "ELSEWHERE"), "CXML:1");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM layer_styles WHERE styleQML = '<qgis/>'"), "3");
    EXPECT_EQ(cxmlJson({"style", dataset}, 0)["styles"][0]["keptDefault"], "office");
    sql(dataset, "UPDATE layer_styles SET useAsDefault = 0 WHERE styleName = 'office'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    EXPECT_EQ(styles(dataset), "CXML:1 CXML by name:0 draft:0 office:0");
}

TEST_F(Style, OursByNameMayBeTheDefault) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    sql(dataset, "UPDATE layer_styles SET useAsDefault = styleName = 'CXML by name'");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    EXPECT_EQ(styles(dataset), "CXML:0 CXML by name:1");
}

TEST_F(Style, OursIsReplaced) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    makeStyleTable(dataset);
    addStyle(dataset, "CXML", false);
    addStyle(dataset, "CXML", true);  // twice, as a copy may have it
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    EXPECT_EQ(styles(dataset), "CXML:1 CXML by name:0");
    EXPECT_EQ(sql(dataset, "SELECT id, styleQML LIKE '%BOYLAT13%' FROM layer_styles WHERE styleName = 'CXML'"), "1|1");
    EXPECT_EQ(sql(dataset, "SELECT data_type FROM gpkg_contents WHERE table_name = 'layer_styles'"), "attributes");
}

TEST_F(Style, NamesWithoutAPictureAreCounted) {
    const std::string dataset = newChart();
    setSymbol(dataset, "CASE fid WHEN 1 THEN 'NOSUCH01' ELSE 'BOYLAT13' END");
    EXPECT_EQ(cxml({"style", dataset}).out, "MARKS: a style of 2 symbols\nno picture: NOSUCH01 (1)\n");
    const nlohmann::json said = cxmlJson({"style", dataset}, 0);
    EXPECT_EQ(said.dump(), R"({"styles":[{"keptDefault":null,"layer":"MARKS","symbols":2}],)"
                           R"("withoutPicture":[{"features":1,"symbol":"NOSUCH01"}]})");
    EXPECT_EQ(xpath(qml(dataset), "string(//category[@value='NOSUCH01']/@label)"), "NOSUCH01: no such symbol");
}

TEST_F(Style, PicturesThatCannotBeUsedAreNamed) {
    const std::string dataset = newChart();
    setSymbol(dataset, "CASE fid WHEN 1 THEN 'SCRIPT' ELSE 'NOBOX' END");
    std::filesystem::create_directory(inFolder("symbols"));
    const std::string svg = R"(<svg xmlns="http://www.w3.org/2000/svg"><rect width="1" height="1"/>)";
    writeFile("symbols/SCRIPT.svg", svg + "<script/></svg>");
    writeFile("symbols/NOBOX.svg", svg + "</svg>");
    for (const char* format : {"--layer=MARKS", "--json"}) {
        const Outcome outcome = cxml({"style", dataset, "--symbols", inFolder("symbols").string(), format});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_NE(outcome.err.find("SCRIPT.svg: refused: <script> is no plain shape"), std::string::npos)
            << outcome.err;
        for (const char* name : {"SCRIPT", "NOBOX"}) EXPECT_NE(outcome.out.find(name), std::string::npos);
    }
}

TEST_F(Style, AFailureAfterARunIsNoStyle) {
    const std::string dataset = newChart("BOYLAT");
    sql(dataset, "ALTER TABLE BOYLAT ADD COLUMN CATLAM INTEGER; CREATE TABLE layer_styles (id INTEGER PRIMARY KEY)");
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, "-q", "--style"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out.find("a style of"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("layer_styles"), std::string::npos) << outcome.err;
}

TEST_F(Style, ManyNamesWithoutAPictureMakeNoEndlessStyle) {
    const std::string dataset = newChart();
    sql(dataset,
        "INSERT INTO MARKS (geom, Symbol_C) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < "
        "1000) SELECT (SELECT geom FROM MARKS LIMIT 1), 'NOSUCH' || i FROM n; "
        "UPDATE MARKS SET Symbol_C = 'ZZZ' WHERE fid = 1; UPDATE MARKS SET Symbol_C = 'BOYLAT13' WHERE fid = 2");
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(lineCount(outcome.out), 1002U) << "all are listed";
    const std::string file = qml(dataset);
    EXPECT_EQ(xpath(file, "count(//category)"), "502");
    EXPECT_EQ(xpath(file, "count(//category[@value='BOYLAT13'])"), "1");
}

TEST_F(Style, RowsWithoutANameDrawNothing) {
    const std::string dataset = newChart();
    EXPECT_EQ(cxml({"style", dataset}).out, "MARKS: a style of 0 symbols\n");
    const std::string file = qml(dataset);
    EXPECT_EQ(xpath(file, "count(//category)"), "1");
    EXPECT_EQ(xpath(file, "string(//category/@value)"), "");
    EXPECT_EQ(xpath(file, "string(//Option[@name='enabled']/Option[@name='expression']/@value)"),
              "coalesce(\"Symbol_C\", '') <> ''");
}

TEST_F(Style, DocumentBringsItsNamesAndLabels) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    sql(dataset, "ALTER TABLE MARKS ADD COLUMN TEXT_C TEXT");
    const std::string document = writeFile("rules.cxml", R"(<conditionMap name="Test"><featureClass name="marks">
<condition rulename="BOYLAT23"><rule type="A" field="CATSPM" operator="equal" value="1"/></condition>
<condition type="2" field="text_c"><expression>def Generate(OBJNAM): return OBJNAM</expression></condition>
</featureClass></conditionMap>)");
    const Outcome outcome = cxml({"style", dataset, document});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "MARKS: a style of 2 symbols\n") << outcome.err;
    EXPECT_EQ(xpath(qml(dataset), "string(//text-style/@fieldName)"), "\"TEXT_C\"");
    const Outcome broken = cxml({"style", dataset, writeFile("broken.cxml", "<conditionMap")});
    EXPECT_EQ(broken.status, 1);
    EXPECT_NE(broken.err.find("broken.cxml"), std::string::npos) << broken.err;
}

TEST_F(Style, FollowsARun) {
    const std::string dataset = newChart("BOYLAT");
    sql(dataset, "ALTER TABLE BOYLAT ADD COLUMN CATLAM INTEGER; UPDATE BOYLAT SET CATLAM = fid");
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, "-q", "--style", "--palette", "dusk"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("\nBOYLAT: a style of 2 symbols\nno picture: GREEN (1)\nno picture: RED (1)\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_EQ(styles(dataset, "BOYLAT"), "CXML:1 CXML by name:0");
    const std::string copy = inFolder("copy.gpkg").string();
    const nlohmann::json said = cxmlJson({"symbolize", data("buoys.cxml"), dataset, "-o", copy, "--style"}, 0);
    EXPECT_EQ(said["styles"][0]["layer"], "BOYLAT");
    EXPECT_EQ(said["layers"].size(), 1U);
    EXPECT_EQ(styles(copy, "BOYLAT"), "CXML:1 CXML by name:0");
    EXPECT_EQ(cxml({"symbolize", data("buoys.cxml"), dataset, "--style", "--symbols", "/no such folder"}).status, 2);
}

TEST_F(Style, TableOfStylesIsNoLayerToConfigure) {
    const std::string dataset = newChart("BOYLAT");
    sql(dataset, "ALTER TABLE BOYLAT ADD COLUMN CATLAM INTEGER");
    ASSERT_EQ(cxml({"style", dataset}).status, 0);
    const nlohmann::json said = cxmlJson({"check", data("buoys.cxml"), dataset}, 0);
    ASSERT_TRUE(said["findings"].is_array());
    for (const nlohmann::json& finding : said["findings"]) EXPECT_NE(finding["kind"], "layer-unconfigured") << finding;
}

TEST_F(Style, AFailureLeavesTheTableAsItWas) {
    const std::string dataset = newChart("A");
    addLayer(dataset, "B");
    makeStyleTable(dataset);
    addStyle(dataset, "CXML", false, "A");
    sql(dataset,
        "CREATE TRIGGER no BEFORE INSERT ON layer_styles WHEN new.f_table_name = 'B' "
        "BEGIN SELECT RAISE(ABORT, 'not that one'); END");
    const std::string before = readFile(dataset);
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("table layer_styles: not that one"), std::string::npos) << outcome.err;
    EXPECT_EQ(styles(dataset, "A"), "CXML:0");
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM layer_styles WHERE styleQML <> '<qgis/>'"), "0");
    EXPECT_TRUE(readFile(dataset) == before);
}

struct HostileName {
    const char* name;
    const char* value;  // SQL
    const char* text;   // as the category has it; null: there is none
};

void PrintTo(const HostileName& hostile, std::ostream* out) {
    *out << hostile.name;
}

class StyleOfAName : public Style, public testing::WithParamInterface<HostileName> {};

TEST_P(StyleOfAName, IsWellFormed) {
    const std::string dataset = newChart();
    setSymbol(dataset, GetParam().value);
    const Outcome outcome = cxml({"style", dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(lineCount(outcome.out), 2U) << outcome.out;
    EXPECT_EQ(outcome.out.find_first_of("\x01\x1B"), std::string::npos);
    const std::string file = qml(dataset);
    EXPECT_EQ(xpath(file, "count(//category)"), GetParam().text ? "2" : "1");
    EXPECT_EQ(xpath(file, "string(//category[1]/@value)"), GetParam().text ? GetParam().text : "");
    const nlohmann::json said = cxmlJson({"style", dataset}, 0);
    EXPECT_EQ(said["withoutPicture"].size(), 1U);
}

const HostileName hostileNames[] = {
    {"Quotes", R"('a"b''c')", R"(a"b'c)"},
    {"Markup", R"('</category><x a="1">&amp;]]>--')", R"(</category><x a="1">&amp;]]>--)"},
    {"Backslash", R"('a\''b\n')", R"(a\'b\n)"},
    {"LineFeed", "'a' || char(10) || 'b'", "a\nb"},
    {"Path", "'../../../etc/passwd'", "../../../etc/passwd"},
    {"ControlCharacter", "'a' || char(1) || 'b'", nullptr},
    {"Escape", "char(27) || '[31m'", nullptr},
    {"NoCharacter", "'a' || char(65535)", nullptr},
    {"NoUtf8", "CAST(x'41FF42' AS TEXT)", nullptr},
    {"Number", "13", "13"},
    {"Dollars", "'$1 ?1'", "$1 ?1"},
};

INSTANTIATE_TEST_SUITE_P(All, StyleOfAName, testing::ValuesIn(hostileNames),
                         [](const auto& tested) { return tested.param.name; });

class StyleOfALayer : public Style, public testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(StyleOfALayer, IsFoundByItsName) {
    const std::string layer = GetParam().second;
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    sql(dataset, "ALTER TABLE MARKS RENAME TO " + quoted(layer));  // which GDAL does not do for all of these
    for (const char* list : {"gpkg_contents", "gpkg_geometry_columns", "gpkg_ogr_contents"})
        sql(dataset, std::string("UPDATE ") + list +
                         " SET table_name = (SELECT name FROM sqlite_master WHERE sql LIKE "
                         "'%Symbol_C%') WHERE table_name = 'MARKS'");
    for (const Arguments& arguments : {Arguments{"style", dataset}, Arguments{"style", dataset, "-l", layer}}) {
        const Outcome outcome = cxml(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(lineCount(outcome.out), 1U);
    }
    EXPECT_EQ(sql(dataset,
                  "SELECT count(*) FROM layer_styles s JOIN gpkg_contents c ON c.table_name = s.f_table_name "
                  "WHERE c.data_type = 'features' AND s.styleQML LIKE '%BOYLAT13%'"),
              "1");
}

INSTANTIATE_TEST_SUITE_P(All, StyleOfALayer,
                         testing::Values(std::pair("Quotes", R"(a"b)"), std::pair("Apostrophe", "it's"),
                                         std::pair("Markup", "<b>&amp;"), std::pair("Control", "a\x01\x1B"),
                                         std::pair("Blanks", "a b"), std::pair("Parameters", "$1 ?1"),
                                         std::pair("Umlaut", "T\xC3\xBCren")),
                         [](const auto& tested) { return std::string(tested.param.first); });

struct Refused {
    const char* name;
    const char* preparation;  // SQL
    std::vector<std::string> options;
    const char* complaint;
};

void PrintTo(const Refused& refused, std::ostream* out) {
    *out << refused.name;
}

class StyleRefused : public Style, public testing::WithParamInterface<Refused> {};

TEST_P(StyleRefused, InOneLineThatSaysWhy) {
    const std::string dataset = newChart();
    setSymbol(dataset, "'BOYLAT13'");
    addBuoys(dataset);
    sql(dataset, GetParam().preparation);
    const std::string before = readFile(dataset);
    Arguments arguments{"style", dataset};
    arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
    const Outcome outcome = cxml(arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(GetParam().complaint), std::string::npos) << outcome.err;
    EXPECT_TRUE(readFile(dataset) == before);
}

const Refused refusals[] = {
    {"NoSuchLayer", "", {"-l", "MARCS"}, "there is no layer 'MARCS'; similar: MARKS"},
    {"LayerWithoutShapes", "", {"-l", "BOYLAT"}, "layer BOYLAT has no shapes"},
    {"LayerWithoutSymbols",
     "ALTER TABLE MARKS RENAME COLUMN Symbol_C TO OTHER",
     {"-l", "MARKS"},
     "layer MARKS has no field SYMBOL_C"},
    {"NoLayerWithSymbols",
     "ALTER TABLE MARKS RENAME COLUMN Symbol_C TO OTHER",
     {},
     "no layer has shapes and the field"},
    {"NoSymbolsFolder", "", {"--symbols", "/no such folder"}, "/no such folder: the folder of the pictures cannot"},
    {"AnotherTableOfTheName",
     "CREATE TABLE layer_styles (id INTEGER PRIMARY KEY, colour TEXT)",
     {},
     "layer_styles: no such column"},
    {"AViewOfTheName", "CREATE VIEW layer_styles AS SELECT 1 AS id", {}, "layer_styles: no such column"},
};

INSTANTIATE_TEST_SUITE_P(All, StyleRefused, testing::ValuesIn(refusals),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(Style, KeepsNoneInOtherFiles) {
    const std::string database = inFolder("marks.sqlite").string();
    const std::string shapes = inFolder("marks.shp").string();
    for (const auto& [file, driver, why] :
         {std::tuple(database, "SQLite", "styles are kept in GeoPackages and PostgreSQL databases"),
          std::tuple(shapes, "ESRI Shapefile", "datasets have no transactions")}) {
        const Outcome made = runProcess({"ogr2ogr", "-f", driver, file, data("marks.geojson"), "-sql",
                                         "SELECT *, 'BOYLAT13' AS SYMBOL_C FROM marks"});
        ASSERT_EQ(made.status, 0) << made.err;
        const Outcome outcome = cxml({"style", file});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(file), std::string::npos) << outcome.err;
    }
}

TEST_F(Style, ReadOnlyFileIsRefused) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become another user";
    ProcessOptions options;
    options.asNobody = true;
    if (runProcess({CXML_PROGRAM, "--version"}, options).status != 0)
        GTEST_SKIP() << "another user cannot run the program where it is built";
    const std::string dataset = newChart();
    std::filesystem::permissions(dataset, std::filesystem::perms::owner_read | std::filesystem::perms::others_read);
    const std::string before = readFile(dataset);
    const Outcome outcome = cxml({"style", dataset}, options);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find(dataset), std::string::npos) << outcome.err;
    EXPECT_TRUE(readFile(dataset) == before);
}

}  // namespace
