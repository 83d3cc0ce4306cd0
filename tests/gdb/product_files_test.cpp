// Where the product's files are installed, and expression files that are found there.
#include "gdb/product_files.h"

#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <filesystem>

namespace {

using memhost::utf8;
using std::string;
using std::vector;

/// Has a file under tests/, or any other one, stand for the registry.
class RegistryScope {
public:
    explicit RegistryScope(const string& path) { PlatformSetRegistryFile(path.c_str()); }
    ~RegistryScope() { PlatformSetRegistryFile(nullptr); }
    RegistryScope(const RegistryScope&) = delete;
    RegistryScope& operator=(const RegistryScope&) = delete;
};

struct LookupCase {
    const char* file;
    LONG status;
    string folder;
    HRESULT versionStatus;
    string version;
};

TEST(ProductFiles, lookup) {
    const LookupCase rows[] = {
        {"product.reg", ERROR_SUCCESS, "C:\\Program Files\\SolvanePro\\", S_OK, "3.4.0"},
        {"no_version.reg", ERROR_SUCCESS, "/opt/solvanepro/", E_FAIL, ""},
        {"no_product.reg", ERROR_FILE_NOT_FOUND, "", S_OK, "3.4.0"},
        {"no_values.reg", ERROR_FILE_NOT_FOUND, "", E_FAIL, ""},
        {"no_such_file.reg", ERROR_FILE_NOT_FOUND, "", E_FAIL, ""},
        {"longest.reg", ERROR_SUCCESS, string(129, 'f'), S_OK, string(31, 'v')},
        {"too_long.reg", ERROR_MORE_DATA, "", E_FAIL, ""},
    };
    for (const LookupCase& row : rows) {
        const RegistryScope registry(testFile("gdb/data/" + string(row.file)));
        CComBSTR folder;
        CComBSTR version;
        EXPECT_EQ(GeodatabaseUtilities::ProductFilesFolder(&folder), row.status) << row.file;
        EXPECT_EQ(utf8(folder.m_str), row.folder) << row.file;
        EXPECT_EQ(folder.m_str == nullptr, row.status != ERROR_SUCCESS) << row.file;
        EXPECT_EQ(GeodatabaseUtilities::HostVersion(&version), row.versionStatus) << row.file;
        EXPECT_EQ(utf8(version.m_str), row.version) << row.file;
    }
}

/// Documents in a folder of their own, a working folder of its own, and a product folder that the registry names.
class ProductExpressionFile : public testing::Test {
protected:
    ProductExpressionFile() { std::filesystem::current_path(workingFolder.path()); }
    ~ProductExpressionFile() override { std::filesystem::current_path(before_); }

    /// Registers the folder, written with backslashes as the registry has them, and loads a document with the file.
    LoadedMap load(const string& folder, const string& file = "lib.py") const {
        string escaped;
        for (const char c : folder) escaped += c == '/' || c == '\\' ? "\\\\" : string(1, c);
        const RegistryScope registry(registryFolder.write(
            "machine.reg",
            "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\SolvanePro]\n\"ProductFiles\"=\"" + escaped + "\"\n"));
        return LoadedMap("<conditionMap name='m'><functionLibrary><expressionFile name='f'>" + file +
                             "</expressionFile></functionLibrary></conditionMap>",
                         documentFolder.path() + "/document.xml");
    }
    static string piece(const LoadedMap& loaded) { return utf8(loaded.map->expressions.at(memhost::bstr("f")).m_str); }

    TemporaryFolder workingFolder;
    TemporaryFolder documentFolder;
    TemporaryFolder productFolder;
    TemporaryFolder registryFolder;

private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(ProductExpressionFile, isFoundInItsChartingFolder) {
    productFolder.write("Charting/lib.py", "of the product");
    const LoadedMap loaded = load(productFolder.path() + "\\");
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(piece(loaded), "of the product\n");
}

TEST_F(ProductExpressionFile, nearerFilesComeFirst) {
    productFolder.write("Charting/lib.py", "of the product");
    documentFolder.write("lib.py", "beside");
    EXPECT_EQ(piece(load(productFolder.path() + "\\")), "beside\n");
    workingFolder.write("lib.py", "current");
    EXPECT_EQ(piece(load(productFolder.path() + "\\")), "current\n");
}

TEST_F(ProductExpressionFile, folderWithoutItsBackslashIsNotFound) {
    productFolder.write("Charting/lib.py", "of the product");
    const LoadedMap loaded = load(productFolder.path());
    EXPECT_FALSE(loaded.result);
    EXPECT_EQ(loaded.messages->errors(), vector<string>{"Failed to open CXML expression file: 'lib.py'!"});
}

TEST_F(ProductExpressionFile, nameWithAFolderIsNotLookedForThere) {
    productFolder.write("Charting/sub/lib.py", "of the product");
    EXPECT_FALSE(load(productFolder.path() + "\\", "sub/lib.py").result);
    EXPECT_FALSE(load(productFolder.path() + "\\", "sub\\lib.py").result);
}

TEST_F(ProductExpressionFile, fileOutsideOfChartingIsNotFound) {
    productFolder.write("lib.py", "of the product");
    EXPECT_FALSE(load(productFolder.path() + "\\").result);
}

TEST_F(ProductExpressionFile, withoutARegistryItIsNotFound) {
    const RegistryScope registry(registryFolder.path() + "/none.reg");
    const LoadedMap loaded(
        "<conditionMap name='m'><functionLibrary><expressionFile name='f'>lib.py</expressionFile>"
        "</functionLibrary></conditionMap>",
        documentFolder.path() + "/document.xml");
    EXPECT_EQ(loaded.messages->errors(), vector<string>{"Failed to open CXML expression file: 'lib.py'!"});
}

}  // namespace
