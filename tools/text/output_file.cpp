#include "tools/text/output_file.h"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>

namespace cxml {
namespace {

constexpr const char* isThere = "exists already; --overwrite replaces it";

std::string words(int error) {
    return std::generic_category().message(error);
}

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

// Gives the file the owner of the one that it replaces. \return the permissions that it is to have.
mode_t inherit(const std::string& replaced, int file) {
    constexpr mode_t permissions = 07777;
    constexpr mode_t special = 07000;
    struct stat there{};
    if (lstat(replaced.c_str(), &there) == 0 && S_ISREG(there.st_mode)) {
        const bool isTheirs = fchown(file, there.st_uid, there.st_gid) == 0;
        return there.st_mode & (isTheirs ? permissions : permissions & ~special);
    }
    const mode_t mask = umask(0);
    umask(mask);
    constexpr mode_t readableAndWritable = 0666;
    return readableAndWritable & ~mask;
}

// False, with errno, when the file has not got its name.
bool nameFile(const std::string& from, const std::string& to, WhenThere whenThere) {
    if (whenThere == WhenThere::Replace) return std::rename(from.c_str(), to.c_str()) == 0;
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The file system cannot do that, but a second name is as exclusive.
    return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

}  // namespace

std::string whyNotWritable(const std::string& name, WhenThere whenThere) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::symlink_status(name, error);
    if (std::filesystem::exists(status)) {
        if (whenThere == WhenThere::Refuse) return isThere;
        if (!std::filesystem::is_regular_file(name, error)) return "is no regular file";
    }
    const std::filesystem::path folder = std::filesystem::path(name).parent_path();
    if (!std::filesystem::is_directory(folder.empty() ? "." : folder, error)) return "there is no such folder";
    return {};
}

std::string writeFile(const std::string& name, std::string_view content, WhenThere whenThere) {
    // Also what has come there meanwhile: a device must not give way to a file.
    if (std::string why = whyNotWritable(name, whenThere); !why.empty()) return why;
    std::string partial = name + ".partial-XXXXXX";
    const int file = mkstemp(partial.data());
    if (file < 0) return words(errno);
    int failure = 0;
    if (!writeAll(file, content) || fchmod(file, inherit(name, file)) != 0 || fsync(file) != 0) failure = errno;
    if (close(file) != 0 && failure == 0) failure = errno;
    if (failure == 0 && !nameFile(partial, name, whenThere)) failure = errno;
    if (failure == 0) return {};
    unlink(partial.c_str());
    return failure == EEXIST && whenThere == WhenThere::Refuse ? isThere : words(failure);
}

}  // namespace cxml
