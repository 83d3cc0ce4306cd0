// Documents made to use up memory or time, or to reach for what lies outside of them.
#include "platform/dom_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>

namespace dom_test {
namespace {

/// Kilobytes of memory that the process has ever held.
long peakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

std::string repeated(std::string_view piece, std::size_t times) {
    std::string text;
    text.reserve(piece.size() * times);
    for (std::size_t i = 0; i < times; ++i) text += piece;
    return text;
}

/// ten to the power of `levels` times the text "laugh"
std::string billionLaughs(int levels, std::string_view use) {
    std::string text = "<!DOCTYPE a [<!ENTITY e0 'laugh'>";
    for (int i = 1; i <= levels; ++i)
        text += "<!ENTITY e" + std::to_string(i) + " '" + repeated("&e" + std::to_string(i - 1) + ';', 10) + "'>";
    const std::string last = "&e" + std::to_string(levels) + ';';
    return text + "]>" + (use == "attribute" ? "<a b='" + last + "'/>" : "<a>" + last + "</a>");
}

struct Bomb {
    const char* name;
    std::function<std::string()> text;
    const char* reason;
};
std::ostream& operator<<(std::ostream& out, const Bomb& test) {
    return out << test.name;
}

constexpr const char* tooMuch = "The declarations of the document expand to too much text.";

const Bomb bombs[] = {
    {"BillionLaughs", [] { return billionLaughs(9, "text"); }, tooMuch},
    {"BillionLaughsInAnAttribute", [] { return billionLaughs(9, "attribute"); }, tooMuch},
    {"MoreLevelsThanAreFollowed", [] { return billionLaughs(60, "text"); }, tooMuch},
    {"QuadraticBlowUp",
     [] {
         return "<!DOCTYPE a [<!ENTITY e '" + std::string(100000, 'x') + "'>]><a>" + repeated("&e;", 10000) + "</a>";
     },
     tooMuch},
    {"ManySmallReferences",
     [] { return "<!DOCTYPE a [<!ENTITY e '" + std::string(900, 'x') + "'>]><a>" + repeated("&e;", 200000) + "</a>"; },
     tooMuch},
    {"ManyTinyReferences", [] { return "<!DOCTYPE a [<!ENTITY e 'x'>]><a>" + repeated("&e;", 1'000'000) + "</a>"; },
     tooMuch},
    {"ManyElementsFromAnEntity",
     [] { return "<!DOCTYPE a [<!ENTITY e '" + repeated("<b/>", 10000) + "'>]><a>" + repeated("&e;", 10000) + "</a>"; },
     tooMuch},
    {"ParameterEntities",
     [] {
         std::string text = "<!DOCTYPE a [<!ENTITY % p0 '<!ENTITY x \"laugh\">'>";
         for (int i = 1; i <= 9; ++i)
             text += "<!ENTITY % p" + std::to_string(i) + " '" + repeated("&#37;p" + std::to_string(i - 1) + ';', 10) +
                     "'>";
         return text + "%p9;]><a/>";
     },
     tooMuch},
    {"DefaultedAttributes",
     [] {
         return "<!DOCTYPE a [<!ATTLIST b c CDATA '" + std::string(100000, 'x') + "'>]><a>" + repeated("<b/>", 100000) +
                "</a>";
     },
     tooMuch},
    {"DefaultedNamespaces",
     [] {
         return "<!DOCTYPE a [<!ATTLIST b xmlns:p CDATA '" + std::string(100000, 'x') + "'>]><a>" +
                repeated("<b/>", 100000) + "</a>";
     },
     tooMuch},
    {"EntityInItself", [] { return std::string("<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>"); }, "loop"},
    {"EntitiesInEachOther", [] { return std::string("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a b='&e;'/>"); },
     "loop"},
    {"Nesting", [] { return repeated("<a>", 100000); }, "depth"},
    {"NestingAcrossEntities",
     [] {
         std::string text = "<!DOCTYPE a [<!ENTITY e0 'x'>";
         for (int i = 1; i < 30; ++i)
             text += "<!ENTITY e" + std::to_string(i) + " '" + repeated("<b>", 200) + "&e" + std::to_string(i - 1) +
                     ';' + repeated("</b>", 200) + "'>";
         return text + "]><a>&e29;</a>";
     },
     ""},
    {"NestedDeclarations", [] { return "<!DOCTYPE a [<!ELEMENT a " + std::string(100000, '(') + "]><a/>"; }, ""},
    {"OneLongText", [] { return "<a>" + repeated("x", 20'000'000) + "</a>"; }, ""},
    {"OneLongAttribute", [] { return "<a b='" + repeated("x", 20'000'000) + "'/>"; }, ""},
    {"OneLongName", [] { return "<" + repeated("x", 20'000'000) + "/>"; }, ""},
};

/// What the program has used since; other work on the machine does not count.
class ProcessorTime {
public:
    double seconds() const { return static_cast<double>(std::clock() - start_) / CLOCKS_PER_SEC; }

private:
    std::clock_t start_ = std::clock();
};

class DomBomb : public testing::TestWithParam<Bomb> {};

TEST_P(DomBomb, IsRefusedSoon) {
    const CComBSTR text = wide(GetParam().text());
    const CComPtr<IXMLDOMDocument> document = newDocument();
    const long before = peakMemory();
    const ProcessorTime time;
    VARIANT_BOOL loaded = VARIANT_TRUE;
    testing::internal::CaptureStderr();
    EXPECT_EQ(document->loadXML(text, &loaded), S_FALSE);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(loaded, VARIANT_FALSE);
    EXPECT_THAT(errorOf(document).reason, testing::HasSubstr(GetParam().reason));
    EXPECT_LT(time.seconds(), 20);
    EXPECT_LT(peakMemory() - before, 400'000) << "kilobytes";
}

INSTANTIATE_TEST_SUITE_P(All, DomBomb, testing::ValuesIn(bombs), [](const auto& test) { return test.param.name; });

std::string attributes(int count, std::string_view prefix) {
    std::string text;
    for (int i = 0; i < count; ++i) text += ' ' + std::string(prefix) + std::to_string(i) + "='x'";
    return text;
}

TEST(DomBounds, ManyAttributesAreRefusedWithinASecond) {
    constexpr int many = 100'000;
    std::string declared;
    for (int i = 0; i < many; ++i) declared += "<!ATTLIST a b" + std::to_string(i) + " CDATA ''>";
    const char* const tooMany = "An element has too many attributes.";
    const std::tuple<const char*, std::string, const char*> documents[] = {
        {"attributes", "<a" + attributes(many, "b") + "/>", tooMany},
        {"attributes, one of them twice", "<a" + attributes(many, "b") + " b0=''/>", tooMany},
        {"namespaces", "<a" + attributes(many, "xmlns:b") + "/>", tooMany},
        {"in an entity", "<!DOCTYPE a [<!ENTITY e \"<b" + attributes(many, "b") + "/>\">]><a>&e;</a>", tooMany},
        {"by declaration", "<!DOCTYPE a [" + declared + "]><a/>", "Too many attributes are declared."},
        {"one too many", "<a" + attributes(10'001, "b") + "/>", tooMany},
    };
    for (const auto& [name, text, reason] : documents) {
        SCOPED_TRACE(name);
        const ProcessorTime time;
        const Loaded result = loadText(text);
        EXPECT_EQ(result.status, S_FALSE);
        EXPECT_THAT(errorOf(result.document).reason, testing::HasSubstr(reason));
        EXPECT_LT(time.seconds(), 1);
    }
    EXPECT_EQ(loadText("<a" + attributes(10'000, "b") + "/>").status, S_OK);
}

TEST(DomBounds, HonestUseOfEntitiesIsAllowed) {
    const Loaded result = loadText("<!DOCTYPE a [<!ENTITY e '" + std::string(1000, 'x') + "'>]><a>" +
                                   repeated("<b>&e;</b>", 1000) + "</a>");
    ASSERT_EQ(result.status, S_OK) << errorOf(result.document).reason;
    EXPECT_EQ(textOf(result.document).size(), 1'000'000U);
}

TEST(DomBounds, NestingUpToTheBound) {
    EXPECT_EQ(loadText(repeated("<a>", 250) + repeated("</a>", 250)).status, S_OK);
    EXPECT_EQ(loadText(repeated("<a>", 260) + repeated("</a>", 260)).status, S_FALSE);
}

TEST(DomBounds, HundredMegabytesOfNestingAreNotRead) {
    const std::string path = testing::TempDir() + "nesting." + std::to_string(getpid()) + ".xml";
    {
        std::ofstream file(path, std::ios::binary);
        const std::string piece = repeated("<a>", 100'000);
        for (std::size_t size = 0; size < 100'000'000; size += piece.size()) file << piece;
        ASSERT_TRUE(file);
    }
    const long before = peakMemory();
    const ProcessorTime time;
    const Loaded result = loadFile(path);
    const double needed = time.seconds();
    std::remove(path.c_str());
    EXPECT_EQ(result.status, S_FALSE);
    EXPECT_EQ(errorOf(result.document).line, 1);
    EXPECT_LT(needed, 1);
    EXPECT_LT(peakMemory() - before, 20'000) << "kilobytes";
}

TEST(DomBounds, BigFileOfOrdinaryElements) {
    const std::string path = testing::TempDir() + "big." + std::to_string(getpid()) + ".xml";
    constexpr int count = 300'000;
    {
        std::ofstream file(path, std::ios::binary);
        file << "<map>";
        for (int i = 0; i < count; ++i) file << "<rule type='equal' field='CATBOY'>" << i << "</rule>\n";
        file << "</map>";
        ASSERT_TRUE(file);
    }
    const Loaded result = loadFile(path);
    std::remove(path.c_str());
    ASSERT_EQ(result.status, S_OK) << errorOf(result.document).reason;
    LONG length = 0;
    EXPECT_EQ(all(result.document, "/map/rule")->get_length(&length), S_OK);
    EXPECT_EQ(length, count);
}

TEST(DomOutside, NothingIsReadFromOtherFiles) {
    const std::string path = testing::TempDir() + "outside." + std::to_string(getpid()) + ".txt";
    std::ofstream(path) << "secret";
    const std::string quoted = '\'' + path + '\'';
    const std::string documents[] = {
        "<!DOCTYPE a [<!ENTITY e SYSTEM " + quoted + ">]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM " + quoted + ">]><a b='&e;'/>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM " + quoted + "><!ENTITY f '&e;'>]><a>&f;</a>",
        "<!DOCTYPE a [<!ENTITY e PUBLIC 'p' " + quoted + ">]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM 'file://" + path + "'>]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM 'http://localhost:1/x'>]><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY % e SYSTEM " + quoted + "> %e;]><a/>",
        "<!DOCTYPE a SYSTEM " + quoted + "><a>&e;</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM " + quoted + " NDATA n>]><a>&e;</a>",
    };
    for (const std::string& text : documents) {
        testing::internal::CaptureStderr();
        const Loaded result = loadText(text);
        EXPECT_EQ(result.status, S_FALSE) << text;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << text;
        EXPECT_THAT(errorOf(result.document).reason, testing::Not(testing::HasSubstr("secret")));
    }
    // An inclusion is an element like any other.
    const Loaded included =
        loadText("<a xmlns:xi='http://www.w3.org/2001/XInclude'><xi:include parse='text' href=" + quoted + "/></a>");
    EXPECT_EQ(included.status, S_OK);
    EXPECT_EQ(textOf(included.document), "");
    std::remove(path.c_str());
}

TEST(DomMutations, NeverDoHarm) {
    const std::string seeds[] = {
        "<?xml version='1.0' encoding='UTF-8'?>\n<!DOCTYPE a [<!ENTITY e 'x'><!ATTLIST b c CDATA 'd'>]>\n"
        "<a xmlns:p='u'><p:b c='1'>&e; <![CDATA[ y ]]></p:b><!-- c --><?pi d?></a>",
        "<map name='m'><featureClass name='BUOY'><condition rulename='R' xoffset='1.5'><rule type='equal' "
        "field='CATBOY' value='1'/></condition></featureClass></map>",
    };
    constexpr char pieces[] = "<>&;'\"/!?[]=-: ax%\x01\xC3\xFF\n";
    std::uint64_t state = 1;
    const auto random = [&](std::size_t limit) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<std::size_t>(state >> 33U) % limit;
    };
    const std::string path = testing::TempDir() + "mutation." + std::to_string(getpid()) + ".xml";
    for (int i = 0; i < 3000; ++i) {
        std::string text = seeds[random(std::size(seeds))];
        for (std::size_t changes = 1 + random(4); changes > 0; --changes) {
            const std::size_t at = random(text.size());
            if (random(3) == 0)
                text.erase(at, 1 + random(8));
            else if (random(2) == 0)
                text.insert(at, 1, pieces[random(sizeof pieces - 1)]);
            else
                text[at] = pieces[random(sizeof pieces - 1)];
        }
        std::ofstream(path, std::ios::binary) << text;
        const Loaded result = loadFile(path);
        const Error error = errorOf(result.document);
        EXPECT_EQ(result.status == S_OK, error.code == 0);
        EXPECT_EQ(error.code == 0, error.reason.empty());
        EXPECT_EQ(result.status == S_OK, first(result.document, "/*").p != nullptr);
        textsOf(result.document, "//node() | //@*");
    }
    std::remove(path.c_str());
}

}  // namespace
}  // namespace dom_test
