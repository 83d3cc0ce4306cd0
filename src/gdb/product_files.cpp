#include "gdb/product_files.h"

#include "text/text.h"

#include <memory>
#include <type_traits>

namespace GeodatabaseUtilities {

namespace {

struct CloseKey {
    void operator()(HKEY key) const noexcept { RegCloseKey(key); }
};

/// Reads a text of at most `Units` units, terminator included. \return the registry's status.
template <std::size_t Units>
LONG readText(const OLECHAR* keyPath, const OLECHAR* valueName, BSTR* text) {
    *text = nullptr;
    HKEY key = nullptr;
    LONG status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath, 0, KEY_QUERY_VALUE, &key);
    if (status != ERROR_SUCCESS) return status;
    std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey> open(key);
    OLECHAR buffer[Units + 1] = {};  // the value may come without a terminator of its own
    DWORD bytes = Units * sizeof(OLECHAR);
    status = RegQueryValueExW(key, valueName, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &bytes);
    open.reset();
    if (status != ERROR_SUCCESS) return status;
    *text = ConditionalXml::makeBstr(buffer).Detach();
    return ERROR_SUCCESS;
}

}  // namespace

HRESULT HostVersion(BSTR* version) {
    constexpr std::size_t versionUnits = 32;
    const LONG status = readText<versionUnits>(OLESTR("Software\\Quillon\\TessalyPro"), OLESTR("Version"), version);
    return status == ERROR_SUCCESS ? S_OK : E_FAIL;
}

LONG ProductFilesFolder(BSTR* folder) {
    constexpr std::size_t folderUnits = 130;
    CComBSTR version;
    HostVersion(&version);  // read as the lookup is defined; it plays no part in the answer
    return readText<folderUnits>(OLESTR("Software\\Quillon\\SolvanePro"), OLESTR("ProductFiles"), folder);
}

}  // namespace GeodatabaseUtilities
