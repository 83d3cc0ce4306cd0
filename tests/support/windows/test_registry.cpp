// Real keys: Windows lets a process put another key in the place of a root.
#include "support/test_registry.h"

#include <stdexcept>

namespace {

void require(LONG status, const char* what) {
    if (status != ERROR_SUCCESS) throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
}

/// A key that is there from now on.
class Key {
public:
    Key(HKEY root, const std::string& path) {
        require(RegCreateKeyExA(root, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key_, nullptr),
                "Cannot make a key");
    }
    ~Key() { RegCloseKey(key_); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

    void put(const std::string& name, DWORD type, const void* data, std::size_t bytes) const {
        require(RegSetValueExA(key_, name.c_str(), 0, type, static_cast<const BYTE*>(data), static_cast<DWORD>(bytes)),
                "Cannot set a value");
    }
    HKEY get() const noexcept { return key_; }

private:
    HKEY key_ = nullptr;
};

}  // namespace

TestRegistry::TestRegistry() : place_("Software\\SymbologyTests\\" + std::to_string(GetCurrentProcessId())) {
    const Key root(HKEY_CURRENT_USER, place_);
    require(RegOverridePredefKey(HKEY_LOCAL_MACHINE, root.get()), "Cannot replace the root");
}

TestRegistry::~TestRegistry() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegDeleteTreeA(HKEY_CURRENT_USER, place_.c_str());
}

TestRegistry& TestRegistry::key(const std::string& path) {
    const Key made(HKEY_LOCAL_MACHINE, path);
    return *this;
}

TestRegistry& TestRegistry::text(const std::string& path, const std::string& name, const std::string& value) {
    Key(HKEY_LOCAL_MACHINE, path).put(name, REG_SZ, value.c_str(), value.size() + 1);
    return *this;
}

TestRegistry& TestRegistry::number(const std::string& path, const std::string& name, DWORD value) {
    Key(HKEY_LOCAL_MACHINE, path).put(name, REG_DWORD, &value, sizeof value);
    return *this;
}
