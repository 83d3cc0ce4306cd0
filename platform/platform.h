// The seam between the library and the platform under it: include this, and nothing of the system, anywhere else.
//
// On Windows the names below come from the SDK (OLE Automation, MSXML, NLS). Elsewhere platform/portable/ supplies the
// same names with the same meaning, so that every line above this header is the same on both.
#pragma once

#include "export.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX  // std::min and std::max must stay usable
#endif
#include <windows.h>
// windows.h first: the others rely on its types.
#include <msxml.h>
#include <oleauto.h>
#else
#include "portable/portable.h"
#endif

#include "interface.h"

// The helper types that COM code is written with; where the ATL headers exist they are used.
#if defined(_WIN32) && __has_include(<atlbase.h>)
#include <atlbase.h>
#else
#include "atl.h"
#endif

#include <string>
#include <string_view>

using WideString = std::basic_string<OLECHAR>;
using WideView = std::basic_string_view<OLECHAR>;
