// The XML DOM: which documents load, and the texts and typed values of what is in them.
#include "platform/differential/category.h"

#include <cstdio>
#include <vector>

namespace {

using differential::Random;
using differential::Report;

CComBSTR wide(std::string_view ascii) {
    return CComBSTR(static_cast<int>(ascii.size()), WideString(ascii.begin(), ascii.end()).c_str());
}

CComPtr<IXMLDOMDocument> newDocument() {
    CComPtr<IXMLDOMDocument> document;
    CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                     reinterpret_cast<void**>(&document));
    return document;
}

std::string quotedAscii(std::string_view bytes) {
    WideString text;
    for (const char c : bytes) text += static_cast<OLECHAR>(static_cast<unsigned char>(c));
    return differential::quoted(text);
}

std::string textOf(IXMLDOMNode* node) {
    CComBSTR text;
    const HRESULT status = node->get_text(&text);
    CComVariant value;
    const HRESULT typedStatus = node->get_nodeTypedValue(&value);
    std::string answer = differential::hex(status) + ' ' + differential::quotedBstr(text);
    if (typedStatus != status || value.vt != VT_BSTR || WideView(value.bstrVal) != WideView(text))
        answer += " typed " + differential::hex(typedStatus) + ' ' + differential::describe(value);
    return answer;
}

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    node->get_nodeName(&name);
    return differential::quotedBstr(name);
}

/// The element's own text, or that of the attribute with the name.
std::string answerOf(IXMLDOMNode* element, std::string_view attribute) {
    if (attribute.empty()) return nameOf(element) + ' ' + textOf(element);
    CComPtr<IXMLDOMNamedNodeMap> map;
    HRESULT status = element->get_attributes(&map);
    if (!map) return "no attributes " + differential::hex(status);
    CComPtr<IXMLDOMNode> found;
    status = map->getNamedItem(wide(attribute), &found);
    return found ? nameOf(found) + ' ' + textOf(found) : "absent " + differential::hex(status);
}

struct Question {
    std::string_view path;
    std::string_view attribute;
};

void ask(Report& report, const std::string& name, IXMLDOMDocument* document, const Question& question) {
    const std::string asked = name + " : " + std::string(question.path) + (question.attribute.empty() ? "" : " @") +
                              std::string(question.attribute);
    CComPtr<IXMLDOMNodeList> list;
    const HRESULT status = document->selectNodes(wide(question.path), &list);
    if (!list) return report.add(asked, "no list " + differential::hex(status));
    std::string answer;
    for (;;) {
        CComPtr<IXMLDOMNode> node;
        if (list->nextNode(&node) != S_OK || !node) break;
        answer += (answer.empty() ? "" : " | ") + answerOf(node, question.attribute);
    }
    report.add(asked, answer.empty() ? "nothing" : answer);
}

std::string verdict(HRESULT status, VARIANT_BOOL loaded, IXMLDOMDocument* document) {
    CComPtr<IXMLDOMParseError> error;
    LONG code = 0;
    if (SUCCEEDED(document->get_parseError(&error)) && error) error->get_errorCode(&code);
    return differential::hex(status) + (loaded == VARIANT_TRUE ? " loaded" : " not loaded") +
           (code == 0 ? "" : ", an error");
}

void addText(Report& report, std::string_view text, const std::vector<Question>& questions) {
    const CComPtr<IXMLDOMDocument> document = newDocument();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT status = document->loadXML(wide(text), &loaded);
    const std::string name = "text " + quotedAscii(text);
    report.add(name, verdict(status, loaded, document));
    for (const Question& question : questions) ask(report, name, document, question);
}

void addFile(Report& report, std::string_view label, std::string_view bytes) {
    constexpr const char* path = "differential-dom.xml";
    if (std::FILE* file = std::fopen(path, "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
    }
    const CComPtr<IXMLDOMDocument> document = newDocument();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT status = document->load(CComVariant(wide(path)), &loaded);
    std::remove(path);
    const std::string name = "file " + std::string(label) + ' ' + quotedAscii(bytes);
    report.add(name, verdict(status, loaded, document));
    ask(report, name, document, {"/a", {}});
}

void addTexts(Report& report) {
    for (const std::string_view content : {"",
                                           "x",
                                           " x ",
                                           "\n\tx \r\n",
                                           "x  y",
                                           "x\r\ny\rz",
                                           " ",
                                           "&#32;",
                                           "x&#32;",
                                           "&#32;x",
                                           "&#160;x",
                                           "&#x1F6A2;",
                                           "&lt;&amp;&gt;&quot;&apos;",
                                           "<b>x</b>",
                                           "<b/>",
                                           "<b>x</b><c>y</c>",
                                           " <b>x</b> <c>y</c> ",
                                           "\n <b>x</b>\n <e/>\n <c>y</c>\n",
                                           "x <b>y</b> z",
                                           "x<b> y </b>z",
                                           "x <b/> z",
                                           "<b>x</b> y",
                                           "x<!-- c -->y",
                                           "x <!-- c --> y",
                                           "<!-- c -->",
                                           "x<?pi z?>y",
                                           "<?pi z?> x",
                                           "<![CDATA[x]]>",
                                           "x<![CDATA[y]]>z",
                                           "<![CDATA[<b>&amp;]]>",
                                           "<![CDATA[]]>",
                                           "<![CDATA[x]]><![CDATA[y]]>",
                                           "<![CDATA[ x ]]>",
                                           " <![CDATA[ x ]]> ",
                                           "\n<![CDATA[\nx\n]]>\n",
                                           "<b><c><d>x</d></c></b>",
                                           "<b> <c> <d> x </d> </c> </b>",
                                           "<b>x</b>\n\n<b>y</b> z <c>1</c>"})
        addText(report, "<a>" + std::string(content) + "</a>", {{"/a", {}}, {"/a/b", {}}, {"a/c", {}}});
}

void addSpaces(Report& report) {
    for (const std::string_view document :
         {"<a xml:space='preserve'> x </a>", "<a xml:space='preserve'> </a>", "<a xml:space='default'> x </a>",
          "<a xml:space='preserve'> <b> x </b> </a>", "<a><b xml:space='preserve'> x </b></a>",
          "<a> <b xml:space='preserve'> x </b> </a>", "<a xml:space='preserve'><b xml:space='default'> x </b></a>"})
        addText(report, document, {{"/a", {}}, {"/a", "xml:space"}, {"/a/b", {}}});
}

void addAttributes(Report& report) {
    for (const std::string_view value : {"", "x", " x ", "x\ty", "x\ny", "x\r\ny", "x&#10;y", "x&#9;&#13;y",
                                         "&lt;&amp;&quot;", "x  y", "&#160;", "&#x1F6A2;", "'", ">"})
        addText(report, "<a b=\"" + std::string(value) + "\"/>",
                {{"/a", "b"}, {"/a/@b", {}}, {"/a", "c"}, {"//@b", {}}});
    for (const std::string_view type : {"CDATA", "NMTOKEN", "ID", "NMTOKENS"})
        addText(report, "<!DOCTYPE a [<!ATTLIST a b " + std::string(type) + " #IMPLIED>]><a b=' x  y '/>",
                {{"/a", "b"}});
    addText(report, "<!DOCTYPE a [<!ATTLIST a b CDATA 'x'>]><a/>", {{"/a", "b"}});
}

void addNames(Report& report) {
    const std::vector<Question> questions = {
        {"/a", {}},    {"/p:a", {}}, {"/*", {}},    {"/a/b", {}},  {"/*/p:b", {}}, {"/a/q:b", {}},    {"//b", {}},
        {"//p:b", {}}, {"/*", "c"},  {"/*", "p:c"}, {"/*", "q:c"}, {"//@c", {}},   {"//b[.='y']", {}}};
    for (const std::string_view document :
         {"<a c='1'><b>x</b><b>y</b></a>", "<a xmlns='u' c='1'><b>x</b></a>",
          "<a xmlns:p='u' p:c='1' c='2'><p:b>x</p:b><b>y</b></a>", "<p:a xmlns:p='u' p:c='1'><p:b>x</p:b></p:a>",
          "<a xmlns:p='u' xmlns:q='u'><p:b>x</p:b><q:b q:c='1'>y</q:b></a>",
          "<a xmlns:p='u' xmlns='v'><b xmlns=''>x</b><p:b xmlns:p='w'>y</p:b></a>", "<p:a c='1'><p:b>x</p:b></p:a>",
          "<a p:c='1'/>"})
        addText(report, document, questions);
}

void addEntities(Report& report) {
    for (const std::string_view document :
         {"<!DOCTYPE a [<!ENTITY e 'x'>]><a b='&e;'>&e;</a>", "<!DOCTYPE a [<!ENTITY e ' x '>]><a b='&e;'>&e;y&e;</a>",
          "<!DOCTYPE a [<!ENTITY e '&#60;'><!ENTITY f '[&e;]'>]><a>x</a>",
          "<!DOCTYPE a [<!ENTITY e 'x'><!ENTITY f '[&e;]'>]><a b='&f;'>&f;</a>",
          "<!DOCTYPE a [<!ENTITY e '&#38;lt;'>]><a b='&e;'>&e;</a>", "<!DOCTYPE a [<!ENTITY e '<b>x</b>'>]><a>&e;</a>",
          "<!DOCTYPE a [<!ENTITY e '<b>'>]><a>&e;</a>", "<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>", "<a>&e;</a>",
          "<a b='&e;'/>", "<a>&nbsp;</a>", "<!DOCTYPE a [<!ENTITY e SYSTEM 'no-such.txt'>]><a>&e;</a>",
          "<!DOCTYPE a [<!ENTITY e SYSTEM 'no-such.txt'>]><a>x</a>", "<!DOCTYPE a SYSTEM 'no-such.dtd'><a>x</a>",
          "<!DOCTYPE a SYSTEM 'no-such.dtd'><a>&e;</a>"})
        addText(report, document, {{"/a", {}}, {"/a", "b"}});
}

void addVerdicts(Report& report) {
    for (const std::string_view document : {"",
                                            " ",
                                            "x",
                                            "<a",
                                            "<a>",
                                            "</a>",
                                            "<a/>",
                                            " <a/>",
                                            "<a/> ",
                                            "<a/>x",
                                            "<a/><b/>",
                                            "<a></b>",
                                            "<a><b></a></b>",
                                            "<a b/>",
                                            "<a b=c/>",
                                            "<a b='1' b='2'/>",
                                            "<a b='1'c='2'/>",
                                            "<a b='<'/>",
                                            "<a>&</a>",
                                            "<a>& b</a>",
                                            "<a>&b</a>",
                                            "<a>&#0;</a>",
                                            "<a>&#1;</a>",
                                            "<a>&#xD800;</a>",
                                            "<a>&#xFFFE;</a>",
                                            "<a>&#x110000;</a>",
                                            "<a>&#99999999999;</a>",
                                            "<a>\x01</a>",
                                            "<a>]]></a>",
                                            "<a><![CDATA[</a>",
                                            "<a><!-- -- --></a>",
                                            "<a><!-- ---></a>",
                                            "<a><!--></a>",
                                            "<a><?xml x?></a>",
                                            "<a><? x?></a>",
                                            "<?xml version='1.0'?><a/>",
                                            " <?xml version='1.0'?><a/>",
                                            "<?xml version='1.1'?><a/>",
                                            "<?xml version='2.0'?><a/>",
                                            "<?xml?><a/>",
                                            "<?xml encoding='UTF-8'?><a/>",
                                            "<?xml version='1.0' standalone='yes'?><a/>",
                                            "<?xml version='1.0' standalone='x'?><a/>",
                                            "<?xml version='1.0' encoding='UTF-8'?><a/>",
                                            "<?xml version='1.0' encoding='UTF-16'?><a/>",
                                            "<?xml version='1.0' encoding='nothing'?><a/>",
                                            "<?xml version='1.0' encoding=''?><a/>",
                                            "<1a/>",
                                            "<-a/>",
                                            "<a-1/>",
                                            "<:a/>",
                                            "<a:/>",
                                            "<a:b:c/>",
                                            "< a/>",
                                            "<a />",
                                            "<a/ >",
                                            "</ a>",
                                            "<a></a >",
                                            "<a b = '1' />",
                                            "<!DOCTYPE a><a/>",
                                            "<!DOCTYPE b><a/>",
                                            "<!DOCTYPE a [<!ELEMENT a EMPTY>]><a>x</a>",
                                            "<!DOCTYPE a [<!ELEMENT>]><a/>",
                                            "<!DOCTYPE a []><!DOCTYPE a []><a/>",
                                            "<a/><!-- c -->",
                                            "<!-- c --><a/><?pi x?>",
                                            "<a xmlns=''/>",
                                            "<a xmlns:p=''/>",
                                            "<a xmlns:xml='u'/>",
                                            "<a xmlns:xmlns='u'/>",
                                            "<a xml:lang='x'/>",
                                            "<A></a>"})
        addText(report, document, {});
}

void addFiles(Report& report) {
    using namespace std::string_view_literals;
    const auto utf16 = [](std::string_view ascii, bool big) {
        std::string bytes = big ? "\xFE\xFF" : "\xFF\xFE";
        for (const char c : ascii) bytes += big ? std::string{'\0', c} : std::string{c, '\0'};
        return bytes;
    };
    const auto declared = [](std::string_view encoding, std::string_view content) {
        return "<?xml version='1.0' encoding='" + std::string(encoding) + "'?><a>" + std::string(content) + "</a>";
    };
    addFile(report, "UTF-8", "<a>\xC3\xA6 \xE2\x82\xAC \xF0\x9F\x9A\xA2</a>");
    addFile(report, "UTF-8 with mark", "\xEF\xBB\xBF<a>\xC3\xA6</a>");
    addFile(report, "UTF-8 declared", declared("UTF-8", "\xC3\xA6"));
    addFile(report, "UTF-8 declared in small letters", declared("utf-8", "\xC3\xA6"));
    addFile(report, "UTF-8 with mark declared", "\xEF\xBB\xBF" + declared("UTF-8", "\xC3\xA6"));
    addFile(report, "UTF-16 LE", utf16("<a>x</a>", false));
    addFile(report, "UTF-16 BE", utf16("<a>x</a>", true));
    addFile(report, "UTF-16 LE declared", utf16(declared("UTF-16", "x"), false));
    addFile(report, "UTF-16 BE declared", utf16(declared("UTF-16", "x"), true));
    addFile(report, "UTF-16 LE without mark", utf16(declared("UTF-16", "x"), false).substr(2));
    addFile(report, "Latin 1", declared("ISO-8859-1", "\xE6\xA4"));
    addFile(report, "windows-1252", declared("windows-1252", "\xE6\x80\x93"));
    addFile(report, "windows-1251", declared("windows-1251", "\xC4\xE0"));
    addFile(report, "US-ASCII", declared("US-ASCII", "x"));
    addFile(report, "unknown encoding", declared("nothing", "x"));
    addFile(report, "bad UTF-8", "<a>\xE6</a>");
    addFile(report, "bad UTF-8 declared", declared("UTF-8", "\xE6 "));
    addFile(report, "overlong UTF-8", "<a>\xC0\xAF</a>");
    addFile(report, "surrogate in UTF-8", "<a>\xED\xA0\x80</a>");
    addFile(report, "UTF-16 declared, bytes", declared("UTF-16", "x"));
    addFile(report, "UTF-8 declared, UTF-16", utf16(declared("UTF-8", "x"), false));
    addFile(report, "Latin 1 declared, UTF-8 with mark", "\xEF\xBB\xBF" + declared("ISO-8859-1", "\xC3\xA6"));
    addFile(report, "zero", "<a>x\0y</a>"sv);
    addFile(report, "zero after the end", "<a>x</a>\0"sv);
    addFile(report, "empty", "");
    addFile(report, "space before declaration", " <?xml version='1.0'?><a/>");
}

/// A piece of a document. References stand between letters: Wine drops white space next to them.
std::string randomContent(Random& random, int depth) {
    constexpr std::string_view texts[] = {"x", "two words", "\n  ", " y ", "a&amp;b", "p&#65;q", "r&e;s", "1.5", "\t"};
    std::string content;
    for (std::uint32_t pieces = random.below(4); pieces > 0; --pieces) {
        if (depth > 0 && random.oneIn(2)) {
            const char* const names[] = {"a", "b", "p:c"};
            const std::string name = random.pick(names);
            const char* const attributes[] = {"", " v=' w '", " p:v=\"&e;\"", " v='1' w='&#9;2'"};
            content +=
                '<' + name + random.pick(attributes) + '>' + randomContent(random, depth - 1) + "</" + name + '>';
        } else if (random.oneIn(8)) {
            content += random.oneIn(2) ? "<!-- note -->" : "<![CDATA[<c>]]>";
        } else {
            content += random.pick(texts);
        }
    }
    return content;
}

std::string randomDocument(Random& random) {
    return "<!DOCTYPE a [<!ENTITY e 'ent'>]><a xmlns:p='u'>" + randomContent(random, 3) + "</a>";
}

void mutate(std::string& text, Random& random) {
    constexpr char pieces[] = "<>&;'\"/!?[]-=: axb\n";
    // The declarations stay: Wine does not see an undeclared prefix as an error.
    const std::size_t content = text.find("'u'>") + 4;
    const std::size_t at = content + random.below(static_cast<std::uint32_t>(text.size() - content));
    const char piece = pieces[random.below(sizeof pieces - 1)];
    if (random.oneIn(3))
        text.erase(at, 1 + random.below(3));
    else if (random.oneIn(2))
        text.insert(at, 1, piece);
    else
        text[at] = piece;
}

void runDom(Report& report, Random& random, long randomCases) {
    addTexts(report);
    addSpaces(report);
    addAttributes(report);
    addNames(report);
    addEntities(report);
    addVerdicts(report);
    addFiles(report);
    for (long i = 0; i < randomCases; ++i) {
        std::string text = randomDocument(random);
        if (random.oneIn(2)) mutate(text, random);
        addText(report, text, {{"/a", {}}, {"//b", {}}, {"//a", "v"}, {"//p:c", "p:v"}, {"//@w", {}}});
    }
}

const differential::Registration dom("dom", 2000, runDom);

}  // namespace
