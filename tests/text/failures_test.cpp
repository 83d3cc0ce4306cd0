// How failures become texts, and the entries of the event log.
#include "text/failures.h"
#include "text/text.h"

#include "memhost/messages.h"
#include "support/event_log.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using ConditionalXml::addError;
using ConditionalXml::addMessage;
using ConditionalXml::LogComFailure;
using memhost::make;
using memhost::Messages;

struct LogCase {
    const char* name;
    HRESULT status;
    const OLECHAR* sourceFile;
    ULONG line;
    const char* text;
    const char* details;
};

const LogCase logCases[] = {
    {"failure_with_place", E_FAIL, OLESTR("GeodatabaseUtilities"), 823, "SOLVANE: GeodatabaseUtilities Line: 823",
     "HRESULT = -2147467259 (0x80004005)"},
    {"null_source_file", E_FAIL, nullptr, 823, "SOLVANE: ", "HRESULT = -2147467259 (0x80004005)"},
    {"empty_source_file", E_FAIL, OLESTR(""), 823, "SOLVANE: ", "HRESULT = -2147467259 (0x80004005)"},
    {"status_zero", S_OK, nullptr, 0, "SOLVANE: ", "HRESULT = 0 (0x0)"},
    {"status_one", S_FALSE, OLESTR("A"), 0, "SOLVANE: A Line: 0", "HRESULT = 1 (0x1)"},
    {"letters_of_the_status_are_small", E_OUTOFMEMORY, nullptr, 0, "SOLVANE: ", "HRESULT = -2147024882 (0x8007000e)"},
    {"greatest_line", S_OK, OLESTR("A"), 0x7FFFFFFFU, "SOLVANE: A Line: 2147483647", "HRESULT = 0 (0x0)"},
    {"line_of_two_to_the_31_is_negative", S_OK, OLESTR("A"), 0x80000000U, "SOLVANE: A Line: -2147483648",
     "HRESULT = 0 (0x0)"},
    {"last_line", S_OK, OLESTR("A"), 0xFFFFFFFFU, "SOLVANE: A Line: -1", "HRESULT = 0 (0x0)"},
};

class LogComFailureFormats : public testing::TestWithParam<LogCase> {};

TEST_P(LogComFailureFormats, writesOneEntry) {
    const LogCase& row = GetParam();
    EventLogRecorder log;
    LogComFailure(OLESTR("Space::function"), row.status, row.sourceFile, row.line);
    const LoggedEntry expected{0, row.text, "Space::function", row.details, 0, false};
    EXPECT_EQ(log.entries, std::vector{expected});
}

INSTANTIATE_TEST_SUITE_P(Rows, LogComFailureFormats, testing::ValuesIn(logCases),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST(LogComFailureTest, disabledLogGetsNothing) {
    const EventLogRecorder log(false);
    LogComFailure(OLESTR("f"), E_FAIL, OLESTR("file"), 1);
    EXPECT_TRUE(log.entries.empty());
}

TEST(LogComFailureTest, failingLogIsNobodysBusiness) {
    struct Guard {
        ~Guard() { TarnSetEventSink(nullptr, nullptr); }
    } const guard;
    int calls = 0;
    TarnSetEventSink(
        [](const EventLogEntry&, void* context) -> bool {
            ++*static_cast<int*>(context);
            throw std::runtime_error("the log is full");
        },
        &calls);
    LogComFailure(OLESTR("f"), E_FAIL, OLESTR("file"), 1);
    TarnSetEventSink(
        [](const EventLogEntry&, void* context) -> bool {
            ++*static_cast<int*>(context);
            return false;
        },
        &calls);
    LogComFailure(OLESTR("f"), E_FAIL, OLESTR("file"), 1);
    EXPECT_EQ(calls, 2);
}

TEST(MessagesTest, errorsCarryTheFailureCode) {
    const auto messages = make<Messages>();
    addError(messages, memhost::narrowed("Buhl\xC3\xB8j"));
    addMessage(messages, "plain");
    addMessage(messages, "");
    const std::vector<Messages::Entry> expected{{true, E_FAIL, "Buhl\xC3\xB8j"}, {false, 0, "plain"}, {false, 0, ""}};
    EXPECT_EQ(messages->entries(), expected);
}

TEST(MessagesTest, withoutCollectionNoTextIsMade) {
    const auto messages = make<Messages>();
    const auto fails = [](void (*add)(IGPMessages*, std::string_view), IGPMessages* target) {
        failBstrAllocation(1, true);
        bool failed = false;
        try {
            add(target, "nobody hears");
        } catch (const CAtlException&) {
            failed = true;
        }
        const bool asked = bstrAllocationFailed();
        failBstrAllocation(0, false);
        EXPECT_EQ(failed, asked);
        return failed;
    };
    EXPECT_TRUE(fails(addError, messages) && fails(addMessage, messages));
    EXPECT_FALSE(fails(addError, nullptr));
    EXPECT_FALSE(fails(addMessage, nullptr));
}

TEST(MessagesTest, answerOfTheCollectionIsIgnored) {
    const auto messages = make<Messages>();
    const memhost::FaultScope message({.op = memhost::Op::AddMessage});
    const memhost::FaultScope error({.op = memhost::Op::AddError});
    addError(messages, "lost");
    addMessage(messages, "lost");
    EXPECT_TRUE(message.hit());
    EXPECT_TRUE(error.hit());
    EXPECT_TRUE(messages->entries().empty());
}

TEST(TextsTest, quotedItemIsFollowedByTheClosing) {
    EXPECT_EQ(ConditionalXml::quoted("No configuration defined for: '", OLESTR("B\u00D8JE")),
              memhost::narrowed("No configuration defined for: 'B\xC3\x98JE'!"));
    EXPECT_EQ(ConditionalXml::quoted("x: '", {}), "x: ''!");
}

TEST(TextsTest, embeddedZerosSurvive) {
    const WideView text(OLESTR("a\0b"), 3);
    const CComBSTR copy = ConditionalXml::makeBstr(text);
    EXPECT_EQ(copy.Length(), 3U);
    EXPECT_EQ(ConditionalXml::view(copy), text);
    EXPECT_EQ(ConditionalXml::narrow(text), std::string("a\0b", 3));
    EXPECT_EQ(ConditionalXml::widen(std::string("a\0b", 3)).Length(), 3U);
}

TEST(TextsTest, emptyTextIsAnAllocatedBstr) {
    EXPECT_NE(ConditionalXml::makeBstr({}).m_str, nullptr);
    EXPECT_NE(ConditionalXml::widen("").m_str, nullptr);
    EXPECT_EQ(ConditionalXml::view(nullptr).size(), 0U);
}

TEST(TextsTest, thrownTextIsARuntimeError) {
    try {
        ConditionalXml::throwText("what happened");
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "what happened");
    }
}

}  // namespace
