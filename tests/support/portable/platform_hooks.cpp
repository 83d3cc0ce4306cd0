// The portable platform has these hooks itself.
#include "support/platform_hooks.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <stdexcept>

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

std::vector<std::string> irregularFiles(const std::string& folder) {
    const std::string fifo = folder + "/fifo";
    const std::string link = folder + "/link to a device";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string name = folder + "/socket";
    name.copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool made = mkfifo(fifo.c_str(), 0600) == 0 && symlink("/dev/zero", link.c_str()) == 0 &&
                      bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(listener);  // its name stays
    if (!made) throw std::runtime_error("no pipe, link or socket can be made in " + folder);
    return {"/dev/zero", "/dev/null", fifo, link, name};
}
