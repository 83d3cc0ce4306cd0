// Folders with names of their own, and renaming that never replaces a file.
#include "host/geodatabase/new_file.h"

#include "host/host_error.h"

#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace embedded_host {

namespace {

// False, with errno, when it was not done; there is then no file `to` of ours.
bool renamedToNew(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
    if (errno != EINVAL && errno != ENOSYS) return false;
    // The file system cannot do that, but a second name is as exclusive.
    return link(from.c_str(), to.c_str()) == 0;
}

[[noreturn]] void refuseExisting(const std::string& name) {
    throw HostError(name + ": exists already; an import makes a new dataset");
}

std::string words(int error) {
    return std::error_code(error, std::generic_category()).message();
}

}  // namespace

NewFile::NewFile(std::string name) : name_(std::move(name)) {
    std::error_code error;
    if (std::filesystem::exists(std::filesystem::symlink_status(name_, error))) refuseExisting(name_);
    folder_ = name_ + ".partial-XXXXXX";
    if (!mkdtemp(folder_.data())) throw HostError(name_ + ": no folder can be made beside it: " + words(errno));
    path_ = folder_ + "/" + std::filesystem::path(name_).filename().string();
    files_ = {path_, path_ + "-journal", path_ + "-wal", path_ + "-shm"};
    unfinished = this;
}

NewFile::~NewFile() {
    if (unfinished == this) unfinished = nullptr;
    if (removeKnown()) return;
    try {
        std::filesystem::remove_all(folder_);
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): it is beside what this is about
    }
}

bool NewFile::removeKnown() const noexcept {
    for (const std::string& file : files_) unlink(file.c_str());
    return rmdir(folder_.c_str()) == 0;
}

void NewFile::removeUnfinished() noexcept {
    if (const NewFile* const last = unfinished) last->removeKnown();
}

void NewFile::finish() {
    if (renamedToNew(path_, name_)) return;
    const int error = errno;
    if (error == EEXIST) refuseExisting(name_);
    throw HostError(name_ + ": the finished file cannot be given this name: " + words(error));
}

}  // namespace embedded_host
