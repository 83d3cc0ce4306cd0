// Parts of the tool that are easier to look at from inside.
#include "nearest_rows.h"
#include "object_ids.h"
#include "services.h"
#include "symbology/tarn_lib.h"
#include "tools/reports/configurations.h"
#include "tools/reports/document.h"
#include "tools/reports/messages.h"
#include "tools/reports/report.h"
#include "tools/runs/layer_choice.h"
#include "tools/text/text.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

namespace {

using cxml::MessageKind;
using cxml::MessageLog;

// Takes standard error into a text while it lives.
class CapturedErrors {
public:
    CapturedErrors() { testing::internal::CaptureStderr(); }
    std::string take() { return testing::internal::GetCapturedStderr(); }
};

TEST(Text, LoneSurrogatesBecomeReplacementCharacters) {
    const OLECHAR text[] = {'a', OLECHAR(0xD800), 'b', OLECHAR(0xDC00)};
    EXPECT_EQ(cxml::toUtf8(WideView(text, 4)),
              "a\xEF\xBF\xBD"
              "b\xEF\xBF\xBD");
}

TEST(Text, ZerosStay) {
    const std::string text("a\0b", 3);
    EXPECT_EQ(cxml::toUtf8(cxml::toBstr(text)), text);
}

TEST(Text, EmptyTextIsAnAllocatedBstr) {
    EXPECT_NE(cxml::toBstr("").m_str, nullptr);
}

TEST(Text, InvalidUtf8BecomesReplacementCharacters) {
    EXPECT_EQ(cxml::toUtf8(cxml::toBstr("x\xFFy")), "x\xEF\xBF\xBDy");
}

TEST(Text, PrintableShowsControlCharactersAndKeepsLines) {
    EXPECT_EQ(cxml::printable("a\x1b[1m\tb\r\nc\x7f \n"), "a\\x1B[1m\tb\nc\\x7F");
    EXPECT_EQ(cxml::printable("a\u009B1m\u00A0\u0080"), "a\\x9B1m\u00A0\\x80");
    EXPECT_EQ(cxml::oneLine("a\r\n\r\nb\n"), "a b");
}

TEST(JsonString, EscapesAndReplaces) {
    EXPECT_EQ(cxml::jsonString("a\"\n\x01"), R"("a\"\n\u0001")");
    EXPECT_EQ(cxml::jsonString("x\xFFy"), "\"x\xEF\xBF\xBDy\"");
}

TEST(ObjectIds, AreReadOrNamed) {
    EXPECT_EQ(cxml::parseObjectIds("1, -2,9223372036854775807"),
              (std::vector<ObjectId>{1, -2, std::numeric_limits<ObjectId>::max()}));
    EXPECT_EQ(cxml::parseObjectIds("1,"), std::nullopt);
    EXPECT_EQ(cxml::whyNotObjectIds("1,2"), "");
    EXPECT_EQ(cxml::whyNotObjectIds("1,two"), "'two' is not a row id (a whole number)");
}

TEST(Messages, TextIsShownWhenItFirstComesAndCounted) {
    cxml::Console console(cxml::Console::Bar::Never);
    MessageLog log(console, "LAYER", MessageLog::Keep::Counts);
    CapturedErrors errors;
    {
        const CComPtr<IGPMessages> messages = cxml::collectInto(log);
        for (int i = 0; i < 3; ++i) EXPECT_EQ(messages->AddMessage(CComBSTR(OLESTR("again"))), S_OK);
        EXPECT_EQ(messages->AddError(E_FAIL, CComBSTR(OLESTR("once"))), S_OK);
        EXPECT_EQ(messages->AddMessage(nullptr), S_OK);
    }
    EXPECT_EQ(errors.take(), "LAYER: again\nLAYER: once\nLAYER: \n");
    ASSERT_EQ(log.texts().size(), 3U);
    EXPECT_EQ(log.texts()[0].text, "again");
    EXPECT_EQ(log.texts()[0].count, 3U);
    EXPECT_EQ(log.texts()[1].count, 1U);
    EXPECT_TRUE(log.entries().empty()) << "no copies without --json";
}

TEST(Messages, AllKeepsOrderAndKind) {
    cxml::Console console(cxml::Console::Bar::Never);
    MessageLog log(console, "LAYER", MessageLog::Keep::All);
    CapturedErrors errors;
    log.add(MessageKind::Message, "a");
    log.add(MessageKind::Error, "b");
    log.add(MessageKind::Error, "a");
    errors.take();
    ASSERT_EQ(log.entries().size(), 3U);
    EXPECT_EQ(log.texts()[log.entries()[2].text].text, "a");
    EXPECT_EQ(log.entries()[2].kind, MessageKind::Error);
}

TEST(Messages, WithoutEndOfDifferentTextsMemoryStaysBounded) {
    cxml::Console console(cxml::Console::Bar::Never);
    MessageLog log(console, "LAYER", MessageLog::Keep::Counts);
    CapturedErrors errors;
    for (std::size_t i = 0; i < MessageLog::distinctLimit + 5; ++i)
        log.add(MessageKind::Message, "row " + std::to_string(i));
    const std::string shown = errors.take();
    EXPECT_EQ(log.texts().size(), MessageLog::distinctLimit);
    EXPECT_NE(shown.find("LAYER: row 10004\n"), std::string::npos) << "those beyond the limit are still shown";
}

TEST(Messages, CollectionIsAnObjectOfItsInterface) {
    cxml::Console console(cxml::Console::Bar::Never);
    MessageLog log(console, "LAYER", MessageLog::Keep::All);
    const CComPtr<IGPMessages> messages = cxml::collectInto(log);
    EXPECT_NE(CComQIPtr<IGPMessages>(static_cast<IUnknown*>(messages.p)).p, nullptr);
    EXPECT_EQ(CComQIPtr<IRow>(static_cast<IUnknown*>(messages.p)).p, nullptr);
    EXPECT_EQ(messages->QueryInterface(__uuidof(IUnknown), nullptr), E_POINTER);
}

TEST(Summary, NamesTheFirstRepeatedTextsAndCountsTheRest) {
    cxml::Console console(cxml::Console::Bar::Never);
    cxml::LayerResult result{
        .layer = "X", .succeeded = true, .rows = 1, .messages = {console, "X", MessageLog::Keep::Counts}};
    CapturedErrors errors;
    for (const int i : {1, 2})
        for (int text = 0; text < 12; ++text)
            result.messages.add(MessageKind::Message, std::string(i > 0, char('a' + text)));
    errors.take();
    EXPECT_EQ(
        cxml::summaryLine(result),
        "X: 1 row, 0 changed; 2 times: a; 2 times: b; 2 times: c; 2 times: d; 2 times: e; 2 times: f; 2 times: g; "
        "2 times: h; 2 times: i; 2 times: j; and 2 texts more repeated");
}

class Loading : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "cxml-parts-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::string write(const std::string& text) const {
        std::ofstream(folder_ / "document.cxml", std::ios::binary) << text;
        return folder_ / "document.cxml";
    }
    std::shared_ptr<ConditionalXml::ConditionMap> mapOf(const std::string& content) const {
        cxml::Console console(cxml::Console::Bar::Never);
        cxml::Document document(console, write("<conditionMap name='m'>" + content + "</conditionMap>"),
                                MessageLog::Keep::All);
        cxml::load(document);
        EXPECT_TRUE(document.loaded) << content;
        return document.map;
    }
    bool configures(const std::string& content, const std::string& alias) const {
        return cxml::findConfiguration(*mapOf(content), alias) != nullptr;
    }
    std::vector<std::string> resultFieldsOf(const std::string& content) const {
        const auto map = mapOf(content);
        return cxml::resultFields(*cxml::findConfiguration(*map, "X"));
    }

private:
    std::filesystem::path folder_;
};

TEST_F(Loading, ClassesAreFoundWithoutRegardToCase) {
    const std::string classes = "<featureClass name='BoyLat'/><featureClass/><featureClass name='Ströme'/>";
    EXPECT_TRUE(configures(classes, "BOYLAT"));
    EXPECT_TRUE(configures(classes, "boylat"));
    EXPECT_TRUE(configures(classes, "STRÖME"));
    EXPECT_FALSE(configures(classes, "BOYSPP"));
    EXPECT_FALSE(configures(classes, "")) << "an element without a name makes no configuration";
}

const std::string twoFields = "<condition type='2' field='A'/><condition type='2' field='B'/>";
const std::string more = "<condition type='2' field='C'/>";

std::string classX(const std::string& content, const std::string& name = "X") {
    return "<featureClass name='" + name + "'>" + content + "</featureClass>";
}

TEST_F(Loading, RepeatedUpperCaseNameAddsAndAnyOtherReplaces) {
    EXPECT_EQ(resultFieldsOf(classX(twoFields) + classX(more)), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(resultFieldsOf(classX(twoFields, "x") + classX(more, "x")), (std::vector<std::string>{"C"}));
}

TEST_F(Loading, NewClassWithASubtypeWithoutNumberIsNoConfiguration) {
    EXPECT_FALSE(configures(classX("<subtype/>"), "X"));
    EXPECT_TRUE(configures(classX("") + classX("<subtype/>"), "X"));
}

TEST_F(Loading, ResultFieldsAreThoseOfConditionsThatAreKept) {
    const auto nested = [](const char* field, const std::string& inner) {
        return "<condition type='2' field='" + std::string(field) +
               "'><rule type='A' operator='equal' field='F' value='1'>" + inner + "</rule></condition>";
    };
    EXPECT_EQ(resultFieldsOf(classX(nested("A", nested("B", more)) + "<condition type='2' field='D'/>")),
              (std::vector<std::string>{"A", "B", "C", "D"}))
        << "outer fields come first";
    EXPECT_EQ(resultFieldsOf(classX("<subtype number='1'>" + more + "</subtype>" + twoFields)),
              (std::vector<std::string>{"A", "B", "C"}))
        << "any row's first";
    EXPECT_EQ(resultFieldsOf(classX(twoFields) + classX(more + "<subtype/>")), (std::vector<std::string>{"A", "B"}))
        << "an element that adds and has a subtype without number adds nothing";
    EXPECT_EQ(resultFieldsOf(classX("<condition type='2' field='A' angle='west'/>" + more)),
              (std::vector<std::string>{"C"}))
        << "a condition that is discarded writes nothing";
}

TEST_F(Loading, EveryPrefixOfADocumentIsRefusedWithAReason) {
    std::ostringstream whole;
    whole << std::ifstream(TEST_DATA_DIR "/buoys.cxml").rdbuf();
    const std::string text = whole.str().substr(0, whole.str().rfind('>'));  // the last byte that matters is missing
    cxml::Console console(cxml::Console::Bar::Never);
    for (std::size_t length = 0; length <= text.size(); ++length) {
        cxml::Document document(console, write(text.substr(0, length)), MessageLog::Keep::All);
        cxml::load(document);
        ASSERT_FALSE(document.loaded) << length;
        ASSERT_NE(document.reason, "") << length;
        ASSERT_TRUE(document.error.has_value()) << length;
    }
}

TEST(WhyNotParsed, EmptyTextOfTheLibraryIsReplacedByTheParsersWords) {
    CComPtr<IXMLDOMDocument> dom;
    ASSERT_EQ(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                               reinterpret_cast<void**>(&dom)),
              S_OK);
    VARIANT_BOOL loaded = VARIANT_TRUE;
    dom->loadXML(CComBSTR(OLESTR("<a>\n<b <>")), &loaded);
    ASSERT_EQ(loaded, VARIANT_FALSE);
    const std::string reason = cxml::whyNotParsed("", dom);
    EXPECT_EQ(reason.rfind("line 2, column ", 0), 0U) << reason;
    EXPECT_GT(reason.size(), 25U) << reason;
    EXPECT_EQ(cxml::whyNotParsed("as the library says\n", dom), "as the library says");
    EXPECT_EQ(cxml::whyNotParsed("", nullptr), "it cannot be read");
}

TEST(LayerChoice, SimilarNamesComeBeforeAllNames) {
    const std::vector<embedded_host::LayerInfo> available{{"BOYLAT", "BOYLAT", true, 1}, {"t1", "Buoys", true, 1}};
    const auto refusal = [&](const char* name) {
        try {
            cxml::chooseLayers(available, {name}, {}, "d.gpkg");
        } catch (const embedded_host::HostError& e) {
            return std::string(e.what());
        }
        return std::string();
    };
    EXPECT_EQ(refusal("boylat"), "d.gpkg: there is no layer 'boylat'; similar: BOYLAT");
    EXPECT_EQ(refusal("Buoys"), "d.gpkg: there is no layer 'Buoys'; similar: t1") << "the title instead of the name";
    EXPECT_EQ(refusal("LIGHTS"), "d.gpkg: there is no layer 'LIGHTS'; available: BOYLAT, t1");
    EXPECT_EQ(refusal(""), "d.gpkg: there is no layer ''; available: BOYLAT, t1");
}

TEST(Services, EventsGoToTheLogLineByLine) {
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("cxml-log-" + std::to_string(getpid()));
    cxml::ServiceOptions options;
    options.log = path.string();
    {
        cxml::Console console(cxml::Console::Bar::Never);
        const cxml::Services services(options, console);
        EXPECT_TRUE(EventLog::IsEnabled());
        EXPECT_TRUE(
            EventLog::Write({}, OLESTR("SOLVANE: Some Line: 7"), OLESTR("A::B"), OLESTR("two\nlines"), 0, false));
        std::ifstream file(path);
        std::string line;
        ASSERT_TRUE(std::getline(file, line)) << "an entry is on disk at once";
        ASSERT_GT(line.size(), 21U);
        EXPECT_EQ(line[10], 'T');
        EXPECT_EQ(line.substr(19), "Z SOLVANE: Some Line: 7; A::B; two lines");
    }
    EXPECT_FALSE(EventLog::IsEnabled());
    std::filesystem::remove(path);
}

TEST(Services, WithoutALogTheEventLogIsDisabled) {
    cxml::Console console(cxml::Console::Bar::Never);
    const cxml::Services services({}, console);
    EXPECT_FALSE(EventLog::IsEnabled());
}

TEST(Services, DebuggerOutputIsShownWithItsLines) {
    CapturedErrors errors;
    cxml::ServiceOptions options;
    options.debugOutput = true;
    {
        cxml::Console console(cxml::Console::Bar::Never);
        const cxml::Services services(options, console);
        OutputDebugStringA("one\ntwo\x1b\n");
    }
    OutputDebugStringA("too late");
    EXPECT_EQ(errors.take(), "debugger: one\ntwo\\x1B\n");
}

TEST(NearestRows, DistancesToShapes) {
    using embedded_host::Shape;
    using embedded_host::ShapeKind;
    const Shape point{ShapeKind::Point, {{{10, 60}}}};
    const Shape line{ShapeKind::Line, {{{0, 0}, {4, 0}}}};
    const Shape ring{ShapeKind::Area,
                     {{{0, 0}, {4, 0}, {4, 4}, {0, 4}, {0, 0}}, {{1, 1}, {3, 1}, {3, 3}, {1, 3}, {1, 1}}}};
    const struct {
        const char* name;
        Shape shape;
        embedded_host::Position position;
        double distance;
    } cases[] = {
        {"the point itself", point, {10, 60}, 0},
        {"a degree of longitude at 60 degrees is half of one of latitude", point, {12, 60}, 1},
        {"the short way round", point, {10 - 360, 60}, 0},
        {"across the antimeridian", Shape{ShapeKind::Point, {{{179.5, 0}}}}, {-179.5, 0}, 1},
        {"beside the middle of a line", line, {2, -0.5}, 0.5},
        {"behind its end", line, {5, 0}, 1},
        {"inside of an area", ring, {0.5, 2}, 0},
        {"in its hole", ring, {2, 2}, 1},
        {"outside of it", ring, {-2, 0}, 2},
        {"no shape", Shape{}, {0, 0}, std::numeric_limits<double>::infinity()},
    };
    for (const auto& row : cases) {
        const double found = cxml::distanceTo(row.shape, row.position);
        if (std::isinf(row.distance))
            EXPECT_EQ(found, row.distance) << row.name;
        else
            EXPECT_NEAR(found, row.distance, 0.01) << row.name;
    }
}

}  // namespace
