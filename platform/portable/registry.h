// The machine-wide registry, read only, from a text file.
//
// The file has the form that registry editors export: "[HKEY_LOCAL_MACHINE\Software\Vendor\Product]" followed by lines
// such as "Name"="C:\\Folder\\" (backslashes and quotes inside the quotes are written with a backslash before them) or
// "Name"=dword:0000000a, in UTF-8. It is read anew whenever a key is opened.
#pragma once

#include "types.h"

struct PlatformRegistryKey;
using HKEY = PlatformRegistryKey*;
using LSTATUS = LONG;
using PHKEY = HKEY*;

/// Never dereferenced: it only names the root.
// NOLINTNEXTLINE(performance-no-int-to-ptr): the value is the platform's
inline PlatformRegistryKey* const HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(std::uintptr_t{0x80000002U});

using REGSAM = DWORD;
constexpr REGSAM KEY_QUERY_VALUE = 1;

constexpr LSTATUS ERROR_SUCCESS = 0;
constexpr LSTATUS ERROR_FILE_NOT_FOUND = 2;
constexpr LSTATUS ERROR_INVALID_HANDLE = 6;
constexpr LSTATUS ERROR_INVALID_PARAMETER = 87;
constexpr LSTATUS ERROR_MORE_DATA = 234;

constexpr DWORD REG_SZ = 1;
constexpr DWORD REG_DWORD = 4;

/// Opens a key below HKEY_LOCAL_MACHINE; names are compared without regard to case.
/// \return ERROR_SUCCESS and a key to close, or ERROR_FILE_NOT_FOUND (also when there is no file).
SYMBOLOGY_PLATFORM_API LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key);

/// Reads a value with its terminator. `type` and `data` may be null; `bytes` holds the buffer's size and receives the
/// value's. \return ERROR_FILE_NOT_FOUND without such a value, ERROR_MORE_DATA when it does not fit.
SYMBOLOGY_PLATFORM_API LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data,
                                                DWORD* bytes);

SYMBOLOGY_PLATFORM_API LSTATUS RegCloseKey(HKEY key);

/// Names the file, in the place of the environment variable SYMBOLOGY_REGISTRY or, without that, of
/// /etc/symbology/registry.reg; null goes back to these. Not for use while another thread reads.
SYMBOLOGY_PLATFORM_API void PlatformSetRegistryFile(const char* path);
