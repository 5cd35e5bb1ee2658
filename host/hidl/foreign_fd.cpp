#include "host/hidl/foreign_fd.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <exception>
#include <thread>

namespace android::hardware {

namespace {

/** Messages that nobody read may hold descriptors, which are closed with their socket. */
bool canBlock(int fd) {
    int unread = 0;
    if (isUnixStream(fd)) return ioctl(fd, FIONREAD, &unread) != 0 || unread > 0;
    return true;  // even to ask what it is may block: a pipe, a file system in user space
}

}  // namespace

bool isUnixStream(int fd) {
    int domain = 0, type = 0;
    socklen_t size = sizeof(int);
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX &&
           getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

void ForeignCloser::Close(int fd) {
    if (!canBlock(fd)) {
        close(fd);
        return;
    }
    const linger none{};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof(none));
    try {
        std::thread([fd] { close(fd); }).detach();
    } catch (const std::exception&) {
        // Without a thread or memory for one it stays open: better than to block everybody.
    }
}

}  // namespace android::hardware
