#include "cxml/expression_file.h"

#include "gdb/product_files.h"
#include "platform/native_path.h"
#include "platform/regular_file.h"
#include "text/text.h"

#include <cstdio>
#include <memory>
#include <utility>

namespace ConditionalXml {

CComBSTR folderOf(WideView path) {
    std::size_t separator = path.rfind(OLESTR('\\'));
    if (separator == WideView::npos) separator = path.rfind(OLESTR('/'));
    return separator == WideView::npos ? CComBSTR() : makeBstr(path.substr(0, separator + 1));
}

namespace {

constexpr std::size_t largestFile = 10'000'000;

ExpressionFile readWhole(const std::string& path) {
    const OpenedFile opened = openRegularFile(path.c_str());
    if (opened.irregular) return {std::nullopt, "is not a regular file"};
    if (!opened.file) return {};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(opened.file, std::fclose);
    std::string content;
    char block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file.get())) {
        content.append(block, count);
        if (content.size() > largestFile) return {std::nullopt, "is longer than 10,000,000 bytes"};
    }
    if (std::ferror(file.get()) != 0) return {};
    return {std::move(content)};
}

std::string narrowText(WideView text) {
    return narrow(text);
}

/// Whether the search is over; otherwise what was found to be wrong is remembered.
bool found(ExpressionFile&& candidate, ExpressionFile& result) {
    if (candidate.content || !result.refusal) result = std::move(candidate);
    return result.content.has_value();
}

}  // namespace

ExpressionFile readExpressionFile(WideView path, const std::set<CComBSTR, BstrLess>& directories) {
    const std::string name = narrowPath(path, narrowText);
    ExpressionFile result;
    if (found(readWhole(name), result)) return result;
    if (name.find_first_of("\\/") != std::string::npos) return result;
    for (const CComBSTR& directory : directories)
        if (found(readWhole(narrowPath(view(directory), narrowText) + name), result)) return result;
    CComBSTR product;
    if (GeodatabaseUtilities::ProductFilesFolder(&product) != ERROR_SUCCESS) return result;
    // Joined as it stands: a folder that was registered without its closing backslash is not found.
    found(readWhole(nativePath(narrow(view(product)) + "Charting\\" + name)), result);
    return result;
}

}  // namespace ConditionalXml
