// Opening regular files only.
#pragma once

#include "platform/portable/types.h"

#include <cstdio>

/// What opening gave: a file, which is the caller's to close, or null.
struct OpenedFile {
    std::FILE* file = nullptr;
    bool irregular = false;  // something of this name is there, and it is no regular file
};

/// Opens a file for reading that is one, and no device, pipe, socket or folder under a file's name. Never waits: what
/// is no regular file is not read, and where that shows before it is opened, not opened either.
SYMBOLOGY_PLATFORM_API OpenedFile openRegularFile(const char* path);
