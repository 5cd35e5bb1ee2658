#include "host/tvset/files.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <android-base/file.h>

#include "host/tvset/seam/real.h"

using android::base::unique_fd;

namespace tvset {

bool isFifo(const std::string& path) {
    const int before = errno;
    struct stat found;
    const bool isOne = stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode);
    errno = isOne ? ENXIO : before;
    return isOne;
}

unique_fd openFile(const std::string& path, int flags) {
    if (isFifo(path)) return {};
    return unique_fd(__real_open(path.c_str(), flags | O_CLOEXEC, 0600));
}

std::optional<std::string> readFile(const std::string& path) {
    std::string content;
    if (!android::base::ReadFdToString(openFile(path, O_RDONLY), &content)) return std::nullopt;
    return content;
}

}  // namespace tvset
