#include "platform/portable/regular_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

OpenedFile openRegularFile(const char* path) {
    struct stat status{};
    if (stat(path, &status) != 0) return {};
    if (!S_ISREG(status.st_mode)) return {nullptr, true};
    // Something else may have taken the name meanwhile.
    const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) return {};
    const bool regular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    std::FILE* const file = regular ? fdopen(descriptor, "rb") : nullptr;
    if (!file) close(descriptor);
    return {file, !regular};
}
