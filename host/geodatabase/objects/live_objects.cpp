// The one counter of the geodatabase's COM objects.
#include "host/geodatabase/objects/live_objects.h"

namespace embedded_host {

std::atomic<std::size_t> HostCounter::live{0};

std::size_t liveObjects() {
    return HostCounter::live.load(std::memory_order_relaxed);
}

}  // namespace embedded_host
