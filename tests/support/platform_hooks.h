// What tests do to the system under the library and ask of it; implemented in portable/ and windows/.
#pragma once

#include "platform/platform.h"

#include <cstddef>
#include <string>
#include <vector>

/// What the main thread of a test program needs before it makes COM objects, for as long as it lives.
class SystemSession {
public:
    SystemSession();
    ~SystemSession();  // NOLINT(performance-trivially-destructible): not so on Windows
    SystemSession(const SystemSession&) = delete;
    SystemSession& operator=(const SystemSession&) = delete;
};

/// BSTRs that are allocated and not freed; on Windows every block of COM's allocator, theirs among them.
std::size_t heldBstrs();

/// Documents, nodes and error objects of the portable platform that are alive. Windows does not count its own: 0 there.
std::size_t liveSystemObjects();

/// Makes the n-th such allocation from now on fail (1 is the next), and with `allAfter` all later ones; 0 ends it.
void failBstrAllocation(long nth, bool allAfter);
/// Whether one was made to fail since failBstrAllocation was last called.
bool bstrAllocationFailed();

/// Takes a text that is written to the debugger.
using DebugSink = void (*)(const char* text, void* context);
/// Null ends it.
void setDebugSink(DebugSink sink, void* context);

/// Names of things that can be opened like files and are none, made in a folder where they have to be made: devices,
/// pipes, sockets. Opening or reading one of them may wait for ever, or never come to an end.
std::vector<std::string> irregularFiles(const std::string& folder);

/// Whether the portable platform is under the library.
bool onPortablePlatform();
/// Whether Windows is and this is Wine.
bool underWine();

/// Ends a test that only the portable platform can be asked for, with the reason.
#define PORTABLE_ONLY(reason) \
    if (!onPortablePlatform()) GTEST_SKIP() << (reason)
/// Ends a test that Wine is known to answer otherwise than Windows, with the reason.
#define NOT_UNDER_WINE(reason) \
    if (underWine()) GTEST_SKIP() << (reason)
