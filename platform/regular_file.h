// Opening a file for reading that is one, and no device, pipe or folder under a file's name.
#pragma once

#include "platform/platform.h"

#ifndef _WIN32
#include "platform/portable/regular_file.h"
#else
#include <io.h>
#include <cstdint>
#include <cstdio>

struct OpenedFile {
    std::FILE* file = nullptr;
    bool irregular = false;
};

inline OpenedFile openRegularFile(const char* path) {
    const HANDLE handle = CreateFileA(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const DWORD attributes = GetFileAttributesA(path);
        return {nullptr, attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0};
    }
    // Consoles, NUL and pipes are no disk files; volumes and drives are, but have nothing to tell.
    BY_HANDLE_FILE_INFORMATION information{};
    const bool regular = GetFileType(handle) == FILE_TYPE_DISK && GetFileInformationByHandle(handle, &information) != 0;
    const int descriptor = regular ? _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), 0) : -1;
    if (descriptor < 0) {
        CloseHandle(handle);
        return {nullptr, !regular};
    }
    std::FILE* const file = _fdopen(descriptor, "rb");
    if (!file) _close(descriptor);
    return {file};
}
#endif
