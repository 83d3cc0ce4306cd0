// A file for interfaces that read from files only.
#pragma once

#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace fuzzing {

/// An empty file in the system's temporary folder that goes away with the object.
class TemporaryFile {
public:
    TemporaryFile() : path_((std::filesystem::temp_directory_path() / "symbology-fuzz-XXXXXX").string()) {
        const int file = mkstemp(path_.data());
        if (file < 0) throw std::runtime_error("No temporary file can be made");
        close(file);
    }
    ~TemporaryFile() {
        std::error_code ignored;  // a file that stays is the next clean-up's business
        std::filesystem::remove(path_, ignored);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const noexcept { return path_; }
    void write(std::string_view content) const {
        std::ofstream file(path_, std::ios::binary | std::ios::trunc);
        file.write(content.data(), static_cast<std::streamsize>(content.size()));
    }

private:
    std::string path_;
};

}  // namespace fuzzing
