// Counts the COM objects of the geodatabase.
#pragma once

#include <atomic>
#include <cstddef>

namespace embedded_host {

/// The counter of ComObject for the geodatabase's objects.
struct HostCounter {
    static std::atomic<std::size_t> live;
};

/// COM objects of the geodatabase that are alive. For tests.
std::size_t liveObjects();

}  // namespace embedded_host
