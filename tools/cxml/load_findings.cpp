#include "load_findings.h"

#include "tools/check/document_model.h"
#include "tools/check/markup.h"
#include "tools/text/text.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace cxml {
namespace {

// What the library says without a place, and the kinds of findings that say it with one.
struct Said {
    std::string_view beginning;
    std::vector<std::string_view> kinds;
};

const std::vector<Said>& saidElsewhere() {
    static const std::vector<Said> all{
        {"Operator '", {"operator-unknown"}},
        {"Discarding condition ", {"condition-discarded"}},
        {"Failed to get name attribute for ", {"library-unnamed"}},
        {"Failed to open CXML expression file", {"library-file"}},
        {"CXML expression file '", {"library-file"}},
        {"Encountered duplicate CXML expression name", {"library-duplicate"}},
    };
    return all;
}

class LoadFindings {
public:
    LoadFindings(const Document& document, Findings& findings) : document_(document), findings_(findings) {
        for (const Finding& finding : findings_.all()) kinds_.insert(finding.kind);
    }

    void add() {
        for (const MessageLog::Text& text : document_.messages.texts())
            if (!isSaid(text.text)) addText(text.text);
        if (document_.loaded || kinds_.contains("python-syntax")) return;
        const std::string& reason = document_.reason;
        if (!reason.empty() && !isSaid(reason)) addText(reason);
        // Whatever keeps it from loading is said.
        if (reason.empty() && findings_.all().empty()) addText("the document did not load");
    }

private:
    bool isSaid(std::string_view text) const {
        return std::ranges::any_of(saidElsewhere(), [&](const Said& said) {
            return text.starts_with(said.beginning) &&
                   std::ranges::any_of(said.kinds, [&](std::string_view kind) { return kinds_.contains(kind); });
        });
    }

    void addText(const std::string& text) {
        CComPtr<IXMLDOMNode> root;
        Spot at;
        if (document_.dom && document_.dom->get_documentElement(&root) == S_OK && root) at = spotOf(root);
        findings_.add(at, "load-message", oneLine(text));
    }

    const Document& document_;
    Findings& findings_;
    std::set<std::string_view> kinds_;
};

// The place is the parser's own; without one the document could not be read at all.
bool addParseError(const Document& document, const SourceText& source, Findings& findings) {
    CComPtr<IXMLDOMParseError> error;
    if (document.loaded || !document.dom || document.dom->get_parseError(&error) != S_OK || !error) return false;
    CComBSTR reason;
    Spot at;
    error->get_reason(&reason);
    error->get_line(&at.line);
    error->get_linepos(&at.column);
    if (reason.Length() == 0 || at.line == 0) return false;
    addNotWellFormed({{document.path, at.line, at.column}, oneLine(toUtf8(reason))}, source, findings);
    return true;
}

}  // namespace

void addLoadFindings(const Document& document, const SourceText& source, Findings& findings) {
    if (!addParseError(document, source, findings)) LoadFindings(document, findings).add();
}

}  // namespace cxml
