// The event log: hands each entry to the sink that the host has set.
#include "symbology/tarn_lib.h"

#include "host/tarnlib/event_sink.h"

namespace {

struct Sink {
    EventLogSink write = nullptr;
    void* context = nullptr;
    bool enabled = false;
};

Sink& currentSink() {
    static Sink sink;
    return sink;
}

}  // namespace

bool EventLog::IsEnabled() {
    return currentSink().enabled;
}

bool EventLog::Write(tagEventType type, const OLECHAR* text, const OLECHAR* source, const OLECHAR* details, ULONG code,
                     bool flag) {
    const Sink& sink = currentSink();
    return sink.write && sink.write({type, text, source, details, code, flag}, sink.context);
}

extern "C" void TarnSetEventSink(EventLogSink sink, void* context, bool enabled) {
    currentSink() = {sink, sink ? context : nullptr, sink && enabled};
}
