// Expressions that mean no good.
#include "python/expression_fixture.h"

#include <gmock/gmock.h>

namespace {

using std::string;

TEST(Hostile, exitIsAnError) {
    for (const char* call : {"import sys\ndef Generate(): sys.exit(3)", "def Generate(): raise SystemExit(3)",
                             "import sys\nsys.exit(3)\ndef Generate(): pass"}) {
        LoadedExpression loaded(call);
        EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'SystemExit'>\npvalue = 3\n"));
    }
}

TEST(Hostile, interruptIsAnError) {
    LoadedExpression loaded("def Generate(): raise KeyboardInterrupt");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'KeyboardInterrupt'>"));
}

TEST(Hostile, recursionWithoutEndIsAnError) {
    LoadedExpression loaded("def Generate(): return Generate()");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'RecursionError'>\n"
                                                    "pvalue = maximum recursion depth exceeded"));
    LoadedExpression after("def Generate(): return 'fine'");
    EXPECT_TRUE(after.generate());
}

TEST(Hostile, moduleReplacedOrTakenOutOfTheTable) {
    for (const char* body : {"sys.modules['CalcFields'] = 5", "sys.modules['CalcFields'] = sys",
                             "del sys.modules['CalcFields']", "sys.modules[__name__] = None"}) {
        LoadedExpression inBody("import sys\n" + string(body) + "\ndef Generate(): return 'x'");
        EXPECT_TRUE(inBody.generate()) << body;
        EXPECT_EQ(inBody.generated(), "x") << body;
        LoadedExpression inCall("import sys\ndef Generate():\n  " + string(body) + "\n  return 'y'");
        EXPECT_TRUE(inCall.generate()) << body;
        EXPECT_TRUE(inCall.generate()) << body;
        EXPECT_EQ(inCall.generated(), "y") << body;
    }
}

TEST(Hostile, moduleTableReplaced) {
    ASSERT_TRUE(runHostPython("import sys, builtins; builtins.kept = sys.modules"));
    LoadedExpression loaded("import sys\nsys.modules = {}\ndef Generate(): return 'x'");
    loaded.report();
    EXPECT_TRUE(
        runHostPython("import builtins; s = builtins.kept['sys']; s.modules = builtins.kept; del builtins.kept"));
    LoadedExpression after("import json\ndef Generate(): return 'fine'");
    EXPECT_TRUE(after.generate());
}

TEST(Hostile, functionThatDeletesItself) {
    LoadedExpression loaded(
        "import gc\nclass F:\n  def __call__(self):\n    global Generate\n    del Generate\n"
        "    gc.collect()\n    return 'x' + type(self).__name__\nGenerate = F()\n# Generate()");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "xF");
}

TEST(Hostile, moduleThatClearsItself) {
    LoadedExpression loaded("def Generate():\n  globals().clear()\n  return 'x'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "x");
}

TEST(Hostile, argumentsAreTheExpressionsToChange) {
    LoadedExpression loaded("def Generate(A[]):\n  A.clear()\n  return str(len(A))");
    EXPECT_TRUE(loaded.put("A", {1, 2}).generate());
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "0") << "the next call has a list of its own";
}

TEST(Hostile, threadThatEnds) {
    LoadedExpression loaded(
        "import threading\ndef Generate():\n  r = []\n"
        "  t = threading.Thread(target=lambda: r.append('done'))\n  t.start()\n  t.join()\n"
        "  return r[0]");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "done");
}

TEST(Hostile, memoryThatCannotBeHad) {
    LoadedExpression loaded("def Generate(): return 'x' * (1 << 62)");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'MemoryError'>"));
}

}  // namespace
