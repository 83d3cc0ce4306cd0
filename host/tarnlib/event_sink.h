// Where the embedded host's event log goes.
#pragma once

#include "symbology/tarn_lib.h"

/// One entry, as the library wrote it. The texts are borrowed for the call.
struct EventLogEntry {
    EventLog::tagEventType type;
    const OLECHAR* text;
    const OLECHAR* source;
    const OLECHAR* details;
    ULONG code;
    bool flag;
};

/// Takes an entry; returns whether it was kept. May be called from any thread that runs the library.
using EventLogSink = bool (*)(const EventLogEntry& entry, void* context);

/// Enables the log with this sink; null disables it, which is the state at start. With `enabled` false the log says
/// that it is disabled, and the sink hears who writes to it nevertheless. Not for use while another thread logs.
extern "C" TARNLIB_API void TarnSetEventSink(EventLogSink sink, void* context, bool enabled = true);
