// Where the product's files are installed, and expression files that are found there.
#include "gdb/product_files.h"

#include "support/loaded_map.h"
#include "support/test_registry.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <functional>

namespace {

using memhost::utf8;
using std::string;
using std::vector;

constexpr const char* productKey = "Software\\Quillon\\SolvanePro";
constexpr const char* versionKey = "Software\\Quillon\\TessalyPro";

TEST(ProductFiles, folder) {
    struct Case {
        const char* name;
        std::function<void(TestRegistry&)> fill;
        LONG status;
        string folder;
    };
    const auto value = [](const string& folder) {
        return [folder](TestRegistry& registry) { registry.text(productKey, "ProductFiles", folder); };
    };
    const Case rows[] = {
        {"with its backslash", value("C:\\Program Files\\SolvanePro\\"), ERROR_SUCCESS,
         "C:\\Program Files\\SolvanePro\\"},
        {"without a backslash", value("C:\\SolvanePro"), ERROR_SUCCESS, "C:\\SolvanePro"},
        {"with slashes", value("/opt/solvanepro/"), ERROR_SUCCESS, "/opt/solvanepro/"},
        {"empty", value(""), ERROR_SUCCESS, ""},
        {"longest", value(string(129, 'f')), ERROR_SUCCESS, string(129, 'f')},
        {"one too long", value(string(130, 'f')), ERROR_MORE_DATA, ""},
        {"two too long", value(string(131, 'f')), ERROR_MORE_DATA, ""},
        {"no key", [](TestRegistry&) {}, ERROR_FILE_NOT_FOUND, ""},
        {"no value", [](TestRegistry& registry) { registry.key(productKey); }, ERROR_FILE_NOT_FOUND, ""},
        {"another value", [](TestRegistry& registry) { registry.text(productKey, "Other", "x"); }, ERROR_FILE_NOT_FOUND,
         ""},
        {"another type is read as units",
         [](TestRegistry& registry) { registry.number(productKey, "ProductFiles", 0x00420041); }, ERROR_SUCCESS, "AB"},
    };
    for (const Case& row : rows) {
        SCOPED_TRACE(row.name);
        TestRegistry registry;
        row.fill(registry);
        CComBSTR folder;
        EXPECT_EQ(GeodatabaseUtilities::ProductFilesFolder(&folder), row.status);
        EXPECT_EQ(utf8(folder.m_str), row.folder);
        EXPECT_EQ(folder.m_str == nullptr, row.status != ERROR_SUCCESS);
    }
}

TEST(ProductFiles, version) {
    struct Case {
        const char* name;
        std::function<void(TestRegistry&)> fill;
        HRESULT status;
        string version;
    };
    const auto value = [](const string& version) {
        return [version](TestRegistry& registry) { registry.text(versionKey, "Version", version); };
    };
    const Case rows[] = {
        {"a version", value("3.4.0"), S_OK, "3.4.0"},
        {"longest", value(string(31, 'v')), S_OK, string(31, 'v')},
        {"one too long", value(string(32, 'v')), E_FAIL, ""},
        {"no key", [](TestRegistry&) {}, E_FAIL, ""},
        {"no value", [](TestRegistry& registry) { registry.key(versionKey); }, E_FAIL, ""},
    };
    for (const Case& row : rows) {
        SCOPED_TRACE(row.name);
        TestRegistry registry;
        row.fill(registry);
        CComBSTR version;
        EXPECT_EQ(GeodatabaseUtilities::HostVersion(&version), row.status);
        EXPECT_EQ(utf8(version.m_str), row.version);
    }
}

/// Documents in a folder of their own, a working folder of its own, and a product folder that the registry names.
class ProductExpressionFile : public testing::Test {
protected:
    ProductExpressionFile() { std::filesystem::current_path(workingFolder.path()); }
    ~ProductExpressionFile() override { std::filesystem::current_path(before_); }

    /// Registers the folder, written with backslashes as the registry has them, and loads a document with the file.
    LoadedMap load(string folder, const string& file = "lib.py") const {
        std::ranges::replace(folder, '/', '\\');
        TestRegistry registry;
        registry.text(productKey, "ProductFiles", folder);
        return LoadedMap("<conditionMap name='m'><functionLibrary><expressionFile name='f'>" + file +
                             "</expressionFile></functionLibrary></conditionMap>",
                         documentFolder.pathOf("document.xml"));
    }
    static string piece(const LoadedMap& loaded) { return utf8(loaded.map->expressions.at(memhost::bstr("f")).m_str); }

    TemporaryFolder workingFolder;
    TemporaryFolder documentFolder;
    TemporaryFolder productFolder;

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

TEST_F(ProductExpressionFile, withoutAKeyItIsNotFound) {
    const TestRegistry registry;
    const LoadedMap loaded(
        "<conditionMap name='m'><functionLibrary><expressionFile name='f'>lib.py</expressionFile>"
        "</functionLibrary></conditionMap>",
        documentFolder.pathOf("document.xml"));
    EXPECT_EQ(loaded.messages->errors(), vector<string>{"Failed to open CXML expression file: 'lib.py'!"});
}

}  // namespace
