// The host's diagnostic event log, from its library TarnLib.
#pragma once

#include "platform/platform.h"

#ifdef TARNLIB_BUILDING
#define TARNLIB_API SYMBOLOGY_DLL_EXPORT
#else
#define TARNLIB_API SYMBOLOGY_DLL_IMPORT
#endif

class TARNLIB_API EventLog {
public:
    /// The values are the host's; the library passes 0 only.
    enum tagEventType : int { eventDefault = 0 };

    EventLog() = delete;

    /// Whether entries are kept at all; callers build no texts otherwise.
    static bool IsEnabled();
    /// \param text what happened and where; \param source the function that reports it; \param details its status.
    /// \return whether the entry was kept.
    static bool Write(tagEventType type, const OLECHAR* text, const OLECHAR* source, const OLECHAR* details, ULONG code,
                      bool flag);
};
