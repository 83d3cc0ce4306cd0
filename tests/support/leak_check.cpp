#include "support/leak_check.h"

#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

struct Counter {
    const char* name;
    std::size_t (*count)();
    std::size_t before;
};

std::vector<Counter>& counters() {
    static std::vector<Counter> all{{"objects of the system", liveSystemObjects, 0}, {"BSTRs", heldBstrs, 0}};
    return all;
}

class LeakCheck : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        SetErrorInfo(0, nullptr);
        for (Counter& counter : counters()) counter.before = counter.count();
    }
    void OnTestEnd(const testing::TestInfo& test) override {
        SetErrorInfo(0, nullptr);  // the thread's error object belongs to no test
        for (const Counter& counter : counters())
            EXPECT_EQ(counter.count(), counter.before)
                << counter.name << " left by " << test.test_suite_name() << '.' << test.name();
    }
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
    counters().insert(counters().begin(), {name, count, 0});
}

void installLeakCheck() {
    // Listeners hear OnTestEnd in reverse order: appended last, this one still counts into the printed result.
    testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
}
