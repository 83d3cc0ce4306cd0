// The interpreter lock: each test is a process of its own with a limit of time.
#include "support/child_process.h"

#include <gtest/gtest.h>

namespace {

constexpr std::chrono::seconds plenty{240};

ChildOutcome scenario(const std::string& name, std::chrono::seconds limit = plenty) {
    return runThisProgram({"--scenario", name}, limit);
}

class Completes : public testing::TestWithParam<const char*> {};

TEST_P(Completes, inTime) {
    const ChildOutcome outcome = scenario(GetParam());
    EXPECT_FALSE(outcome.timedOut);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
}

INSTANTIATE_TEST_SUITE_P(Lock, Completes,
                         testing::Values("load-without-expression", "release-empty-without-interpreter",
                                         "destroy-on-another-thread", "load-on-another-thread",
                                         "host-runs-python-between", "host-runs-python-at-the-same-time",
                                         "host-holds-the-lock", "lock-is-free-after-errors",
                                         "lock-is-free-after-a-call", "documents-on-their-own-threads",
                                         "row-is-written-under-the-lock", "host-keeps-its-signals",
                                         "start-daemon-thread", "interpreter-twice", "recurse-on-a-thread"),
                         [](const auto& entry) {
                             std::string name = entry.param;
                             for (char& c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

class EndsAtTheAssertion : public testing::TestWithParam<const char*> {};

TEST_P(EndsAtTheAssertion, withItsText) {
    const ChildOutcome outcome = scenario(GetParam());
    EXPECT_FALSE(outcome.timedOut);
    EXPECT_TRUE(outcome.aborted);
    EXPECT_EQ(outcome.err, "Assertion failed: Py_IsInitialized(), file GetGIL, line 12\n");
}

INSTANTIATE_TEST_SUITE_P(Lock, EndsAtTheAssertion,
                         testing::Values("load-without-interpreter", "generate-without-interpreter",
                                         "release-without-interpreter"),
                         [](const auto& entry) {
                             std::string name = entry.param;
                             for (char& c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

TEST(Lock, theLimitEndsAProcessThatHangs) {
    const ChildOutcome outcome = scenario("hang", std::chrono::seconds(5));
    EXPECT_TRUE(outcome.timedOut);
}

TEST(Lock, unknownScenarioFails) {
    EXPECT_EQ(scenario("none").status, 2);
}

}  // namespace
