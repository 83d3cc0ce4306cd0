#include "document.h"

#include "api/document_loader.h"
#include "cxml/document_reader.h"
#include "host/velcore/class_registry.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <array>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>

#include <sha2.h>

namespace cxml {
namespace {

// Has the factory make the platform's own document and keeps a second reference to it, so that the tool looks at the
// very tree that the library reads: one parse, and the traces of the library's reading are in it.
class DocumentCapture {
public:
    explicit DocumentCapture(CComPtr<IXMLDOMDocument>& target) {
        captured = std::addressof(target);  // CComPtr gives operator& another meaning
        VelRegisterClass(CLSID_DOMDocument, create);
    }
    ~DocumentCapture() {
        VelRegisterClass(CLSID_DOMDocument, nullptr);
        captured = nullptr;
    }
    DocumentCapture(const DocumentCapture&) = delete;
    DocumentCapture& operator=(const DocumentCapture&) = delete;

private:
    static HRESULT create(DWORD, REFIID iid, void** object) {
        CComPtr<IXMLDOMDocument> made;
        const HRESULT hr = CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                                            reinterpret_cast<void**>(&made));
        if (FAILED(hr)) return hr;
        *captured = made;
        return made->QueryInterface(iid, object);
    }

    static inline CComPtr<IXMLDOMDocument>* captured = nullptr;  // a factory carries no context of its own
};

std::string parseErrorOf(IXMLDOMDocument* dom) {
    CComPtr<IXMLDOMParseError> error;
    if (!dom || dom->get_parseError(&error) != S_OK || !error) return {};
    CComBSTR reason;
    LONG line = 0;
    LONG column = 0;
    error->get_reason(&reason);
    error->get_line(&line);
    error->get_linepos(&column);
    if (reason.Length() == 0) return {};
    return line > 0 ? fmt::format("line {}, column {}: {}", line, column, toUtf8(reason)) : toUtf8(reason);
}

std::string whyRootIsRefused(IXMLDOMDocument* dom) {
    CComPtr<IXMLDOMNode> root;
    if (!dom || dom->get_documentElement(&root) != S_OK || !root) return "it has no root element";
    CComBSTR name;
    root->get_nodeName(&name);
    const std::string rootName = toUtf8(name);
    if (rootName == "ruleDefinitions")
        return "it is a rule-definitions document; only one with the root element conditionMap configures symbology";
    if (rootName != "conditionMap") return fmt::format("its root element is '{}' instead of conditionMap", rootName);
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    CComPtr<IXMLDOMNode> attribute;
    if (root->get_attributes(&attributes) != S_OK || !attributes ||
        attributes->getNamedItem(CComBSTR(OLESTR("name")), &attribute) != S_OK)
        return "its root element conditionMap has no attribute 'name'";
    return "the library gives no reason";
}

}  // namespace

std::string describe(const CAtlException& failure) {
    if (failure.m_hr == E_OUTOFMEMORY) return "out of memory";
    return fmt::format("failed with HRESULT 0x{:08X}", static_cast<ULONG>(failure.m_hr));
}

std::string whyNotParsed(const std::string& exceptionText, IXMLDOMDocument* dom) {
    std::string reason = oneLine(exceptionText);
    if (reason.empty()) reason = oneLine(parseErrorOf(dom));
    return reason.empty() ? "it cannot be read" : reason;
}

namespace {

// What SymbologyManager::loadCXML does, with an observer. A document of another kind has no path to find files by.
bool readMap(Document& document, IGPMessages* messages, Expressions expressions) {
    const CComBSTR path = toPathBstr(document.path);
    const CComPtr<IXMLDOMDocument> dom = ConditionalXml::loadDocument(path);
    if (!dom) return false;
    const bool isMap = !ConditionalXml::readHead(dom, OLESTR("/ruleDefinitions"), OLESTR("spec")) &&
                       ConditionalXml::readHead(dom, OLESTR("/conditionMap"), OLESTR("name"));
    document.map = std::make_shared<ConditionalXml::ConditionMap>();
    ConditionalXml::Reading reading{.messages = messages, .observer = &document.places};
    if (expressions == Expressions::PassedOver) reading.compile = [](ConditionalXml::Condition&) {};
    return ConditionalXml::readDocument(*document.map, isMap ? path.m_str : nullptr, dom, reading);
}

}  // namespace

std::string notLoaded(const Document& document) {
    return fmt::format("{}: {}", document.path,
                       document.reason.empty() ? "the document did not load" : document.reason);
}

namespace {

// A pipe can be read once, and the library does.
std::optional<std::string> sha256Of(const std::string& path) {
    std::error_code error;
    std::array<char, SHA256_DIGEST_STRING_LENGTH> text{};
    if (!std::filesystem::is_regular_file(path, error) || !SHA256File(path.c_str(), text.data())) return std::nullopt;
    return text.data();
}

}  // namespace

void load(Document& document, Expressions expressions) {
    document.sha256 = sha256Of(document.path);
    const DocumentCapture capture(document.dom);
    const CComPtr<IGPMessages> messages = collectInto(document.messages);
    try {
        document.loaded = readMap(document, messages, expressions);
        if (!document.loaded && document.messages.empty()) document.reason = whyRootIsRefused(document.dom);
        return;
    } catch (const CAtlException& e) {
        document.error = describe(e);
    } catch (const std::bad_alloc&) {
        document.error = "out of memory";
    } catch (const std::exception& e) {
        document.error = e.what();
    }
    document.reason = whyNotParsed(*document.error, document.dom);
}

}  // namespace cxml
