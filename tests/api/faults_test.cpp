// Loading and running a document while, one after the other, every allocation and every call of the host fails:
// whatever comes of it, nothing is left behind and the manager can be used again.
#include "api/faults.h"

#include <gmock/gmock.h>
#include <set>

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
    withEachAllocationFailing(100, [&](const MemoryPlan& plan) {
        SymbologyManager manager;
        Outcome outcome{};
        bool hit = false;
        {
            const MemoryFault fault(plan);
            outcome = attempt([&] { return manager.loadCXML(path, nullptr); });
            hit = fault.hit();
        }
        // MSXML may do without a text of its own; what it makes of that is not ours.
        if (onPortablePlatform()) {
            EXPECT_EQ(outcome, hit ? Outcome::OutOfMemory : Outcome::True);
            expectWholeConditions(manager);
        }
        expectUsable(manager);
        return hit;
    });
}

TEST_F(FaultsTest, loadingWhatDoesNotLoadWhenAnAllocationFails) {
    const TemporaryFolder folder;
    folder.write("lib.py", "def f(): return 1");
    const struct {
        const char* name;
        const char* xml;
        Outcome outcome;
    } rows[] = {
        {"not well formed", "<conditionMap name='m'><featureClass></conditionMap>", Outcome::RuntimeError},
        {"library file that is nowhere",
         "<conditionMap name='m'><functionLibrary><expressionFile name='a'>lib.py</expressionFile>"
         "<expressionFile name='b'>none.py</expressionFile></functionLibrary></conditionMap>",
         Outcome::False},
        {"name that is taken",
         "<conditionMap name='m'><functionLibrary><expression name='a'>x = 1</expression>"
         "<expressionFile name='a'>lib.py</expressionFile></functionLibrary></conditionMap>",
         Outcome::RuntimeError},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const CComBSTR broken = bstr(folder.write("broken.xml", row.xml));
        // MSXML has its own allocator.
        const long least = onPortablePlatform() ? 3 : 1;
        withEachAllocationFailing(least, [&](const MemoryPlan& plan) {
            SymbologyManager manager;
            Outcome outcome{};
            bool hit = false;
            {
                const MemoryFault fault(plan);
                outcome = attempt([&] { return manager.loadCXML(broken, nullptr); });
                hit = fault.hit();
            }
            if (onPortablePlatform()) {
                EXPECT_EQ(outcome, hit ? Outcome::OutOfMemory : row.outcome);
            }
            return hit;
        });
    }
}

/// Each row is as it was or as a whole run leaves it: a run that ends early must not have written what it did not know.
TEST_F(FaultsTest, runningWhenAnAllocationFails) {
    for (const WorkspaceType type : {workspaceLocalDatabase, workspaceRemoteDatabase}) {
        SCOPED_TRACE("workspace of type " + std::to_string(type));
        withEachAllocationFailing(5, [&](const MemoryPlan& plan) {
            SymbologyManager manager;
            EXPECT_TRUE(manager.loadCXML(path, nullptr));
            const Chart table(type);
            const auto messages = make<Messages>();
            Outcome outcome{};
            bool hit = false;
            {
                const MemoryFault fault(plan);
                outcome = attempt([&] { return manager.symbolize(table->featureClass(), nullptr, messages); });
                hit = fault.hit();
            }
            const vector<string> content = contentOf(*table);
            for (std::size_t row = 0; row < content.size(); ++row) {
                EXPECT_THAT(content[row], testing::AnyOf(before[row], wholeRun[row]));
            }
            if (outcome != Outcome::OutOfMemory) {  // a message that the collection could not take is no failure
                EXPECT_EQ(outcome, Outcome::True);
                EXPECT_EQ(content, wholeRun);
            }
            EXPECT_EQ(table->references(), 2U) << "the chart and its workspace hold it, nothing of the run";
            const Chart again;
            EXPECT_TRUE(manager.symbolize(again->featureClass(), nullptr, nullptr));
            EXPECT_EQ(contentOf(*again), wholeRun);
            return hit;
        });
    }
}

TEST_F(FaultsTest, singleRowWhenAnAllocationFails) {
    withEachAllocationFailing(5, [&](const MemoryPlan& plan) {
        SymbologyManager manager;
        EXPECT_TRUE(manager.loadCXML(path, nullptr));
        const Chart table;
        const auto row = table->row(0);
        bool changed = false;
        bool handled = false;
        bool hit = false;
        {
            const MemoryFault fault(plan);
            handled = manager.symbolize(row.p, &changed, nullptr);  // lets no exception out, out of memory included
            hit = fault.hit();
        }
        EXPECT_EQ(handled, !hit);
        EXPECT_EQ(changed, !hit);
        if (handled) {
            EXPECT_EQ(row->Store(), S_OK);
            EXPECT_EQ(contentOf(*table)[0], wholeRun[0]);
        }
        return hit;
    });
}

TEST_F(FaultsTest, resettingWhenAnAllocationFails) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    withEachAllocationFailing(1, [&](const MemoryPlan& plan) {
        const Chart table;
        Outcome outcome{};
        bool hit = false;
        {
            const MemoryFault fault(plan);
            outcome = attempt([&] { return manager.resetReps(table->featureClass()); });
            hit = fault.hit();
        }
        EXPECT_EQ(outcome, hit ? Outcome::OutOfMemory : Outcome::True);
        return hit;
    });
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

/// The operations whose status counts: a message is sent whatever the answer, and an interface may be missing.
vector<Op> operations() {
    vector<Op> all;
    for (unsigned op = 0; op < static_cast<unsigned>(Op::Count); ++op) all.push_back(static_cast<Op>(op));
    std::erase_if(all, [](Op op) {
        return op == Op::Any || op == Op::QueryInterface || op == Op::AddMessage || op == Op::AddError ||
               op == Op::Document;
    });
    return all;
}

/// Calls `body` with each operation in each kind of workspace. \param least how many of them the body has to need.
void withEachOperation(std::size_t least, const std::function<bool(Op, WorkspaceType)>& body) {
    std::set<Op> needed;
    for (const WorkspaceType type : {workspaceLocalDatabase, workspaceRemoteDatabase})
        for (const Op op : operations()) {
            SCOPED_TRACE("operation " + std::to_string(static_cast<unsigned>(op)) + ", workspace of type " +
                         std::to_string(type));
            if (body(op, type)) needed.insert(op);
        }
    EXPECT_GE(needed.size(), least);
}

TEST_F(FaultsTest, memoryThatRunsOutInTheHostIsNeverAnAnswer) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    const memhost::FilterClassScope filters;
    const struct {
        const char* name;
        std::size_t operations;  // at least
        std::function<Outcome(const Chart&)> work;
        Outcome outcome;
    } rows[] = {
        {"run", 24,
         [&](const Chart& table) {
             return attempt([&] { return manager.symbolize(table->featureClass(), nullptr, nullptr); });
         },
         Outcome::OutOfMemory},
        {"selection", 24,
         [&](const Chart& table) {
             const auto selection = table->select({1, 2, 3});
             return attempt([&] { return manager.symbolize(table->featureClass(), selection, nullptr); });
         },
         Outcome::OutOfMemory},
        {"single row", 18,
         [&](const Chart& table) {
             bool changed = false;
             const auto row = table->row(0);
             return attempt([&] { return manager.symbolize(row.p, &changed, nullptr); });
         },
         Outcome::False},
        {"reset", 5,
         [&](const Chart& table) { return attempt([&] { return manager.resetReps(table->featureClass()); }); },
         Outcome::OutOfMemory},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        withEachOperation(row.operations, [&](Op op, WorkspaceType type) {
            for (long nth = 1;; ++nth) {
                const Chart table(type);
                const FaultScope fault({.op = op, .status = E_OUTOFMEMORY, .nth = nth});
                const Outcome outcome = row.work(table);
                if (!fault.hit()) return nth > 1;
                EXPECT_EQ(outcome, row.outcome) << "call " << nth;
            }
        });
    }
}

TEST_F(FaultsTest, anySuccessOfTheHostIsOne) {
    SymbologyManager manager;
    ASSERT_TRUE(manager.loadCXML(path, nullptr));
    const memhost::FilterClassScope filters;
    withEachOperation(22, [&](Op op, WorkspaceType type) {
        if (op == Op::CursorNextRow || op == Op::IdsNext) return false;  // theirs is the end
        const Chart table(type);
        const FaultScope fault({.op = op, .status = S_FALSE, .everAfter = true, .out = Out::Filled});
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
        EXPECT_EQ(contentOf(*table), wholeRun);
        bool changed = false;
        const auto row = table->row(1);
        EXPECT_TRUE(manager.symbolize(row.p, &changed, nullptr));
        EXPECT_TRUE(manager.resetReps(table->featureClass()));
        EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
        EXPECT_EQ(table->text(0, "LABEL"), "NULL");
        return fault.hit();
    });
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
