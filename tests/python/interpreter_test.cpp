// The embedded host's interpreter, as the tests' program has started it.
#include "python/expression_fixture.h"

namespace {

TEST(Interpreter, isTheVersionThatTheLibraryIsBuiltFor) {
    EXPECT_TRUE(runHostPython("import sys; assert sys.version_info[:2] == (3, 13)"));
}

TEST(Interpreter, isIsolatedFromEnvironmentAndUser) {
    EXPECT_TRUE(
        runHostPython("import sys; f = sys.flags\n"
                      "assert f.isolated == 1 and f.ignore_environment == 1 and f.no_user_site == 1"));
}

TEST(Interpreter, speaksUtf8WhateverTheLocale) {
    EXPECT_TRUE(runHostPython("import sys; assert sys.flags.utf8_mode == 1 and sys.stderr.encoding == 'utf-8'"));
}

TEST(Interpreter, writesNoFiles) {
    EXPECT_TRUE(runHostPython("import sys; assert sys.dont_write_bytecode"));
}

TEST(Interpreter, printsToStandardError) {
    EXPECT_TRUE(runHostPython("import sys; assert sys.stdout is sys.stderr"))
        << "standard output belongs to the host's tools";
}

}  // namespace
