#include "document_findings.h"

#include "load_findings.h"
#include "tools/check/fold.h"
#include "tools/check/suppressions.h"

#include <algorithm>
#include <utility>

namespace cxml {
namespace {

// Whether it has a root whose content configures symbology.
bool isConfiguration(IXMLDOMDocument* dom) {
    CComPtr<IXMLDOMNode> root;
    return dom && dom->selectSingleNode(CComBSTR(OLESTR("/conditionMap/@name")), &root) == S_OK && root;
}

// Loading ends at the first failure, the checks go on. What loading itself has not read is asked before the checks
// read the tree too; of a document that did not load, what they have not read is what nothing reads.
void findIn(const Document& document, const CheckScope& scope, Findings& findings) {
    if (!document.loaded && !isConfiguration(document.dom)) return;
    if (document.loaded) checkUnread(document.dom, findings);
    checkDocument(document.dom, scope, findings);
    if (!document.loaded) checkUnread(document.dom, findings);
}

}  // namespace

std::vector<Finding> findingsOf(const Document& document, const CheckScope& scope, Sources& sources,
                                const std::vector<std::string>& leftOut) {
    Findings found(document.path);
    findIn(document, scope, found);
    const SourceText& source = sources.of(document.path);
    addLoadFindings(document, source, found);
    std::vector<Finding> findings = found.take();
    applyExpectations(source, document.path, findings);
    std::erase_if(findings,
                  [&](const Finding& finding) { return std::ranges::find(leftOut, finding.kind) != leftOut.end(); });
    return fold(std::move(findings));
}

}  // namespace cxml
