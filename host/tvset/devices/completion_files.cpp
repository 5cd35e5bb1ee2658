#include "host/tvset/devices/completion_files.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include <android-base/stringprintf.h>
#include <android-base/unique_fd.h>

#include "host/tvset/seam/real.h"
#include "host/tvset/set.h"
#include "platform/bectrl.h"

using android::base::StringPrintf;
using android::base::unique_fd;

namespace tvset {
namespace {

/** Is registered in place of a completion file. */
struct Watch {
    unique_fd inotify;
    int epoll;
    uint64_t data;  // of its events
};

struct Watches {
    std::mutex mutex;
    std::multimap<int, Watch> byFile;
};

Watches& watches() {
    static auto& all = *new Watches;  // outlives threads still running at exit
    return all;
}

/** An unread notification absorbs the next one of its kind, which then wakes nobody. */
void discardNotifications(int inotify) {
    alignas(inotify_event) char notifications[4096];
    while (__real_read(inotify, notifications, sizeof(notifications)) > 0) continue;
}

}  // namespace

bool isOpenOn(int fd, const std::string& path) {
    struct stat opened, found;
    return fstat(fd, &opened) == 0 && stat(path.c_str(), &found) == 0 &&
           opened.st_dev == found.st_dev && opened.st_ino == found.st_ino;
}

bool isCompletionFile(int fd) {
    return isOpenOn(fd, pathInSet(std::string("fs") + BECTRL_DEVICE_COMPLETE)) ||
           isOpenOn(fd, pathInSet(std::string("fs") + BECTRL_HRTF_COMPLETE));
}

int addCompletionFile(int epoll, int file, const epoll_event& event) {
    unique_fd inotify(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    const std::string path = StringPrintf("/proc/self/fd/%d", file);
    if (inotify == -1 || inotify_add_watch(inotify, path.c_str(), IN_CLOSE_WRITE) == -1) return -1;
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    epoll_event own = event;
    if (__real_epoll_ctl(epoll, EPOLL_CTL_ADD, inotify, &own) != 0) return -1;
    all.byFile.emplace(file, Watch{std::move(inotify), epoll, event.data.u64});
    return 0;
}

void clearReportedEvents(int epoll, const epoll_event* events, int count) {
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    for (const auto& [file, watch] : all.byFile) {
        const uint64_t data = watch.data;
        const bool isReported = std::any_of(events, events + std::max(count, 0),
                                            [=](const auto& e) { return e.data.u64 == data; });
        if (watch.epoll == epoll && isReported) discardNotifications(watch.inotify);
    }
}

void removeCompletionFile(int file) {
    Watches& all = watches();
    const std::lock_guard lock(all.mutex);
    all.byFile.erase(file);
}

}  // namespace tvset
