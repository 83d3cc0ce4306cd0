// Loading a document while, one after the other, every call of the DOM fails.
#include "api/faults.h"
#include "cxml/faulty_dom.h"

using namespace faults;

namespace {

TEST_F(FaultsTest, loadingWhenACallOfTheDocumentFails) {
    const FaultyDomScope dom;
    long failures = 0;
    withEachCallFailing(Op::Document, [&](const FaultScope& scope, const Fault& fault) {
        SymbologyManager manager;
        const auto messages = make<Messages>();
        const Outcome outcome = attempt([&] { return manager.loadCXML(path, messages); });
        failures += scope.hit() ? 1 : 0;
        if (!scope.hit()) {
            EXPECT_EQ(outcome, Outcome::True);
        }
        if (fault.status == E_OUTOFMEMORY) {
            EXPECT_EQ(outcome == Outcome::True, !scope.hit()) << "a document that ran out of memory did not load";
        }
        if (FAILED(fault.status)) expectWholeConditions(manager);
        // Whatever was loaded can be run, and dropped.
        const Chart table;
        attempt([&] { return manager.symbolize(table->featureClass(), nullptr, messages); });
        manager.resetXmls();
    });
    EXPECT_GT(failures, 1000);
    SymbologyManager manager;
    expectUsable(manager);
}

}  // namespace
