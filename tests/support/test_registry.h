// The machine's part of the registry, as a test wants it.
#pragma once

#include "platform/platform.h"

#include <string>

/// Stands in the place of HKEY_LOCAL_MACHINE for this process as long as it lives: empty but for what is added. On
/// Windows real keys, made below the user's and removed again; off Windows a file. One at a time.
class TestRegistry {
public:
    TestRegistry();
    ~TestRegistry();
    TestRegistry(const TestRegistry&) = delete;
    TestRegistry& operator=(const TestRegistry&) = delete;

    /// Paths are below the root and, as names and texts, in ASCII.
    TestRegistry& key(const std::string& path);
    TestRegistry& text(const std::string& path, const std::string& name, const std::string& value);
    TestRegistry& number(const std::string& path, const std::string& name, DWORD value);

private:
    std::string place_;    // the file, or the key that takes the root's place
    std::string content_;  // of the file
};
