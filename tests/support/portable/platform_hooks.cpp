// The portable platform has these hooks itself.
#include "support/platform_hooks.h"

SystemSession::SystemSession() = default;
SystemSession::~SystemSession() = default;

std::size_t heldBstrs() {
    return PlatformHeldBstrs();
}

std::size_t liveSystemObjects() {
    return PlatformLiveObjects();
}

void failBstrAllocation(long nth, bool allAfter) {
    PlatformFailBstrAllocation(nth, allAfter);
}

bool bstrAllocationFailed() {
    return PlatformBstrAllocationFailed();
}

void setDebugSink(DebugSink sink, void* context) {
    PlatformSetDebugSink(sink, context);
}

bool onPortablePlatform() {
    return true;
}

bool underWine() {
    return false;
}
