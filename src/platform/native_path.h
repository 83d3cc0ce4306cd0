// Paths from the registry are written the Windows way; this is how they open here.
#pragma once

#include <algorithm>
#include <string>

inline std::string nativePath(std::string path) {
#ifndef _WIN32
    std::ranges::replace(path, '\\', '/');
#endif
    return path;
}
