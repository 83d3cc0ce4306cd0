#include "document_check.h"

#include "checks.h"
#include "tools/s57/catalogue.h"

namespace cxml {

void checkDocument(IXMLDOMDocument* document, const CheckScope& scope, Findings& findings) {
    const DocumentModel model(document, findings);
    checkConditions(model, findings);
    checkExpressions(model, findings);
    checkQueries(model, findings);
    checkMeaning(model, findings);
    checkReach(model, findings);
    checkQualifiedNames(model, findings);
    if (scope.neighbours) checkNeighbours(model, findings);
    checkS57(model, scope.dataset ? scope.dataset->workspace : nullptr, S57Catalogue::installed(), findings);
    if (scope.symbols) checkSymbols(model, *scope.symbols, findings);
    if (scope.dataset) checkDataset(model, *scope.dataset, findings);
}

}  // namespace cxml
