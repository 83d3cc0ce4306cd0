#include "document_check.h"

#include "checks.h"
#include "tools/s57/catalogue.h"

namespace cxml {

void checkDocument(IXMLDOMDocument* document, const CheckedDataset* dataset, const CheckedSymbols* symbols,
                   Findings& findings) {
    const DocumentModel model(document, findings);
    checkConditions(model, findings);
    checkExpressions(model, findings);
    checkQueries(model, findings);
    checkMeaning(model, findings);
    checkReach(model, findings);
    checkQualifiedNames(model, findings);
    checkS57(model, dataset ? dataset->workspace : nullptr, S57Catalogue::installed(), findings);
    if (symbols) checkSymbols(model, *symbols, findings);
    if (dataset) checkDataset(model, *dataset, findings);
}

}  // namespace cxml
