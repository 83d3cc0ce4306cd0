// The libraries that this process has loaded: by the dynamic linker.
#pragma once

#include "platform/portable/types.h"

#include <vector>

/// A handle of the dynamic linker; null is all that the program and what it was linked with export.
using LoadedModule = void*;

/// Null, and then those with a file named "lib", `name` and anything behind it, in the order in which they were loaded.
/// Nothing is loaded, and they may be unloaded by whoever has them.
SYMBOLOGY_PLATFORM_API std::vector<LoadedModule> loadedModules(const char* name);

/// What the module exports under the name; null when there is no such.
SYMBOLOGY_PLATFORM_API void* exportedSymbol(LoadedModule module, const char* name) noexcept;

/// From now on what has this address stays loaded until the process ends.
SYMBOLOGY_PLATFORM_API void keepLoaded(void* address) noexcept;
