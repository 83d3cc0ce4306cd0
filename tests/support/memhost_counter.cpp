// Has the objects of the in-memory host, and of the object factory, counted around every test.
#include "host/velcore/class_registry.h"
#include "memhost/object.h"
#include "support/leak_check.h"

namespace {

const bool registered = [] {
    registerLiveCounter("objects of the in-memory host", memhost::liveObjects);
    registerLiveCounter("objects of the object factory", VelLiveObjects);
    return true;
}();

}  // namespace
