#include "tools/draw/import_symbols.h"

#include "tools/draw/picture.h"
#include "tools/draw/style_sheet.h"
#include "tools/text/output_file.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace cxml {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t mostBytes = 1'000'000;

// In the order of their names, so that messages come in one.
std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        std::error_code unknown;
        if (fs::is_regular_file(entry->path(), unknown)) files.push_back(entry->path());
    }
    if (error) throw DrawError(folder.string() + ": the folder cannot be read: " + error.message());
    std::ranges::sort(files);
    return files;
}

bool isPicture(const fs::path& file) {
    return file.extension() == ".svg";
}

std::string read(const fs::path& file) {
    std::error_code error;
    if (fs::file_size(file, error) > mostBytes || error)
        throw DrawError(file.string() + ": is more than a megabyte long");
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

fs::path styleSheetIn(const std::vector<fs::path>& files, const fs::path& folder, const std::string& palette) {
    const auto found = std::ranges::find_if(files, [&](const fs::path& file) {
        return lowerAscii(file.extension().string()) == ".css" &&
               lowerAscii(file.filename().string()).starts_with(palette);
    });
    if (found == files.end())
        throw DrawError(fmt::format("{}: there is no style sheet {}*.css", folder.string(), palette));
    return *found;
}

void makeFolder(const std::string& folder) {
    std::error_code error;
    if (fs::exists(folder, error) && !(fs::is_directory(folder, error) && fs::is_empty(folder, error)))
        throw DrawError(folder + ": exists already and is no empty folder");
    fs::create_directory(folder, error);
    if (error) throw DrawError(folder + ": the folder cannot be made: " + error.message());
}

}  // namespace

ImportedSymbols importSymbols(const std::string& catalogue, const std::string& folder, const std::string& palette) {
    std::error_code error;
    const fs::path symbols = fs::path(catalogue) / "Symbols";
    const fs::path source = fs::is_directory(symbols, error) ? symbols : fs::path(catalogue);
    const std::vector<fs::path> files = filesIn(source);
    const auto classes = readStyleSheet(read(styleSheetIn(files, source, palette)));
    if (std::ranges::none_of(files, isPicture)) throw DrawError(source.string() + ": there are no pictures");
    makeFolder(folder);
    ImportedSymbols imported;
    for (const fs::path& file : files) {
        if (!isPicture(file)) continue;
        std::string text;
        try {
            text = pictureFile(importPicture(file.string(), classes));
        } catch (const DrawError& refusal) {
            imported.refused.push_back(file.string() + ": " + refusal.what());
            continue;
        }
        const std::string target = (fs::path(folder) / file.filename()).string();
        if (const std::string why = writeFile(target, text, WhenThere::Refuse); !why.empty())
            throw DrawError(fmt::format("{}: cannot be written: {}", target, why));
        ++imported.pictures;
    }
    return imported;
}

}  // namespace cxml
