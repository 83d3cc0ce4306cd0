// Debugger output.
#pragma once

#include "types.h"

/// Takes a text that was meant for a debugger; may be called from any thread that runs the library.
using PlatformDebugSink = void (*)(LPCSTR text, void* context);

/// There is no system debugger to write to here: the text goes to the sink that the host has set, else nowhere.
SYMBOLOGY_PLATFORM_API void OutputDebugStringA(LPCSTR text);

/// Null takes the sink away. Not for use while another thread writes.
SYMBOLOGY_PLATFORM_API void PlatformSetDebugSink(PlatformDebugSink sink, void* context);
