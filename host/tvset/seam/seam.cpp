/*
 * Where the services' system calls enter the set: the linker replaces each call of X by one of
 * __wrap_X (CMakeLists.txt has the list). The wrappers inject faults, redirect the set's paths,
 * refuse FIFOs, which would block a service, wait by the set's clock, and pass the driver's files
 * and requests to the driver. Everything else goes to the C library.
 */

#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <unistd.h>

#include <string>

#include <android-base/stringprintf.h>

#include "host/tvset/devices/completion_files.h"
#include "host/tvset/devices/driver.h"
#include "host/tvset/faults.h"
#include "host/tvset/files.h"
#include "host/tvset/seam/clock.h"
#include "host/tvset/seam/real.h"
#include "host/tvset/set.h"
#include "platform/bectrl.h"

using android::base::StringPrintf;
using tvset::Fault;
using tvset::isFifo;
using tvset::mayFail;
using tvset::takeFault;

namespace {

/** Maps a path of the set's file system into the set; leaves any other path as it is. */
std::string hostPath(const std::string& path) {
    if (path == BECTRL_DEVICE) return tvset::pathOfDriver();
    for (const char* prefix : {"/data/vendor/", "/proc/driver/zavo_bectrl/"}) {
        if (path.rfind(prefix, 0) == 0) return tvset::pathInSet("fs" + path);
    }
    return path;
}

std::string pathOfDescriptor(int fd) {
    char path[PATH_MAX];
    const ssize_t length =
            readlink(StringPrintf("/proc/self/fd/%d", fd).c_str(), path, sizeof(path));
    return std::string(path, length < 0 ? 0 : length);
}

/** Finding the path takes a system call, and every log line and message is a read or a write. */
std::optional<Fault> takeDescriptorFault(const char* operation, int fd) {
    return mayFail(operation) ? takeFault(operation, pathOfDescriptor(fd)) : std::nullopt;
}

/** fread and fwrite. A fault makes them transfer nothing, or half, and set errno. */
template <typename Transfer>
size_t transferItems(const char* operation, size_t size, size_t count, FILE* file,
                     const Transfer& transfer) {
    const auto fault = takeDescriptorFault(operation, fileno(file));
    if (!fault) return transfer(size, count);
    const size_t bytes = fault->isShort ? transfer(1, size * count / 2) : 0;
    fault->raise();
    return size == 0 ? 0 : bytes / size;
}

}  // namespace

extern "C" {

int __wrap_access(const char* path, int mode) {
    if (const auto fault = takeFault("access", path)) return fault->raise();
    return __real_access(hostPath(path).c_str(), mode);
}

int __wrap_epoll_create(int size) {
    if (const auto fault = takeFault("epoll_create", "")) return fault->raise();
    return __real_epoll_create(size);
}

int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event) {
    if (const auto fault = takeDescriptorFault("epoll_ctl", fd)) return fault->raise();
    if (operation == EPOLL_CTL_ADD && event != nullptr && tvset::isCompletionFile(fd)) {
        return tvset::addCompletionFile(epoll, fd, *event);
    }
    return __real_epoll_ctl(epoll, operation, fd, event);
}

int __wrap_epoll_wait(int epoll, epoll_event* events, int maxEvents, int timeoutMs) {
    if (const auto fault = takeFault("epoll_wait", "")) return fault->raise();
    const int count = tvset::currentClock().waitForEvents(epoll, events, maxEvents, timeoutMs);
    tvset::clearReportedEvents(epoll, events, count);
    return count;
}

int __wrap_fclose(FILE* file) {
    tvset::removeCompletionFile(fileno(file));
    return __real_fclose(file);
}

FILE* __wrap_fopen(const char* path, const char* mode) {
    if (const auto fault = takeFault("fopen", path)) {
        fault->raise();
        return nullptr;
    }
    const std::string onHost = hostPath(path);
    return isFifo(onHost) ? nullptr : __real_fopen(onHost.c_str(), mode);
}

size_t __wrap_fread(void* buffer, size_t size, size_t count, FILE* file) {
    return transferItems("fread", size, count, file, [=](size_t itemSize, size_t items) {
        return __real_fread(buffer, itemSize, items, file);
    });
}

int __wrap_fseek(FILE* file, long offset, int origin) {
    if (const auto fault = takeDescriptorFault("fseek", fileno(file))) return fault->raise();
    return __real_fseek(file, offset, origin);
}

size_t __wrap_fwrite(const void* buffer, size_t size, size_t count, FILE* file) {
    return transferItems("fwrite", size, count, file, [=](size_t itemSize, size_t items) {
        return __real_fwrite(buffer, itemSize, items, file);
    });
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (tvset::isDriver(fd)) return tvset::performRequest(fd, request, argument);
    return __real_ioctl(fd, request, argument);
}

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (const auto fault = takeFault("open", path)) return fault->raise();
    const std::string onHost = hostPath(path);
    return isFifo(onHost) ? -1 : __real_open(onHost.c_str(), flags, mode);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
    if (const auto fault = takeFault("pthread_create", "")) {
        return fault->error != 0 ? fault->error : fault->result;  // errno stays as it is
    }
    return tvset::currentClock().createThread(thread, attributes, function, argument);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    const auto fault = takeDescriptorFault("read", fd);
    if (fault && !fault->isShort) return fault->raise();
    return __real_read(fd, buffer, fault ? size / 2 : size);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    const auto fault = takeDescriptorFault("write", fd);
    if (fault && !fault->isShort) return fault->raise();
    return __real_write(fd, buffer, fault ? size / 2 : size);
}

int __wrap_remove(const char* path) {
    if (const auto fault = takeFault("remove", path)) return fault->raise();
    return __real_remove(hostPath(path).c_str());
}

int __wrap_timerfd_create(int clock, int flags) {
    if (const auto fault = takeFault("timerfd_create", "")) return fault->raise();
    if (clock != CLOCK_MONOTONIC) {  // the only one whose time the set plays
        errno = EINVAL;
        return -1;
    }
    return __real_timerfd_create(clock, flags);
}

int __wrap_timerfd_settime(int timer, int flags, const itimerspec* value, itimerspec* old) {
    if (const auto fault = takeFault("timerfd_settime", "")) return fault->raise();
    return tvset::currentClock().setTimer(timer, flags, value, old);
}

int __wrap_nanosleep(const timespec* duration, timespec* remaining) {
    return tvset::currentClock().sleepFor(tvset::durationOf(*duration), remaining);
}

int __wrap_usleep(useconds_t microseconds) {
    return tvset::currentClock().sleepFor(std::chrono::microseconds(microseconds), nullptr);
}

}  // extern "C"
