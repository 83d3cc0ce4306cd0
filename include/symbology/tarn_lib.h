// The host's diagnostic event log, from its library TarnLib.
#pragma once

#include "platform/platform.h"

#ifdef TARNLIB_BUILDING
#define TARNLIB_API SYMBOLOGY_DLL_EXPORT
#else
#define TARNLIB_API SYMBOLOGY_DLL_IMPORT
#endif

/// The log, which there is once in a process. Its functions may be called from any thread.
class TARNLIB_API EventLog {
public:
    /// The values are the host's; the library passes 0 only.
    enum tagEventType : int {
        eventDefault = 0  ///< any event
    };

    EventLog() = delete;

    /// Whether entries are kept at all; callers build no texts otherwise.
    static bool IsEnabled();
    /// Keeps an entry. \param type eventDefault. \param text what happened and where; \param source the function that
    /// reports it; \param details its status.
    /// \param code the status as a number. \param flag the host's; the library passes false. \return whether the entry
    /// was kept.
    static bool Write(tagEventType type, const OLECHAR* text, const OLECHAR* source, const OLECHAR* details, ULONG code,
                      bool flag);
};
