#include "document_check.h"

#include "checks.h"

namespace cxml {

void checkDocument(IXMLDOMDocument* document, const CheckedDataset* dataset, Findings& findings) {
    const DocumentModel model(document, findings);
    checkConditions(model, findings);
    checkExpressions(model, findings);
    checkQueries(model, findings);
    checkReach(model, findings);
    checkMeaning(model, findings);
    checkQualifiedNames(model, findings);
    if (dataset) checkDataset(model, *dataset->workspace, dataset->name, findings);
}

}  // namespace cxml
