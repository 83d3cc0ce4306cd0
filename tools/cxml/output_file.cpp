#include "output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace cxml {
namespace {

// Everything, to the disk. \return 0, or the number of the error.
int writeAll(int file, const std::string& content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written = ::write(file, content.data() + done, content.size() - done);
        if (written < 0 && errno != EINTR) return errno;
        if (written > 0) done += static_cast<std::size_t>(written);
    }
    return fsync(file) == 0 || errno == EINVAL || errno == ENOTSUP ? 0 : errno;
}

}  // namespace

ExitStatus writeOutput(Console& console, const std::string& path, const std::string& content, bool overwrite) {
    const auto refuse = [&](const std::string& why) {
        console.complain(fmt::format("{}: cannot be written: {}", path, why));
        return ExitStatus::Unusable;
    };
    std::error_code error;
    if (!overwrite && std::filesystem::exists(path, error)) return refuse("it is there already (see --overwrite)");
    std::string partial = path + ".XXXXXX";
    const int file = mkostemp(partial.data(), O_CLOEXEC);
    if (file < 0) return refuse(std::strerror(errno));
    int failure = writeAll(file, content);
    constexpr mode_t everyone = 0666;
    const mode_t mask = umask(0);
    umask(mask);
    if (failure == 0 && fchmod(file, everyone & ~mask) != 0) failure = errno;
    if (close(file) != 0 && failure == 0) failure = errno;
    // Without leave to overwrite, also a file that has come meanwhile stays.
    if (failure == 0 &&
        (overwrite ? std::rename(partial.c_str(), path.c_str()) : link(partial.c_str(), path.c_str())) != 0)
        failure = errno;
    if (failure != 0 || !overwrite) std::filesystem::remove(partial, error);
    return failure == 0 ? ExitStatus::Good : refuse(std::strerror(failure));
}

}  // namespace cxml
