// The event log.
#include "host/tarnlib/event_sink.h"
#include "platform/platform.h"

#include <gtest/gtest.h>

namespace {

struct Kept {
    WideString text, source, details;
    ULONG code = 0;
    bool flag = false;
    bool answer = true;
};

bool keep(const EventLogEntry& entry, void* context) {
    auto& kept = *static_cast<Kept*>(context);
    kept.text = entry.text;
    kept.source = entry.source;
    kept.details = entry.details;
    kept.code = entry.code;
    kept.flag = entry.flag;
    return kept.answer;
}

bool write() {
    return EventLog::Write(EventLog::eventDefault, OLESTR("text"), OLESTR("source"), OLESTR("details"), 7, true);
}

TEST(TarnLib, IsSilentUntilASinkIsSet) {
    EXPECT_FALSE(EventLog::IsEnabled());
    EXPECT_FALSE(write());
}

TEST(TarnLib, HandsEntriesToTheSinkAndItsAnswerBack) {
    Kept kept;
    TarnSetEventSink(keep, &kept);
    EXPECT_TRUE(EventLog::IsEnabled());
    EXPECT_TRUE(write());
    EXPECT_TRUE(kept.text == OLESTR("text") && kept.source == OLESTR("source") && kept.details == OLESTR("details"));
    EXPECT_EQ(kept.code, 7U);
    EXPECT_TRUE(kept.flag);
    kept.answer = false;
    EXPECT_FALSE(write());
    TarnSetEventSink(keep, &kept, false);
    EXPECT_FALSE(EventLog::IsEnabled());
    kept = {};
    EXPECT_TRUE(write()) << "heard all the same";
    EXPECT_EQ(kept.code, 7U);
    TarnSetEventSink(nullptr, &kept);
    EXPECT_FALSE(EventLog::IsEnabled());
    EXPECT_FALSE(write());
}

}  // namespace
