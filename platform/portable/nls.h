// Case mapping and code pages.
#pragma once

#include "types.h"

// Off Windows every "ANSI" code page is UTF-8.
constexpr UINT CP_ACP = 0;
constexpr UINT CP_THREAD_ACP = 3;
constexpr UINT CP_UTF8 = 65001;

constexpr DWORD MB_ERR_INVALID_CHARS = 8;
constexpr DWORD WC_ERR_INVALID_CHARS = 0x80;

/// Maps `length` code units in place, one unit to one unit, as Windows does (no sharp s to SS, no locale).
/// \return the number of units processed.
SYMBOLOGY_PLATFORM_API DWORD CharUpperBuffW(LPWSTR text, DWORD length);
SYMBOLOGY_PLATFORM_API DWORD CharLowerBuffW(LPWSTR text, DWORD length);

/// Converts to UTF-16. `sourceBytes` -1: up to and with the terminator. `targetUnits` 0: only counts.
/// \return units written or needed; 0 for an unknown code page, too small a target, or (with
///         MB_ERR_INVALID_CHARS) invalid input. Without that flag invalid bytes become U+FFFD.
SYMBOLOGY_PLATFORM_API int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR source, int sourceBytes,
                                               LPWSTR target, int targetUnits);
/// Converts from UTF-16; lone surrogates become U+FFFD (with WC_ERR_INVALID_CHARS: failure). Counting and
/// failure as in MultiByteToWideChar. `defaultChar` must be null for UTF-8, `usedDefault` too.
SYMBOLOGY_PLATFORM_API int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR source, int sourceUnits,
                                               LPSTR target, int targetBytes, LPCSTR defaultChar, LPBOOL usedDefault);
