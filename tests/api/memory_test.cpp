// A manager that runs out of memory.
#include "cxml/condition_map.h"
#include "memhost/text.h"
#include "support/allocation_fault.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>

namespace {

using Access = SymbologyManagerAccess;
using memhost::bstr;
using memhost::utf8;

/// A manager that has loaded a document of each kind, so that all its members are set.
SymbologyManager makeFullManager() {
    const TemporaryFolder folder;
    SymbologyManager manager;
    manager.loadCXML(bstr(folder.write("rules.xml", "<ruleDefinitions spec='S' alias='A'/>")), nullptr);
    manager.loadCXML(bstr(folder.write("map.xml", "<conditionMap name='N' alias='B'/>")), nullptr);
    return manager;
}

TEST(ManagerMemoryTest, copyThatRunsOutOfMemoryLeavesNothingBehind) {
    const SymbologyManager manager = makeFullManager();
    const long holders = Access::currentMap(manager).use_count();
    for (long nth = 1; nth <= 4; ++nth) {
        const std::size_t held = heldBstrs();
        const AllocationFault fault(nth);
        try {
            const SymbologyManager copy(manager);
            ADD_FAILURE() << "copy succeeded without allocation " << nth;
        } catch (const CAtlException& error) {
            EXPECT_EQ(error.m_hr, E_OUTOFMEMORY);
        }
        EXPECT_EQ(heldBstrs(), held);
        EXPECT_EQ(Access::currentMap(manager).use_count(), holders);
    }
    const AllocationFault fault(5);
    const SymbologyManager copy(manager);
    EXPECT_FALSE(bstrAllocationFailed()) << "a copy needs four texts, no more";
}

TEST(ManagerMemoryTest, assignmentThatRunsOutOfMemoryLeavesAUsableManager) {
    const SymbologyManager manager = makeFullManager();
    for (long nth = 1; nth <= 4; ++nth) {
        SymbologyManager target;
        {
            const AllocationFault fault(nth);
            EXPECT_THROW(target = manager, CAtlException);
        }
        target = manager;
        EXPECT_EQ(utf8(Access::documentName(target)), "N");
        EXPECT_EQ(utf8(Access::conditionMapPath(target)), utf8(Access::conditionMapPath(manager)));
        EXPECT_EQ(Access::currentMap(target), Access::currentMap(manager));
    }
}

}  // namespace
