// Loading and running a document while, one after the other, every allocation of a text and every call of the host
// fails: whatever comes of it, nothing is left behind and the manager can be used again.
#include "api/faults.h"

using namespace faults;

namespace {

TEST_F(FaultsTest, sampleDocumentDoesWhatItSays) {
    SymbologyManager manager;
    const auto messages = make<Messages>();
    ASSERT_TRUE(manager.loadCXML(path, messages));
    EXPECT_EQ(messages->messages(), (vector<string>{"Operator 'near' not recognized for attribute rule.",
                                                    "Discarding condition 'BROKEN' due to rule parse failure."}));
    const Chart table;
    ASSERT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"BOYLAB\"");
    EXPECT_EQ(table->text(0, "LABEL"), "\"Annx/y\"");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"BOYGEN\"") << "it has no codes";
    EXPECT_EQ(table->text(0, "Rotate_C"), "NULL") << "the last match has no placement";
    EXPECT_EQ(table->text(2, "SYMBOL_C"), "\"BOYSUB\"");
}

TEST_F(FaultsTest, loadingWhenAnAllocationFails) {
    for (const bool allAfter : {false, true}) {
        long failures = 0;
        for (long nth = 1;; ++nth) {
            SymbologyManager manager;
            Outcome outcome{};
            {
                const AllocationFault fault(nth, allAfter);
                outcome = attempt([&] { return manager.loadCXML(path, nullptr); });
                if (!bstrAllocationFailed()) break;
            }
            ++failures;
            SCOPED_TRACE("allocation " + std::to_string(nth));
            // MSXML may do without a text of its own; what it makes of that is not ours.
            if (onPortablePlatform()) {
                EXPECT_NE(outcome, Outcome::True) << "a document that loads with a text missing is another document";
                expectWholeConditions(manager);
            }
            expectUsable(manager);
            if (HasFailure()) return;
        }
        EXPECT_GT(failures, 100) << "the document needs more texts than that";
    }
}

TEST_F(FaultsTest, runningWhenAnAllocationFails) {
    for (const bool allAfter : {false, true}) {
        long failures = 0;
        for (long nth = 1;; ++nth) {
            SymbologyManager manager;
            ASSERT_TRUE(manager.loadCXML(path, nullptr));
            const Chart table;
            const auto messages = make<Messages>();
            {
                const AllocationFault fault(nth, allAfter);
                attempt([&] { return manager.symbolize(table->featureClass(), nullptr, messages); });
                if (!bstrAllocationFailed()) break;
            }
            ++failures;
            SCOPED_TRACE("allocation " + std::to_string(nth));
            const Chart again;
            EXPECT_TRUE(manager.symbolize(again->featureClass(), nullptr, nullptr));
            EXPECT_EQ(contentOf(*again), wholeRun);
            if (HasFailure()) return;
        }
        EXPECT_GT(failures, 5);
    }
}

TEST_F(FaultsTest, singleRowWhenAnAllocationFails) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    for (long nth = 1;; ++nth) {
        const Chart table;
        const auto row = table->row(0);
        bool changed = false;
        const AllocationFault fault(nth);
        manager.symbolize(row.p, &changed, nullptr);  // lets no exception out, out of memory included
        if (!bstrAllocationFailed()) {
            EXPECT_TRUE(changed);
            EXPECT_GT(nth, 5);
            break;
        }
    }
}

TEST_F(FaultsTest, resettingWhenAnAllocationFails) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    for (long nth = 1;; ++nth) {
        const Chart table;
        const AllocationFault fault(nth);
        const Outcome outcome = attempt([&] { return manager.resetReps(table->featureClass()); });
        if (!bstrAllocationFailed()) {
            EXPECT_EQ(outcome, Outcome::True);
            break;
        }
        EXPECT_NE(outcome, Outcome::True) << nth;
    }
}

TEST_F(FaultsTest, runningWhenACallOfTheHostFails) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    const memhost::FilterClassScope filters;
    long failures = 0;
    withEachCallFailing(Op::Any, [&](const FaultScope& scope, const Fault&) {
        const Chart table;
        const auto messages = make<Messages>();
        const Outcome outcome = attempt([&] { return manager.symbolize(table->featureClass(), nullptr, messages); });
        EXPECT_TRUE(outcome == Outcome::True || outcome == Outcome::False || outcome == Outcome::OutOfMemory);
        failures += scope.hit() ? 1 : 0;
        if (!scope.hit()) {
            EXPECT_EQ(contentOf(*table), wholeRun);
        }
        EXPECT_EQ(table->references(), 2U) << "the chart and its workspace hold it, nothing of the run";
    });
    EXPECT_GT(failures, 500);
    const Chart table;
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
    EXPECT_EQ(contentOf(*table), wholeRun);
}

TEST_F(FaultsTest, selectionAndSingleRowWhenACallOfTheHostFails) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    withEachCallFailing(Op::Any, [&](const FaultScope&, const Fault&) {
        const Chart table;
        attempt([&] { return manager.symbolize(table->featureClass(), table->select({2, 3}), nullptr); });
        bool changed = false;
        const auto row = table->row(0);
        manager.symbolize(row.p, &changed, nullptr);
        attempt([&] { return manager.resetReps(table->featureClass()); });
        EXPECT_EQ(table->references(), 3U) << "the chart, its workspace and the row object hold it, nothing else";
    });
}

}  // namespace
