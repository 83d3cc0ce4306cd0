#include "platform/portable/debug_output.h"

namespace {

PlatformDebugSink currentSink = nullptr;
void* currentContext = nullptr;

}  // namespace

void OutputDebugStringA(LPCSTR text) {
    if (currentSink && text) currentSink(text, currentContext);
}

void PlatformSetDebugSink(PlatformDebugSink sink, void* context) {
    currentSink = sink;
    currentContext = context;
}
