// Copies of a SymbologyManager: what they share, what they own, and running out of memory on the way.
#include "cxml/condition_map.h"
#include "memhost/messages.h"
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

void expectEqualButSeparate(const SymbologyManager& a, const SymbologyManager& b) {
    for (const auto member :
         {Access::documentName, Access::documentAlias, Access::ruleDefinitionsPath, Access::conditionMapPath}) {
        EXPECT_NE(member(a), nullptr);
        EXPECT_NE(member(a), member(b));
        EXPECT_EQ(utf8(member(a)), utf8(member(b)));
    }
    EXPECT_EQ(Access::isRuleDefinitions(a), Access::isRuleDefinitions(b));
    EXPECT_EQ(Access::isConditionMap(a), Access::isConditionMap(b));
    EXPECT_EQ(Access::currentMap(a), Access::currentMap(b));
}

TEST(ManagerCopyTest, copyOwnsItsTextsAndSharesTheMap) {
    const SymbologyManager manager = makeFullManager();
    const long holders = Access::currentMap(manager).use_count();
    const SymbologyManager copy(manager);
    expectEqualButSeparate(copy, manager);
    EXPECT_EQ(Access::currentMap(manager).use_count(), holders + 1);
}

TEST(ManagerCopyTest, copyOfAnEmptyManagerIsEmpty) {
    const SymbologyManager empty;
    const SymbologyManager copy(empty);
    EXPECT_EQ(Access::documentName(copy), nullptr);
    EXPECT_EQ(Access::conditionMapPath(copy), nullptr);
    EXPECT_EQ(Access::currentMap(copy), nullptr);
}

TEST(ManagerCopyTest, mapLivesUntilItsLastHolderLetsGo) {
    SymbologyManager manager = makeFullManager();
    const std::weak_ptr<ConditionalXml::ConditionMap> map = Access::currentMap(manager);
    {
        const SymbologyManager copy(manager);
        manager.resetXmls();
        EXPECT_FALSE(map.expired());
        EXPECT_NE(Access::currentMap(copy), nullptr);
    }
    EXPECT_TRUE(map.expired());
}

TEST(ManagerCopyTest, loadingIntoACopyLeavesTheOriginalAlone) {
    const SymbologyManager manager = makeFullManager();
    SymbologyManager copy(manager);
    const TemporaryFolder folder;
    EXPECT_TRUE(copy.loadCXML(bstr(folder.write("other.xml", "<conditionMap name='Other'/>")), nullptr));
    EXPECT_EQ(utf8(Access::documentName(manager)), "N");
    EXPECT_EQ(utf8(Access::documentName(copy)), "Other");
    EXPECT_NE(Access::currentMap(copy), Access::currentMap(manager));
}

TEST(ManagerCopyTest, assignmentReplacesEverything) {
    const SymbologyManager manager = makeFullManager();
    SymbologyManager other;
    const TemporaryFolder folder;
    EXPECT_TRUE(other.loadCXML(bstr(folder.write("other.xml", "<conditionMap name='Other'/>")), nullptr));
    const std::weak_ptr<ConditionalXml::ConditionMap> former = Access::currentMap(other);
    SymbologyManager& answer = (other = manager);
    EXPECT_EQ(&answer, &other);
    expectEqualButSeparate(other, manager);
    EXPECT_TRUE(former.expired());

    other = SymbologyManager();
    EXPECT_EQ(Access::documentName(other), nullptr);
    EXPECT_FALSE(Access::isConditionMap(other));
    EXPECT_EQ(Access::currentMap(other), nullptr);
}

TEST(ManagerCopyTest, assignmentToItselfChangesNothing) {
    SymbologyManager manager = makeFullManager();
    const OLECHAR* const name = Access::documentName(manager);
    const auto map = Access::currentMap(manager);
    const SymbologyManager& same = manager;
    manager = same;
    EXPECT_EQ(Access::documentName(manager), name);
    EXPECT_EQ(utf8(name), "N");
    EXPECT_EQ(Access::currentMap(manager), map);
}

}  // namespace
