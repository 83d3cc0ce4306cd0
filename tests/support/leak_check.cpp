#include "support/leak_check.h"

#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

struct Counter {
    const char* name;
    std::size_t (*count)();
};

std::vector<Counter>& counters() {
    static std::vector<Counter> all{{"objects of the system", liveSystemObjects}, {"BSTRs", heldBstrs}};
    return all;
}

class LeakCheck : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override { before_ = liveCounts(); }
    void OnTestEnd(const testing::TestInfo& test) override {
        EXPECT_EQ(liveCounts(), before_) << "left by " << test.test_suite_name() << '.' << test.name();
    }

    std::vector<std::pair<std::string, std::size_t>> before_;
};

}  // namespace

std::vector<std::pair<std::string, std::size_t>> liveCounts() {
    SetErrorInfo(0, nullptr);
    std::vector<std::pair<std::string, std::size_t>> counts;
    for (const Counter& counter : counters()) counts.emplace_back(counter.name, counter.count());
    return counts;
}

void registerLiveCounter(const char* name, std::size_t (*count)()) {
    // The system's come last: objects that a counter lets go of may hold texts.
    counters().insert(counters().begin(), {name, count});
}

void installLeakCheck() {
    // Listeners hear OnTestEnd in reverse order: appended last, this one still counts into the printed result.
    testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
}
