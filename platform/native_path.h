// Names of files between the library's texts and the system.
#pragma once

#include "platform/platform.h"

#include <algorithm>
#include <string>

/// Paths from the registry are written the Windows way; this is how they open here.
inline std::string nativePath(std::string path) {
#ifndef _WIN32
    std::ranges::replace(path, '\\', '/');
#endif
    return path;
}

/// The path in the system's narrow form, by `narrow`, which converts a text. The name of a file need not be a text
/// everywhere: a byte from 0x80 on that is part of none stands in the path as a lone surrogate, U+DC80 to U+DCFF.
template <class Narrow>
std::string narrowPath(WideView path, const Narrow& narrow) {
    const auto isWithin = [](OLECHAR unit, unsigned first, unsigned last) { return unit >= first && unit <= last; };
    std::string result;
    std::size_t begin = 0;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (isWithin(path[i], 0xD800, 0xDBFF) && i + 1 < path.size() && isWithin(path[i + 1], 0xDC00, 0xDFFF)) {
            ++i;
        } else if (isWithin(path[i], 0xDC80, 0xDCFF)) {
            result += narrow(path.substr(begin, i - begin));
            result += static_cast<char>(static_cast<unsigned char>(path[i] & 0xFF));
            begin = i + 1;
        }
    }
    return begin == 0 ? narrow(path) : result + narrow(path.substr(begin));
}
