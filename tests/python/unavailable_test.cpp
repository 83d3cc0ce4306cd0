// The library in a process that has no Python.
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

TEST(WithoutPython, documentsWithoutExpressionsLoad) {
    const LoadedMap loaded =
        LoadedMap::ofClass("Light", "<condition rulename='A'/><condition type='2' field='F'><expression/></condition>");
    ASSERT_EQ(loaded.map->conditions.size(), 2U);
    EXPECT_FALSE(loaded.map->conditions[1]->generate(ConditionalXml::RowValueMap(loaded.rule("LIGHT").fieldNames)));
}

TEST(WithoutPython, documentsWithExpressionsDoNotLoad) {
    try {
        LoadedMap::ofClass("Light",
                           "<condition type='2'><expression>def Generate(): return 'x'</expression></condition>");
        ADD_FAILURE() << "it loaded";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "There is no Python in this process: it has no expressions.");
    }
}

}  // namespace
