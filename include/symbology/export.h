// SYMBOLOGY_API marks what the library exports; define SYMBOLOGY_STATIC to link its parts without the library.
#pragma once

#include "platform/export.h"

#if defined(SYMBOLOGY_STATIC)
#define SYMBOLOGY_API
#elif defined(SYMBOLOGY_BUILDING)
#define SYMBOLOGY_API SYMBOLOGY_DLL_EXPORT
#else
#define SYMBOLOGY_API SYMBOLOGY_DLL_IMPORT
#endif
