// Reading what was written to the host's diagnostic event log.
#pragma once

#include "host/tarnlib/event_sink.h"
#include "memhost/text.h"

#include <string>
#include <vector>

/// One entry, kept.
struct LoggedEntry {
    int type;
    std::string text;
    std::string source;
    std::string details;
    ULONG code;
    bool flag;
    bool operator==(const LoggedEntry&) const = default;
};

/// Keeps what is written to the event log for as long as it lives; the log is enabled unless `enabled` is false.
class EventLogRecorder {
public:
    explicit EventLogRecorder(bool enabled = true) { TarnSetEventSink(keep, this, enabled); }
    ~EventLogRecorder() { TarnSetEventSink(nullptr, nullptr); }
    EventLogRecorder(const EventLogRecorder&) = delete;
    EventLogRecorder& operator=(const EventLogRecorder&) = delete;

    std::vector<LoggedEntry> entries;

private:
    static bool keep(const EventLogEntry& entry, void* context) {
        static_cast<EventLogRecorder*>(context)->entries.push_back(
            {static_cast<int>(entry.type), memhost::utf8(WideView(entry.text)), memhost::utf8(WideView(entry.source)),
             memhost::utf8(WideView(entry.details)), entry.code, entry.flag});
        return true;
    }
};
