#include "tools/draw/symbol_set.h"

#include <filesystem>
#include <set>
#include <system_error>

namespace cxml {
namespace {

namespace fs = std::filesystem;

constexpr const char* styleSheet = "styles.json";

std::string styleSheetOf(const fs::path& folder) {
    std::error_code error;
    const fs::path own = folder / styleSheet;
    return fs::exists(own, error) ? own.string() : (fs::path(ownSymbolsFolder()) / styleSheet).string();
}

}  // namespace

std::string ownSymbolsFolder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return (program.parent_path().parent_path() / "share" / "symbology" / "symbols").string();
}

SymbolSet::SymbolSet(const std::string& folder, const std::string& palette) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const fs::path& path = entry->path();
        std::error_code unknown;
        if (path.extension() == ".svg" && fs::is_regular_file(path, unknown))
            files_.emplace(path.stem().string(), path.string());
    }
    if (error) throw DrawError(folder + ": the folder of the pictures cannot be read: " + error.message());
    styles_ = readStyles(styleSheetOf(folder), palette);
}

std::vector<std::string> SymbolSet::names() const {
    std::set<std::string> names;
    const auto add = [&](const auto& those) {
        for (const auto& [name, what] : those) names.insert(name);
    };
    add(files_);
    add(styles_.lines);
    add(styles_.areas);
    add(styles_.figures);
    return {names.begin(), names.end()};
}

const Picture* SymbolSet::picture(const std::string& name) {
    const auto file = files_.find(name);
    if (file == files_.end()) return nullptr;
    const auto [known, isNew] = pictures_.try_emplace(name);
    if (isNew) {
        try {
            known->second = readPicture(file->second, styles_.colours);
        } catch (const DrawError& error) {
            complaints_.push_back(file->second + ": " + error.what());
        }
    }
    return known->second ? &*known->second : nullptr;
}

}  // namespace cxml
