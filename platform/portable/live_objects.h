// Counting the platform's own objects.
#pragma once

namespace symbology_platform {

/// A member or base of every object of the platform that a caller can hold: PlatformLiveObjects() counts it as long as
/// it lives. Any thread may create and destroy objects.
class LiveObject {
public:
    LiveObject() noexcept;
    LiveObject(const LiveObject&) = delete;
    LiveObject& operator=(const LiveObject&) = delete;
    ~LiveObject();
};

}  // namespace symbology_platform
