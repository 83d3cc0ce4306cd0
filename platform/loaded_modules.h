// The libraries that this process has loaded, whoever did it, and what they export.
#pragma once

#include "platform/platform.h"

#ifndef _WIN32
#include "platform/portable/loaded_modules.h"
#else
#include <psapi.h>
#include <cstring>
#include <vector>

using LoadedModule = HMODULE;

/// Those with a file named `name` and anything behind it, in the order in which they were loaded. Nothing is loaded,
/// and they may be unloaded by whoever has them.
inline std::vector<LoadedModule> loadedModules(const char* name) {
    DWORD size = 0;
    std::vector<LoadedModule> all;
    do {
        all.resize(size / sizeof(LoadedModule));
        if (!K32EnumProcessModules(GetCurrentProcess(), all.data(),
                                   static_cast<DWORD>(all.size() * sizeof(LoadedModule)), &size))
            return {};
    } while (all.size() * sizeof(LoadedModule) < size);
    all.resize(size / sizeof(LoadedModule));
    std::erase_if(all, [&](LoadedModule module) {
        char file[MAX_PATH];
        return K32GetModuleBaseNameA(GetCurrentProcess(), module, file, MAX_PATH) == 0 ||
               _strnicmp(file, name, std::strlen(name)) != 0;
    });
    return all;
}

/// What the module exports under the name; null when there is no such.
inline void* exportedSymbol(LoadedModule module, const char* name) noexcept {
    return reinterpret_cast<void*>(GetProcAddress(module, name));
}

/// From now on what has this address stays loaded until the process ends.
inline void keepLoaded(void* address) noexcept {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       static_cast<LPCSTR>(address), &module);
}
#endif
