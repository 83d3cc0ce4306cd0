// Declares COM interfaces once for every compiler: SYMBOLOGY_INTERFACE(IThing, "guid") : public IUnknown { ... };
// The identifier stands in one place, as text, and __uuidof(IThing) gives it back everywhere.
// Include platform/platform.h, not this file.
#pragma once

#include <cstddef>

namespace symbology_platform {

constexpr unsigned hexDigit(char c) {
    return c >= '0' && c <= '9'   ? unsigned(c - '0')
           : c >= 'a' && c <= 'f' ? unsigned(c - 'a') + 10U
                                  : unsigned(c - 'A') + 10U;
}

constexpr unsigned hexNumber(const char* text, std::size_t digits) {
    unsigned value = 0;
    for (std::size_t i = 0; i < digits; ++i) value = value * 16U + hexDigit(text[i]);
    return value;
}

/// Reads "2933BF81-7B36-11D2-B20E-00C04F983E60" (36 characters, no braces) at compile time.
constexpr GUID parseGuid(const char (&text)[37]) {
    GUID guid{};
    guid.Data1 = hexNumber(text, 8);
    guid.Data2 = static_cast<unsigned short>(hexNumber(text + 9, 4));
    guid.Data3 = static_cast<unsigned short>(hexNumber(text + 14, 4));
    for (std::size_t i = 0; i < 8; ++i)
        guid.Data4[i] = static_cast<unsigned char>(hexNumber(text + (i < 2 ? 19 + 2 * i : 20 + 2 * i), 2));
    return guid;
}

}  // namespace symbology_platform

#if defined(_MSC_VER)
#define SYMBOLOGY_INTERFACE(Name, guid) struct __declspec(uuid(guid)) __declspec(novtable) Name
#elif defined(_WIN32)
#define SYMBOLOGY_INTERFACE_ID(Name, guid)                              \
    template <>                                                         \
    inline const GUID& __mingw_uuidof<Name>() {                         \
        static constexpr GUID id = symbology_platform::parseGuid(guid); \
        return id;                                                      \
    }
#define SYMBOLOGY_INTERFACE(Name, guid) \
    struct Name;                        \
    SYMBOLOGY_INTERFACE_ID(Name, guid)  \
    struct Name

#if __MINGW64_VERSION_MAJOR < 12
// The msxml.h of these versions declares the interfaces without saying their identifiers.
SYMBOLOGY_INTERFACE_ID(IXMLDOMNode, "2933BF80-7B36-11D2-B20E-00C04F983E60")
SYMBOLOGY_INTERFACE_ID(IXMLDOMDocument, "2933BF81-7B36-11D2-B20E-00C04F983E60")
SYMBOLOGY_INTERFACE_ID(IXMLDOMNodeList, "2933BF82-7B36-11D2-B20E-00C04F983E60")
SYMBOLOGY_INTERFACE_ID(IXMLDOMNamedNodeMap, "2933BF83-7B36-11D2-B20E-00C04F983E60")
SYMBOLOGY_INTERFACE_ID(IXMLDOMParseError, "3EFAA426-272F-11D2-836F-0000F87A7782")
#endif
#else
#define SYMBOLOGY_INTERFACE(Name, guid)                                    \
    struct Name;                                                           \
    template <>                                                            \
    struct symbology_platform::InterfaceId<Name> {                         \
        static constexpr GUID value = symbology_platform::parseGuid(guid); \
    };                                                                     \
    struct Name
#endif
