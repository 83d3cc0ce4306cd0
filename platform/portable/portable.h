// Everything that the portable platform offers, in the place of windows.h, oleauto.h and msxml.h.
// Include platform/platform.h, not this file.
#pragma once

#include "types.h"

#include "unknown.h"

#include "bstr.h"
#include "debug_output.h"
#include "error_info.h"
#include "nls.h"
#include "registry.h"
#include "variant.h"

#include "msxml.h"
