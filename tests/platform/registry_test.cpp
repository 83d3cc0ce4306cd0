// The registry off Windows: a file in the form that registry editors export.
#include "platform/platform.h"

#include <gtest/gtest.h>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

class Registry : public testing::Test {
protected:
    Registry() { PlatformSetRegistryFile(TEST_DATA_DIR "/registry/values.reg"); }
    ~Registry() override { PlatformSetRegistryFile(nullptr); }

    /// The status of opening the key and asking for the value; its bytes in `data`.
    LSTATUS read(const char16_t* path, const char16_t* name, DWORD capacity = 1024) {
        HKEY key = nullptr;
        LSTATUS status = RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key);
        if (status != ERROR_SUCCESS) return status;
        data.assign(capacity, 0xCC);
        size = capacity;
        type = 0;
        status = RegQueryValueExW(key, name, nullptr, &type, data.data(), &size);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
        return status;
    }
    std::u16string text() const {
        std::u16string result(size / 2, u'\0');
        std::memcpy(result.data(), data.data(), size);
        return result;
    }

    std::vector<BYTE> data;
    DWORD size = 0;
    DWORD type = 0;
};

constexpr const char16_t* product = u"Software\\Vendor\\Product";

struct TextCase {
    const char16_t* name;
    std::u16string text;  // its terminator is counted
};

TEST_F(Registry, textsComeWithTheirTerminator) {
    const TextCase rows[] = {{u"Text", u"plain"},
                             {u"TEXT", u"plain"},
                             {u"Spaced", u"between blanks"},
                             {u"Escaped", u"C:\\Folder\\ and \"quotes\""},
                             {u"Empty", u""},
                             {u"Beyond ASCII", u"b\u00F8je \u20AC"},
                             {u"BEYOND ascii", u"b\u00F8je \u20AC"},
                             {u"Twice", u"second"},
                             {u"Later", u"the same key again"}};
    for (const TextCase& row : rows) {
        ASSERT_EQ(read(product, row.name), ERROR_SUCCESS);
        EXPECT_EQ(type, REG_SZ);
        EXPECT_EQ(text(), row.text + u'\0');
    }
}

TEST_F(Registry, numbers) {
    ASSERT_EQ(read(product, u"Number"), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_DWORD);
    ASSERT_EQ(size, 4U);
    DWORD number = 0;
    std::memcpy(&number, data.data(), 4);
    EXPECT_EQ(number, 10U);
}

TEST_F(Registry, linesThatAreNoValuesArePassedOver) {
    for (const char16_t* name :
         {u"Not a number", u"Unfinished", u"No value", u"Text without quotes", u"Binary", u"none"})
        EXPECT_EQ(read(product, name), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, keysAreFoundWithoutRegardToCase) {
    EXPECT_EQ(read(u"SOFTWARE\\vendor\\PRODUCT", u"Text"), ERROR_SUCCESS);
    ASSERT_EQ(read(u"Software\\Vendor\\Product\\Deeper", u"Text"), ERROR_SUCCESS);
    EXPECT_EQ(text(), std::u16string(u"deeper\0", 7));
}

TEST_F(Registry, keysThatAreNotThere) {
    EXPECT_EQ(read(u"Software\\Vendor", u"Text"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(read(u"Software\\Vendor\\User", u"Text"), ERROR_FILE_NOT_FOUND) << "it is another root's";
    EXPECT_EQ(read(u"Software\\Empty", u"Text"), ERROR_FILE_NOT_FOUND) << "the key is there, the value is not";
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Empty", 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Vend", 0, KEY_QUERY_VALUE, &key), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, keysAboveOthersAreThere) {
    HKEY key = nullptr;
    for (const char16_t* path : {u"Software", u"Software\\Vendor", u"Software\\Vendor\\"}) {
        EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
        EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    }
}

TEST_F(Registry, oneBackslashAtTheEndOfAPathDoesNotCount) {
    EXPECT_EQ(read(u"Software\\Vendor\\Product\\", u"Text"), ERROR_SUCCESS);
}

TEST_F(Registry, valueThatDoesNotFitTellsItsSize) {
    EXPECT_EQ(read(product, u"Text", 12), ERROR_SUCCESS);
    EXPECT_EQ(read(product, u"Text", 11), ERROR_MORE_DATA);
    EXPECT_EQ(size, 12U);
    EXPECT_EQ(data[0], 0xCC) << "nothing was written";
    EXPECT_EQ(read(product, u"Text", 0), ERROR_MORE_DATA);
}

TEST_F(Registry, sizeAlone) {
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, product, 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
    DWORD bytes = 0;
    EXPECT_EQ(RegQueryValueExW(key, u"Text", nullptr, nullptr, nullptr, &bytes), ERROR_SUCCESS);
    EXPECT_EQ(bytes, 12U);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, wrongArguments) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, nullptr, 0, KEY_QUERY_VALUE, &key), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, product, 0, KEY_QUERY_VALUE, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegOpenKeyExW(nullptr, product, 0, KEY_QUERY_VALUE, &key), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegQueryValueExW(nullptr, u"Text", nullptr, nullptr, nullptr, nullptr), ERROR_INVALID_HANDLE);
    EXPECT_EQ(RegCloseKey(nullptr), ERROR_INVALID_HANDLE);
    ASSERT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, product, 0, KEY_QUERY_VALUE, &key), ERROR_SUCCESS);
    BYTE byte = 0;
    EXPECT_EQ(RegQueryValueExW(key, u"Text", nullptr, nullptr, &byte, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(Registry, withoutAFileThereAreNoKeys) {
    PlatformSetRegistryFile(TEST_DATA_DIR "/registry/none.reg");
    EXPECT_EQ(read(product, u"Text"), ERROR_FILE_NOT_FOUND);
    PlatformSetRegistryFile(TEST_DATA_DIR);
    EXPECT_EQ(read(product, u"Text"), ERROR_FILE_NOT_FOUND) << "a folder is no file";
}

TEST_F(Registry, environmentNamesTheFileUnlessTheHostDoes) {
    PlatformSetRegistryFile(nullptr);
    ASSERT_EQ(setenv("SYMBOLOGY_REGISTRY", TEST_DATA_DIR "/registry/values.reg", 1), 0);
    EXPECT_EQ(read(product, u"Text"), ERROR_SUCCESS);
    PlatformSetRegistryFile(TEST_DATA_DIR "/registry/none.reg");
    EXPECT_EQ(read(product, u"Text"), ERROR_FILE_NOT_FOUND);
    unsetenv("SYMBOLOGY_REGISTRY");
}

}  // namespace
