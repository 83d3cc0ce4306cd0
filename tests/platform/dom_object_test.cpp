// What holds for the objects of the DOM as COM objects, and what they remember about being read.
#include "platform/dom_support.h"

#include <gtest/gtest.h>
#include <thread>

namespace dom_test {
namespace {

CComPtr<INodeTrace> traceOf(IXMLDOMNode* node) {
    CComPtr<INodeTrace> trace;
    EXPECT_EQ(node->QueryInterface(&trace), S_OK);
    return trace;
}

template <class Interface>
Interface* garbage() {
    return reinterpret_cast<Interface*>(1);
}

/// The object offers the interface, and each way round leads to the same identity.
template <class Interface>
void expectIdentity(IUnknown* object) {
    CComPtr<Interface> offered;
    ASSERT_EQ(object->QueryInterface(&offered), S_OK);
    CComPtr<IUnknown> identity;
    ASSERT_EQ(object->QueryInterface(&identity), S_OK);
    CComPtr<IUnknown> back;
    ASSERT_EQ(offered->QueryInterface(__uuidof(IUnknown), reinterpret_cast<void**>(&back)), S_OK);
    EXPECT_EQ(identity.p, back.p);
}

TEST(DomObjects, KeepTheirIdentity) {
    const CComPtr<IXMLDOMDocument> document = parse("<a x='1'/>");
    expectIdentity<IXMLDOMDocument>(document);
    expectIdentity<IXMLDOMNode>(document);
    expectIdentity<INodeTrace>(document);
    const CComPtr<IXMLDOMNode> node = first(document, "/a");
    expectIdentity<IXMLDOMNode>(node);
    expectIdentity<INodeTrace>(node);
    expectIdentity<IXMLDOMNodeList>(all(document, "/a"));
    CComPtr<IXMLDOMNamedNodeMap> map;
    ASSERT_EQ(node->get_attributes(&map), S_OK);
    expectIdentity<IXMLDOMNamedNodeMap>(map);
    CComPtr<IXMLDOMParseError> error;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    expectIdentity<IXMLDOMParseError>(error);
}

TEST(DomObjects, RefuseOtherInterfaces) {
    const CComPtr<IXMLDOMDocument> document = newDocument();
    void* object = garbage<void>();
    EXPECT_EQ(document->QueryInterface(__uuidof(IXMLDOMNodeList), &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(document->QueryInterface(__uuidof(IUnknown), nullptr), E_POINTER);
    object = garbage<void>();
    EXPECT_EQ(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMNodeList), &object),
              E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

TEST(DomObjects, RefuseNullArguments) {
    const CComPtr<IXMLDOMDocument> document = parse("<a x='1'/>");
    const CComPtr<IXMLDOMNode> node = first(document, "/a");
    const CComBSTR path(OLESTR("/a"));
    EXPECT_EQ(node->get_nodeName(nullptr), E_INVALIDARG);
    EXPECT_EQ(node->get_text(nullptr), E_INVALIDARG);
    EXPECT_EQ(node->get_nodeTypedValue(nullptr), E_INVALIDARG);
    EXPECT_EQ(node->get_attributes(nullptr), E_INVALIDARG);
    EXPECT_EQ(node->selectNodes(path, nullptr), E_INVALIDARG);
    EXPECT_EQ(node->selectSingleNode(path, nullptr), E_INVALIDARG);
    auto* list = garbage<IXMLDOMNodeList>();
    EXPECT_EQ(node->selectNodes(nullptr, &list), E_INVALIDARG);
    EXPECT_EQ(list, nullptr);
    auto* single = garbage<IXMLDOMNode>();
    EXPECT_EQ(node->selectSingleNode(nullptr, &single), E_INVALIDARG);
    EXPECT_EQ(single, nullptr);
    EXPECT_EQ(document->get_documentElement(nullptr), E_INVALIDARG);
    EXPECT_EQ(document->get_parseError(nullptr), E_INVALIDARG);
    EXPECT_EQ(document->load(CComVariant(OLESTR("a")), nullptr), E_POINTER);
    EXPECT_EQ(document->loadXML(path, nullptr), E_POINTER);

    const CComPtr<IXMLDOMNodeList> nodes = all(document, "/a");
    EXPECT_EQ(nodes->get_item(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(nodes->get_length(nullptr), E_INVALIDARG);
    EXPECT_EQ(nodes->nextNode(nullptr), E_INVALIDARG);
    CComPtr<IXMLDOMNamedNodeMap> map;
    ASSERT_EQ(node->get_attributes(&map), S_OK);
    EXPECT_EQ(map->getNamedItem(path, nullptr), E_INVALIDARG);
    single = garbage<IXMLDOMNode>();
    EXPECT_EQ(map->getNamedItem(nullptr, &single), E_INVALIDARG);
    EXPECT_EQ(single, nullptr);
    EXPECT_EQ(map->get_item(0, nullptr), E_INVALIDARG);
    EXPECT_EQ(map->get_length(nullptr), E_INVALIDARG);
    CComPtr<IXMLDOMParseError> error;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    EXPECT_EQ(error->get_errorCode(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->get_reason(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->get_srcText(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->get_line(nullptr), E_INVALIDARG);
    EXPECT_EQ(error->get_linepos(nullptr), E_INVALIDARG);
    const CComPtr<INodeTrace> trace = traceOf(node);
    EXPECT_EQ(trace->get_line(nullptr), E_INVALIDARG);
    EXPECT_EQ(trace->get_wasRead(nullptr), E_INVALIDARG);
    EXPECT_EQ(trace->get_childElements(nullptr), E_INVALIDARG);
    EXPECT_EQ(trace->get_allAttributes(nullptr), E_INVALIDARG);
    EXPECT_EQ(trace->get_textLine(nullptr), E_INVALIDARG);
    EXPECT_EQ(trace->get_column(nullptr), E_INVALIDARG);
}

bool wasRead(IXMLDOMNode* node) {
    VARIANT_BOOL read = VARIANT_FALSE;
    EXPECT_EQ(traceOf(node)->get_wasRead(&read), S_OK);
    return read == VARIANT_TRUE;
}

/// Names of the elements and attributes below the node that nobody has read.
std::string unread(IXMLDOMNode* node) {
    std::string names;
    CComPtr<IXMLDOMNodeList> attributes;
    EXPECT_EQ(traceOf(node)->get_allAttributes(&attributes), S_OK);
    for (const auto& attribute : nodesOf(attributes))
        if (!wasRead(attribute)) names += '@' + nameOf(attribute) + ' ';
    CComPtr<IXMLDOMNodeList> children;
    EXPECT_EQ(traceOf(node)->get_childElements(&children), S_OK);
    for (const auto& child : nodesOf(children)) {
        if (!wasRead(child)) names += nameOf(child) + ' ';
        names += unread(child);
    }
    return names;
}

TEST(DomTrace, TellsWhatWasRead) {
    const CComPtr<IXMLDOMDocument> document =
        parse("<a xmlns='u' xmlns:p='v' x='1' y='2'><b z='3'/><b/><c/><d w='4'/></a>");
    EXPECT_EQ(unread(document), "a @x @y b @z b c d @w ");
    EXPECT_EQ(unread(document), "a @x @y b @z b c d @w ") << "walking is not reading";
    const CComPtr<IXMLDOMNode> root = first(document, "/a");
    EXPECT_EQ(attributeOf(root, "x"), "1");
    EXPECT_EQ(attributeOf(root, "q"), "(absent)");
    EXPECT_EQ(unread(document), "@y b @z b c d @w ");
    const CComPtr<IXMLDOMNodeList> list = all(root, "b");
    EXPECT_EQ(unread(document), "@y b @z b c d @w ") << "selected, but not taken";
    CComPtr<IXMLDOMNode> taken;
    ASSERT_EQ(list->nextNode(&taken), S_OK);
    EXPECT_EQ(unread(document), "@y @z b c d @w ");
    EXPECT_EQ(textsOf(root, "d/@w | b"), "4");
    EXPECT_EQ(unread(document), "@y @z c d ");
}

TEST(DomTrace, ForgetsWithTheNextLoad) {
    const CComPtr<IXMLDOMDocument> document = parse("<a/>");
    first(document, "/a");
    EXPECT_EQ(unread(document), "");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    ASSERT_EQ(document->loadXML(wide("<a/>"), &loaded), S_OK);
    EXPECT_EQ(unread(document), "a ");
}

LONG lineOf(IXMLDOMNode* node) {
    LONG line = -1;
    EXPECT_EQ(traceOf(node)->get_line(&line), S_OK);
    return line;
}

struct TextLine {
    const char* name;
    const char* document;  // with an element t
    LONG line;
};

void PrintTo(const TextLine& text, std::ostream* out) {
    *out << text.name;
}

class DomTextLine : public testing::TestWithParam<TextLine> {};

TEST_P(DomTextLine, IsWhereTheValueBegins) {
    LONG line = -1;
    EXPECT_EQ(traceOf(first(parse(GetParam().document), "//t"))->get_textLine(&line), S_OK);
    EXPECT_EQ(line, GetParam().line);
}

const TextLine textLines[] = {
    {"OnTheLineOfTheTag", "<a>\n<t>x\ny</t></a>", 2},
    {"BehindATagOfManyLines", "<a>\n<t\nb='1'\n>x</t></a>", 4},
    {"BehindBlankLines", "<a>\r\n<t>\r\n\r\n  x\r\ny\r\n</t></a>", 4},
    {"BlankLinesThatCount", "<a>\n<t xml:space='preserve'>\n\n  x</t></a>", 2},
    {"BlankLinesOfASection", "<a>\n<t><![CDATA[\n\nx]]></t></a>", 2},
    {"SectionBehindABlankLine", "<a>\n<t>\n<![CDATA[x\ny\nz]]></t></a>", 3},
    {"BehindAComment", "<a>\n<t><!-- \n --><!-- -->x</t></a>", 3},
    {"Empty", "<a>\n<t/></a>", 0},
    {"OnlyBlank", "<a>\n<t>\n </t></a>", 0},
    {"OfAnEntity", "<!DOCTYPE a [\n<!ENTITY e 'x\ny'>\n]>\n<a>\n<t>&e;</t></a>", 0},
};

INSTANTIATE_TEST_SUITE_P(All, DomTextLine, testing::ValuesIn(textLines),
                         [](const auto& tested) { return tested.param.name; });

TEST(DomTrace, TellsWhereALongTextBegins) {
    std::string text;
    for (int i = 0; i < 20'000; ++i) text += "x &lt; y\n";  // the parser hands it on in pieces
    LONG line = -1;
    EXPECT_EQ(traceOf(first(parse("<a>\n<t>\n" + text + "</t></a>"), "/a/t"))->get_textLine(&line), S_OK);
    EXPECT_EQ(line, 3);
}

TEST(DomTrace, TellsLines) {
    const CComPtr<IXMLDOMDocument> document = parse(
        "<?xml version='1.0'?>\n<!DOCTYPE a [\n<!ENTITY e '<f/>'>\n]>\n<a\n  x='1'\n  y='2'>\n  <b/><c\n/>\n"
        "&e;<d>\r\ntext</d></a>");
    EXPECT_EQ(lineOf(document), 0);
    EXPECT_EQ(lineOf(first(document, "/a")), 5) << "where the tag begins";
    EXPECT_EQ(lineOf(first(document, "/a/@x")), 6);
    EXPECT_EQ(lineOf(first(document, "/a/@y")), 7);
    EXPECT_EQ(lineOf(first(document, "/a/b")), 8);
    EXPECT_EQ(lineOf(first(document, "/a/c")), 8);
    EXPECT_EQ(lineOf(first(document, "/a/d")), 10);
    EXPECT_EQ(lineOf(first(document, "/a/d/text()")), 10);
    EXPECT_EQ(lineOf(first(document, "/a/f")), 0) << "the text of an entity has no line";
}

TEST(DomTrace, LinesBeyondSixteenBits) {
    std::string text = "<a>";
    text.append(70000, '\n');
    text += "<b/>\n<c x='1'/>";
    text.append(70000, '\n');
    text += "<d>text</d></a>";
    const CComPtr<IXMLDOMDocument> document = parse(text);
    EXPECT_EQ(lineOf(first(document, "/a")), 1);
    EXPECT_EQ(lineOf(first(document, "/a/b")), 70001);
    EXPECT_EQ(lineOf(first(document, "/a/c/@x")), 70002);
    EXPECT_EQ(lineOf(first(document, "/a/d")), 140002);
}

/// "line:column" of what the path selects.
std::string placeOf(IXMLDOMDocument* document, const char* path) {
    const CComPtr<IXMLDOMNode> node = first(document, path);
    LONG column = -1;
    EXPECT_EQ(traceOf(node)->get_column(&column), S_OK);
    return std::to_string(lineOf(node)) + ':' + std::to_string(column);
}

TEST(DomTrace, TellsColumns) {
    const CComPtr<IXMLDOMDocument> document = parse(
        "<!DOCTYPE a [\n<!ENTITY e '<f x=\"1\"/>'>\n<!ATTLIST a z CDATA '9'>\n]>\r\n"
        "<a x='1' xmlns:p='u'\tp:y = \"a>b='\"\n w='&#10;'>\xc3\xa4\xf0\x9f\x9a\xa2<b/><!-- <c/>\n --><![CDATA[<c/>]]>"
        "<c\nx='2'/>&e;<d/></a>");
    const std::pair<const char*, const char*> places[] = {
        {"/a", "5:1"},    {"/a/@x", "5:4"},   {"/a/@p:y", "5:22"},
        {"/a/@w", "6:2"}, {"/a/@z", "5:1"},  // the declaration has it
        {"/a/b", "6:14"},                    // behind a character of two bytes and one of four
        {"/a/c", "7:21"}, {"/a/c/@x", "8:1"}, {"/a/d", "8:11"},
        {"/a/f", "0:0"},  {"/a/f/@x", "0:0"},  // in the text of an entity
    };
    for (const auto& [path, place] : places) EXPECT_EQ(placeOf(document, path), place) << path;
}

// The parser holds a window of the text only.
TEST(DomTrace, ColumnsOfLongLinesAndLateOnes) {
    const std::string blanks(100'000, ' ');
    std::string text = "<a><b>" + blanks + "</b><!--" + blanks + "--><c x='" + blanks + "' y='1'/>";
    for (int i = 0; i < 70'000; ++i) text += "\xc3\xa4\n";
    text += "\xc3\xa4<d/></a>";
    const CComPtr<IXMLDOMDocument> document = parse(text);
    EXPECT_EQ(placeOf(document, "/a/b"), "1:4");
    EXPECT_EQ(placeOf(document, "/a/c"), "1:200018");
    EXPECT_EQ(placeOf(document, "/a/c/@y"), "1:300026");
    EXPECT_EQ(placeOf(document, "/a/d"), "70001:2");
}

TEST(DomThreads, DocumentsOfTheirOwn) {
    const auto work = [] {
        for (int i = 0; i < 200; ++i) {
            const Loaded good = loadText("<!DOCTYPE a [<!ENTITY e 'x'>]><a><b c='1'>&e;</b></a>");
            EXPECT_EQ(textsOf(good.document, "//b[@c='1']"), "x");
            const Loaded bad = loadText("<a>\n<b></a>");
            EXPECT_EQ(errorOf(bad.document).line, 2);
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace dom_test
