#include "cxml/expression_file.h"

#include "api/failures.h"
#include "gdb/product_files.h"
#include "platform/native_path.h"

#include <fstream>

namespace ConditionalXml {

CComBSTR folderOf(WideView path) {
    std::size_t separator = path.rfind(OLESTR('\\'));
    if (separator == WideView::npos) separator = path.rfind(OLESTR('/'));
    return separator == WideView::npos ? CComBSTR() : makeBstr(path.substr(0, separator + 1));
}

namespace {

std::optional<std::string> readWhole(const std::string& path) {
    std::ifstream file(path);
    if (!file) return std::nullopt;
    std::string content;
    char block[4096];
    while (file.read(block, sizeof block) || file.gcount() > 0)
        content.append(block, static_cast<std::size_t>(file.gcount()));
    if (file.bad()) return std::nullopt;  // a directory, say: some systems open it and fail when it is read
    return content;
}

}  // namespace

std::optional<std::string> readExpressionFile(WideView path, const std::set<CComBSTR, BstrLess>& directories) {
    const std::string narrowPath = narrow(path);
    if (auto content = readWhole(narrowPath)) return content;
    if (narrowPath.find_first_of("\\/") != std::string::npos) return std::nullopt;
    for (const CComBSTR& directory : directories)
        if (auto content = readWhole(narrow(view(directory)) + narrowPath)) return content;
    CComBSTR product;
    if (GeodatabaseUtilities::ProductFilesFolder(&product) != ERROR_SUCCESS) return std::nullopt;
    // Joined as it stands: a folder that was registered without its closing backslash is not found.
    return readWhole(nativePath(narrow(view(product)) + "Charting\\" + narrowPath));
}

}  // namespace ConditionalXml
