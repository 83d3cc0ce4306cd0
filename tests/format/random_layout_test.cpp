// Random documents in random layouts: elements known and unknown, in each other as the language has them or not, with
// comments, sections, instructions and white space wherever they may stand.
#include "model_text.h"
#include "tools/format/layout.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <initializer_list>
#include <random>
#include <regex>
#include <string>
#include <utility>
#include <vector>

namespace {

using std::string;

class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed), lineEnd_(seed % 4 == 0 ? "\r\n" : "\n") {}

    string document() {
        string text = oneIn(2) ? "<?xml version='1.0'?>" + gap() : "";
        if (oneIn(3)) {
            documentType = "<!DOCTYPE conditionMap [" + gap() + "<!-- ]> ' -->" + gap() + "<!ENTITY safety \"10\">" +
                           gap() + "<!ENTITY part \"<condition rulename='PART'/>\">" + gap() + "]>";
            text += documentType + gap();
        }
        text += rest();
        text += element("conditionMap", {{"name", "Random"}, {"alias", "A &amp; B"}}, many(3, [this] {
                            return oneIn(4) ? element("functionLibrary", {}, {piece(), piece()}) : featureClass();
                        }));
        return text + rest();
    }

    string documentType;

private:
    using Attributes = std::vector<std::pair<string, string>>;

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    bool oneIn(unsigned count) { return below(count) == 0; }
    string pick(std::initializer_list<const char*> words) {
        return words.begin()[below(static_cast<unsigned>(words.size()))];
    }

    template <class Make>
    std::vector<string> many(unsigned most, const Make& make) {
        std::vector<string> all;
        for (unsigned i = below(most + 1); i > 0; --i) all.push_back(make());
        return all;
    }

    string gap() {
        string text;
        for (unsigned i = below(4); i > 0; --i) text += pick({" ", "\t", "", "  "}) + (oneIn(2) ? lineEnd_ : "");
        return text;
    }
    // What may stand between elements.
    string rest() {
        string text = gap();
        while (oneIn(4)) text += pick({"<!-- a > b -->", "<!-- two\n   lines -->", "<?do x > y?>", "<!---->"}) + gap();
        return text;
    }

    // Without its end.
    string startTag(const string& name, Attributes attributes) {
        std::ranges::shuffle(attributes, random_);
        string text = '<' + name;
        for (const auto& [attribute, value] : attributes) {
            if (oneIn(8)) continue;
            const string quote = value.find('"') == string::npos && oneIn(2) ? "\"" : "'";
            text += (oneIn(3) ? lineEnd_ + "   " : " ") + attribute + pick({"=", " =", "= ", "\n=\n"}) + quote + value +
                    quote;
        }
        if (oneIn(12)) text += " xml:space='preserve'";
        if (oneIn(12)) text += " unknown='x'";
        return text + pick({"", " ", "\n"});
    }

    string element(const string& name, const Attributes& attributes, const std::vector<string>& children) {
        const string start = startTag(name, attributes);
        string content = children.empty() && oneIn(2) ? "" : rest();
        for (const string& child : children) content += child + rest();
        if (oneIn(25)) content += pick({"stray text", "<![CDATA[<a]]>", "&#32;", "&amp;"}) + gap();
        if (!documentType.empty() && oneIn(25)) content += "&part;" + gap();
        if (content.empty() && oneIn(2)) return start + "/>";
        return start + '>' + content + "</" + name + pick({"", " ", "\n"}) + '>';
    }

    // An element with text: what is in it counts to the last blank.
    string withText(const string& name, const Attributes& attributes, const string& text) {
        return startTag(name, attributes) + '>' + text + "</" + name + pick({"", " ", "\n"}) + '>';
    }

    string source() {
        return pick({"def Generate(F):\n\treturn '  '", "  \n x = 1 \n\n\n",
                     "<![CDATA[\nif a < b:\n    c = 'x  y'\n]]>", "a<!-- no code -->b", "", " ",
                     "<![CDATA[]]>\n  <![CDATA[ ]]>", "x &lt; 1 &#10; y", "\n<b>  in  </b>\n", "\n\n\n"});
    }
    string piece() { return withText("expression", {{"name", "P" + std::to_string(below(3))}}, source()); }

    string featureClass() {
        return element("featureClass", {{"name", pick({"BUOY", "Buoy", "LIGHT"})}}, many(5, [this] {
                           return oneIn(4)   ? element("subtype", {{"number", pick({"1,2", "2", " 3 "})}},
                                                       many(3, [this] { return condition(0); }))
                                  : oneIn(9) ? element("unknown", {}, many(2, [this] { return condition(2); }))
                                             : condition(0);
                       }));
    }

    string condition(unsigned depth) {
        Attributes attributes{{"rulename", pick({"A", "B&#10;", " C  D "})}};
        if (oneIn(3)) attributes.insert(attributes.end(), {{"xoffset", "1.5"}, {"angle", pick({"90", "x"})}});
        if (oneIn(3)) attributes.insert(attributes.end(), {{"type", "2"}, {"field", "LABEL"}});
        std::vector<string> children = many(3, [&] { return rule(depth); });
        if (oneIn(3)) children.push_back(withText("expression", {{"library", "P1"}}, source()));
        return element("condition", attributes, children);
    }

    string value() {
        return withText("value", {},
                        pick({"1", " 2 ", "\n3\n", "<![CDATA[ 4 ]]>", "", " ", "'5'", "NULL", "a<!-- -->b", "6 7"}));
    }

    string rule(unsigned depth) {
        if (oneIn(4)) {
            std::vector<string> children{
                withText("query", {}, pick({"A = '%s'", "\n A  =  %s\n", "<![CDATA[A < 1]]>"})),
                element("params", {}, many(3, [this] { return element("param", {{"value", "F"}}, {}); })),
                element("fields", {},
                        many(2, [this] { return element("field", {{"name", "F"}, {"alias", "T.F"}}, {}); }))};
            return element(
                "rule",
                {{"type", "Q"}, {"operator", pick({"exists", "fetch"})}, {"table", "T"}, {"selectOption", "multiple"}},
                children);
        }
        Attributes attributes{
            {"type", pick({"A", "L", "B"})}, {"operator", pick({"equal", "containsany", "lt"})}, {"field", "F"}};
        if (oneIn(3))
            attributes.emplace_back("value", !documentType.empty() && oneIn(2)
                                                 ? "&safety;"
                                                 : pick({"1", " a  b ", "x\ny", "&lt;&#9;", "a > b", "\"q\""}));
        std::vector<string> children = many(3, [this] { return value(); });
        if (depth < 2 && oneIn(3)) children.push_back(condition(depth + 1));
        return element("rule", attributes, children);
    }

    std::mt19937 random_;
    string lineEnd_;
};

// Comments, sections and instructions, in order.
std::vector<string> notElements(const string& text) {
    static const std::regex pattern(R"(<!--[^]*?-->|<!\[CDATA\[[^]*?\]\]>|<\?[^]*?\?>)");
    std::vector<string> all;
    for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found)
        all.push_back(found->str());
    return all;
}

class RandomLayout : public testing::TestWithParam<unsigned> {};

TEST_P(RandomLayout, meansTheSameAndTwiceIsOnce) {
    unsigned loaded = 0;
    for (unsigned i = 0; i < 150; ++i) {
        const unsigned seed = GetParam() * 1000 + i;
        Generator generator(seed);
        const string before = generator.document();
        const string after = cxml::laidOut(before);
        const string model = modelText(before, "document.cxml");
        if (model.starts_with("loaded") && model.find(" condition ") != string::npos) ++loaded;
        ASSERT_EQ(modelText(after, "document.cxml"), model) << seed << '\n' << before << "\n----\n" << after;
        ASSERT_EQ(cxml::laidOut(after), after) << seed << '\n' << before;
        ASSERT_EQ(notElements(after), notElements(before)) << seed;
        ASSERT_NE(after.find(generator.documentType), string::npos) << seed;
    }
    EXPECT_GT(loaded, 40U) << "most of them mean nothing";
}

INSTANTIATE_TEST_SUITE_P(All, RandomLayout, testing::Range(1U, 9U));

}  // namespace
