#include "support/documents.h"

#include "symbology/vel_core.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

using memhost::bstr;

CComPtr<IXMLDOMDocument> parseDocument(std::string_view xml) {
    CComPtr<IXMLDOMDocument> document;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(VelCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMDocument),
                                 reinterpret_cast<void**>(&document.p))))
        throw std::runtime_error("No DOM document can be created");
    if (FAILED(document->loadXML(bstr(xml), &loaded)) || loaded == VARIANT_FALSE)
        throw std::runtime_error("The test's document is not well formed: " + std::string(xml));
    return document;
}

CComPtr<IXMLDOMNode> selectNode(IXMLDOMNode* node, std::string_view xpath) {
    CComPtr<IXMLDOMNode> found;
    if (node->selectSingleNode(bstr(xpath), &found) != S_OK || !found)
        throw std::runtime_error("The test's document has no " + std::string(xpath));
    return found;
}

std::string testFile(std::string_view name) {
    return std::string(TESTS_DIR "/") + std::string(name);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("Cannot read " + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    for (;;) {
        const std::filesystem::path candidate =
            std::filesystem::temp_directory_path() / ("symbology-test-" + std::to_string(random()));
        if (!std::filesystem::create_directory(candidate)) continue;
        path_ = candidate.string();
        return;
    }
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;  // a folder that stays is the next clean-up's business
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::pathOf(std::string_view name) const {
    return (std::filesystem::path(path_) / name).string();
}

std::string TemporaryFolder::write(std::string_view name, std::string_view content) const {
    const std::filesystem::path path = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file << content;
    if (!file) throw std::runtime_error("Cannot write " + path.string());
    return path.string();
}
