#include "host/tvset/devices/operation.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <android-base/errno_restorer.h>
#include <android-base/unique_fd.h>

#include "host/tvset/faults.h"
#include "host/tvset/files.h"
#include "host/tvset/seam/log_sink.h"
#include "host/tvset/seam/real.h"
#include "host/tvset/set.h"

using android::base::ErrnoRestorer;
using android::base::unique_fd;

namespace tvset {

int32_t perform(const char* name, const std::string& arguments,
                const std::function<int32_t()>& work, const std::function<std::string()>& outcome) {
    const auto fault = takeFault(name, arguments);
    const int32_t result = fault ? fault->raise() : work();
    const ErrnoRestorer keepErrno;
    appendToJournal(name + ("(" + arguments) + (outcome ? outcome() : "") +
                    ") = " + std::to_string(result));
    return result;
}

void appendToJournal(std::string line) {
    const std::string path = pathInSet("journal");
    const unique_fd fd = openFile(path, O_WRONLY | O_APPEND | O_CREAT);
    line += '\n';
    if (fd == -1 || __real_write(fd, line.data(), line.size()) == -1) {
        writeToStderr("tvset: cannot write " + path + ": " + strerror(errno));
    }
}

}  // namespace tvset
