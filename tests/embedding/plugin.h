// A library of somebody else's that drives ours: built with the public headers alone.
#pragma once

#include <platform/platform.h>

#ifdef PLUGIN_BUILDING
#define PLUGIN_API SYMBOLOGY_DLL_EXPORT
#else
#define PLUGIN_API SYMBOLOGY_DLL_IMPORT
#endif

/// Loads a document. \return what pluginRun and pluginRelease take; null when it does not load.
extern "C" PLUGIN_API void* pluginLoad(const OLECHAR* path);
/// Symbolizes a new row `rows` times. \return 0, with the last row's label in `label`, or the number of the row that
/// failed.
extern "C" PLUGIN_API int pluginRun(void* document, int rows, char* label, unsigned capacity);
extern "C" PLUGIN_API void pluginRelease(void* document);
