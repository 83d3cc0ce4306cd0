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
    throw HostError(name + ": exists already; only a new file is made");
}

std::string words(int error) {
    return std::error_code(error, std::generic_category()).message();
}

}  // namespace

NewFile::NewFile(std::string name, WhenThere whenThere) : name_(std::move(name)), whenThere_(whenThere) {
    expectFree();
    folder_ = name_ + ".partial-XXXXXX";
    if (!mkdtemp(folder_.data())) throw HostError(name_ + ": no folder can be made beside it: " + words(errno));
    path_ = folder_ + "/" + std::filesystem::path(name_).filename().string();
    files_ = {path_, path_ + "-journal", path_ + "-wal", path_ + "-shm"};
    for (std::atomic<const NewFile*>& place : unfinished)
        if (const NewFile* none = nullptr; place.compare_exchange_strong(none, this)) break;
}

void NewFile::expectFree() const {
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(name_, error))) return;
    if (whenThere_ == WhenThere::Refuse) refuseExisting(name_);
    if (!std::filesystem::is_regular_file(name_, error)) throw HostError(name_ + ": is no regular file");
    // What a database has beside its file would be taken for part of the new one.
    for (const char* ending : {"-journal", "-wal"})
        if (std::filesystem::exists(name_ + ending, error))
            throw HostError(name_ + ": is not replaced: " + name_ + ending + " says that it is in use");
}

NewFile::~NewFile() {
    for (std::atomic<const NewFile*>& place : unfinished)
        if (const NewFile* own = this; place.compare_exchange_strong(own, nullptr)) break;
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
    for (const std::atomic<const NewFile*>& place : unfinished)
        if (const NewFile* const file = place) file->removeKnown();
}

void NewFile::finish() {
    expectFree();
    const bool isRenamed =
        whenThere_ == WhenThere::Refuse ? renamedToNew(path_, name_) : std::rename(path_.c_str(), name_.c_str()) == 0;
    if (isRenamed) return;
    const int error = errno;
    if (error == EEXIST) refuseExisting(name_);
    throw HostError(name_ + ": the finished file cannot be given this name: " + words(error));
}

}  // namespace embedded_host
