#include "host/audioctl/debug.h"

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <sstream>

#include <android-base/unique_fd.h>
#include <cutils/native_handle.h>

#include "host/audioctl/errors.h"
#include "host/audioctl/text.h"

namespace audioctl {

using android::base::unique_fd;

namespace {

/** The content of a pipe so far, without waiting: the service may keep the other end open. */
std::string readAll(int pipe) {
    std::string text;
    char piece[4096];
    for (ssize_t count; (count = read(pipe, piece, sizeof(piece))) > 0;) text.append(piece, count);
    return text;
}

}  // namespace

void printDebug(android::hidl::base::V1_0::IBase& service) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw UsageError(std::string("no pipe: ") + strerror(errno));
    const unique_fd from(ends[0]);
    const unique_fd to(ends[1]);
    fcntl(from, F_SETFL, O_NONBLOCK);
    const std::unique_ptr<native_handle_t, int (*)(native_handle_t*)> handle(
            native_handle_create(1, 0), native_handle_delete);
    handle->data[0] = to;
    examine(service.debug(handle.get(), {}));

    std::istringstream text(readAll(from));
    for (std::string line; std::getline(text, line);) printLine(printable(line));
}

}  // namespace audioctl
