// The starter of Python, in a process whose host has started one.
#include "symbology/python.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace {

TEST(PythonStart, FindsTheOneThatSomebodyElseHasStarted) {
    const symbology::python::Python python = symbology::python::start({.userPackages = true});
    EXPECT_FALSE(python.isOurs);
    EXPECT_TRUE(python.version.starts_with("3.13.")) << python.version;
    EXPECT_TRUE(std::filesystem::exists(python.file)) << python.file;
}

}  // namespace
