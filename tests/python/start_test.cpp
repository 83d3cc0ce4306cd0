// The starter of Python, in a process that has none before.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/loaded_manager.h"
#include "symbology/python.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

namespace {

using symbology::python::Python;
using symbology::python::start;

constexpr const char* labels =
    "<conditionMap name='labels'><featureClass name='BUOY'><condition type='2' field='LABEL'><expression>"
    "def Generate(N): return \"no. %d\" % N</expression></condition></featureClass></conditionMap>";

TEST(PythonStart, StartsOneForAllThreads) {
    std::vector<Python> all(8);
    std::vector<std::thread> threads;
    for (Python& python : all) threads.emplace_back([&python] { python = start(); });
    for (std::thread& thread : threads) thread.join();
    for (const Python& python : all) {
        EXPECT_TRUE(python.version.starts_with("3.13.")) << python.version;
        EXPECT_EQ(python.version.find_first_not_of("0123456789."), std::string::npos) << python.version;
        EXPECT_TRUE(std::filesystem::path(python.file).filename().string().starts_with("libpython3.13")) << python.file;
        EXPECT_TRUE(python.isOurs);
    }
}

TEST(PythonStart, GivesItsLockBack) {
    start();
    const auto table = memhost::Table("BUOY")
                           .field("SYMBOL_C", VT_BSTR)
                           .field("LABEL", VT_BSTR)
                           .field("N", VT_I4)
                           .row({nullptr, nullptr, 7})
                           .build();
    std::thread([&] {
        SymbologyManager manager = managerOf(labels);
        const auto messages = memhost::make<memhost::Messages>();
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages));
        EXPECT_EQ(messages->messages(), std::vector<std::string>{});
        EXPECT_EQ(messages->errors(), std::vector<std::string>{});
    }).join();
    EXPECT_EQ(table->text(0, "LABEL"), memhost::describe(memhost::Cell("no. 7").value));
}

}  // namespace
