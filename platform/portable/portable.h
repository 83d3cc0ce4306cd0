// Everything that the portable platform offers, in the place of windows.h, oleauto.h and msxml.h.
// Include platform/platform.h, not this file.
#pragma once

#include "platform/portable/types.h"

#include "platform/portable/unknown.h"

#include "platform/portable/bstr.h"
#include "platform/portable/debug_output.h"
#include "platform/portable/error_info.h"
#include "platform/portable/nls.h"
#include "platform/portable/registry.h"
#include "platform/portable/variant.h"

#include "platform/portable/msxml.h"
