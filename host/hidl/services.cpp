#define LOG_TAG "hidl"

#include "host/hidl/services.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include <android-base/stringprintf.h>
#include <hwbinder/ProcessState.h>
#include <log/log.h>

#include "host/hidl/environment.h"
#include "host/hidl/objects.h"
#include "host/hidl/run_directory.h"

namespace android::hardware {

using base::StringPrintf;
using base::unique_fd;

namespace {

/** Time that removing a whole set may take between its run directory and its root. */
constexpr auto kRemovalTime = std::chrono::milliseconds(200);
/** A registration that has to wait for another tries again after this, so many times. */
constexpr auto kLockInterval = std::chrono::milliseconds(20);
constexpr int kLockTries = 150;
/** After running out of descriptors or memory: time until new clients are accepted again. */
constexpr auto kDescriptorWait = std::chrono::milliseconds(100);
/** How often a service that is waited for is looked up. */
constexpr int kLookUpsPerSecond = 50;

/** A service of this process: its socket accepts clients of the object. */
class Service : public EventSource {
  public:
    Service(std::vector<std::string> links, const sp<BHwBinder>& object)
        : mLinks(std::move(links)), mObject(object) {}

    bool serves(const Service& other) const { return mObject == other.mObject; }
    /** Whether a live object other than this one has one of the names. */
    bool isTaken(const RunDirectory& directory) const;
    /**
     * Puts socket and links into the directory, and accepts clients. The previous socket is closed.
     *
     * @param self shares in this object.
     * @return OK or a negative errno, with nothing of it left in the directory.
     */
    status_t publish(const RunDirectory& directory, const std::shared_ptr<Service>& self);
    void onEvents(uint32_t events) override;

  private:
    const std::vector<std::string> mLinks;
    const sp<BHwBinder> mObject;
    unique_fd mSocket;
    EventLoop::Key mKey = 0;
};

/** What this process registered and waits for, and its watch over the run directory. */
class Services : public EventSource {
  public:
    static Services& instance() {
        static auto* const services = new std::shared_ptr<Services>(new Services);
        static std::once_flag isWatching;
        std::call_once(isWatching, [] { (*services)->startWatching(*services); });
        return **services;
    }

    status_t add(const std::shared_ptr<Service>& service);
    status_t notify(const std::string& link, const std::function<void()>& onRegistered);

    void onEvents(uint32_t events) override;

  private:
    void startWatching(const std::shared_ptr<Services>& self);
    status_t tryToAdd(const std::shared_ptr<Service>& service);
    int addWatch() const;
    status_t watchDirectory();
    void restore();
    std::vector<std::function<void()>> allRegistered() const;

    std::mutex mLock;
    std::vector<std::shared_ptr<Service>> mServices;                   // guarded by mLock
    std::multimap<std::string, std::function<void()>> mNotifications;  // guarded by mLock
    const unique_fd mInotify{inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    int mWatch = -1;            // guarded by mLock
    bool mIsRestoring = false;  // guarded by mLock
    EventLoop::Key mKey = 0;
};

/** @return nothing if no live process serves it; null for a HAL that was given up. */
std::optional<sp<IBinder>> lookUp(const std::string& link);

bool Service::isTaken(const RunDirectory& directory) const {
    return std::any_of(mLinks.begin(), mLinks.end(), [&](const std::string& link) {
        Identity identity;
        return directory.find(link, &identity) && !(identity == mObject->identity()) &&
               directory.isServed(identity);
    });
}

status_t Service::publish(const RunDirectory& directory, const std::shared_ptr<Service>& self) {
    Identity stale;
    if (directory.find(mLinks.front(), &stale)) directory.remove(socketName(stale));
    EventLoop::instance().remove(mKey, mSocket);
    const std::string file = socketName(mObject->identity());
    mSocket = directory.listenAt(mObject->identity());
    status_t error = mSocket < 0 ? -errno : OK;
    if (error == OK) exportObject(mObject);
    for (size_t i = 0; error == OK && i < mLinks.size(); i++) {
        error = directory.setLink(mLinks[i], i == 0 ? file : mLinks.front());
    }
    if (error == OK && !EventLoop::instance().add(mSocket, EPOLLIN, self, &mKey)) error = NO_MEMORY;
    if (error != OK) {
        for (const std::string& link : mLinks) directory.remove(link);
        directory.remove(file);
        mSocket.reset();
    }
    return error;
}

void Service::onEvents(uint32_t) {
    ForeignFd client(accept4(mSocket, nullptr, nullptr, SOCK_CLOEXEC));
    if (client < 0) {
        if (errno != EMFILE && errno != ENFILE && errno != ENOBUFS && errno != ENOMEM) return;
        // Without a descriptor or memory the client waits: the event would come again at once.
        EventLoop::instance().modify(mKey, mSocket, 0);
        EventLoop::instance().runAt(EventLoop::Clock::now() + kDescriptorWait, [this] {
            EventLoop::instance().modify(mKey, mSocket, EPOLLIN);
        });
        return;
    }
    const pid_t peer = trustedPeer(client);
    const auto record = Peer::of(peer);
    if (peer < 0) return record->logClosed("it belongs to another user");
    if (record->connections() >= limits::kMaxConnections)
        return record->logClosed("it has too many connections");
    bool isStarted = false;
    try {
        isStarted = startServing(mObject, std::move(client), peer, PeerKind::CLIENT);
    } catch (const std::bad_alloc&) {
    }
    if (!isStarted) record->logClosed("no memory left for it");
}

void Services::startWatching(const std::shared_ptr<Services>& self) {
    const bool isWatching = EventLoop::instance().add(mInotify, EPOLLIN, self, &mKey);
    ALOGW_IF(!isWatching, "the run directory is not watched: %s", strerror(errno));
}

/** Watches the run directory. @return its watch, or -1 with errno. */
int Services::addWatch() const {
    return inotify_add_watch(mInotify, environment::runDirectory().c_str(),
                             IN_MOVED_TO | IN_ONLYDIR | IN_DONT_FOLLOW);
}

/** Makes the run directory unless it is there. @return OK or a negative errno. */
status_t Services::watchDirectory() {
    const std::filesystem::path path = environment::runDirectory();
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return -errno;
    mWatch = addWatch();
    if (mWatch < 0) return -errno;
    // Its sockets keep a removed directory alive: only its parent shows that it is gone.
    inotify_add_watch(mInotify, path.parent_path().c_str(), IN_DELETE | IN_MOVED_FROM);
    return OK;
}

status_t Services::add(const std::shared_ptr<Service>& service) {
    status_t error = tryToAdd(service);
    for (int i = 0; (error == -EWOULDBLOCK || error == -ENOENT) && i < kLockTries; i++) {
        std::this_thread::sleep_for(kLockInterval);
        error = tryToAdd(service);
    }
    return error;
}

/**
 * @return as registerService(); or -EWOULDBLOCK while another process registers a service, -ENOENT
 *     if the run directory has been removed meanwhile.
 */
status_t Services::tryToAdd(const std::shared_ptr<Service>& service) {
    const std::lock_guard<std::mutex> lock(mLock);
    for (const auto& other : mServices) {
        if (other->serves(*service)) return INVALID_OPERATION;
    }
    const status_t watched = watchDirectory();
    const RunDirectory directory;
    if (status_t error = directory.prepare(); error != OK) return error;
    if (service->isTaken(directory)) return ALREADY_EXISTS;
    if (status_t error = service->publish(directory, service); error != OK) return error;
    ALOGW_IF(watched != OK, "the run directory is not watched: %s", strerror(-watched));
    mServices.push_back(service);
    return OK;
}

status_t Services::notify(const std::string& link, const std::function<void()>& onRegistered) {
    const std::lock_guard<std::mutex> lock(mLock);
    if (status_t error = watchDirectory(); error != OK) return error;
    mNotifications.emplace(link, onRegistered);
    return OK;
}

void Services::onEvents(uint32_t) {
    alignas(inotify_event) char buffer[4096];
    const ssize_t size = TEMP_FAILURE_RETRY(read(mInotify, buffer, sizeof(buffer)));
    const auto name = std::filesystem::path(environment::runDirectory()).filename();
    std::vector<std::function<void()>> registered;  // called without the lock
    bool areLost = false, isRemoved = false;
    std::unique_lock<std::mutex> lock(mLock);
    for (ssize_t at = 0; at < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(buffer + at);
        at += ssize_t(sizeof(event) + event.len);
        areLost |= event.mask & IN_Q_OVERFLOW;
        isRemoved |= event.mask & (IN_DELETE | IN_MOVED_FROM) && event.name == name;
        if (event.wd == mWatch && event.mask & IN_MOVED_TO) {
            const auto [first, last] = mNotifications.equal_range(event.name);
            for (auto it = first; it != last; ++it) registered.push_back(it->second);
        }
    }
    // The watch is the same as long as the directory is.
    isRemoved |= areLost && (mWatch < 0 || addWatch() != mWatch);
    if (isRemoved) {
        registered.clear();  // restore() looks for them
        inotify_rm_watch(mInotify, mWatch);
        if (!std::exchange(mIsRestoring, true)) {
            // Leaves time to remove the set as a whole.
            EventLoop::instance().runAt(EventLoop::Clock::now() + kRemovalTime,
                                        [this] { restore(); });
        }
    } else if (areLost) {
        registered = allRegistered();
    }
    lock.unlock();
    for (const auto& onRegistered : registered) onRegistered();
}

/** Notifications of all services that are there. */
std::vector<std::function<void()>> Services::allRegistered() const {
    std::vector<std::function<void()>> registered;
    for (const auto& [link, onRegistered] : mNotifications) {
        if (lookUp(link)) registered.push_back(onRegistered);
    }
    return registered;
}

/** The run directory has been removed. */
void Services::restore() {
    std::unique_lock<std::mutex> lock(mLock);
    status_t error = watchDirectory();
    const RunDirectory directory;
    if (error == OK) error = directory.prepare();
    if (error == -EWOULDBLOCK) {  // another process registers a service
        EventLoop::instance().runAt(EventLoop::Clock::now() + kLockInterval, [this] { restore(); });
        return;
    }
    mIsRestoring = false;
    if (error == OK) {
        for (const auto& service : mServices) {
            const status_t failure = service->isTaken(directory)
                                             ? ALREADY_EXISTS
                                             : service->publish(directory, service);
            if (error == OK) error = failure;
        }
    }
    if (!mServices.empty()) {
        ALOGW("%s was removed; its sockets are %s", environment::runDirectory().c_str(),
              error == OK ? "back" : StringPrintf("lost: %s", strerror(-error)).c_str());
    }
    // Others may have made the directory again, and registered, before it was watched.
    const auto registered = allRegistered();
    lock.unlock();
    for (const auto& onRegistered : registered) onRegistered();
}

PeerKind kindOf(const std::string& link) {
    return link.rfind("android.hardware.", 0) == 0 ? PeerKind::HAL : PeerKind::SERVICE;
}

std::optional<sp<IBinder>> lookUp(const std::string& link) {
    const RunDirectory directory;
    Identity identity;
    if (!directory.find(link, &identity)) return {};
    if (sp<BHwBinder> own = findExported(identity); own != nullptr) return own;
    if (sp<BpHwBinder> known = findImported(identity); known != nullptr) return known;
    ForeignFd socket = directory.connectTo(identity);
    if (socket < 0) return {};
    const PeerKind kind = kindOf(link);
    if (kind == PeerKind::HAL && Peer::of(trustedPeer(socket))->isGivenUp()) return nullptr;
    return importService(identity, std::move(socket), kind);
}

}  // namespace

status_t registerService(const std::vector<std::string>& names, const sp<BHwBinder>& object) {
    std::vector<std::string> links;
    for (const std::string& name : names) {
        links.push_back(encode(name));
        if (links.back().size() > NAME_MAX || name.back() == '/') return BAD_VALUE;
    }
    return Services::instance().add(std::make_shared<Service>(links, object));
}

sp<IBinder> findService(const std::string& name, bool shouldWait) {
    const std::string link = encode(name);
    if (const auto found = lookUp(link)) return *found;
    if (!shouldWait || !environment::isDeclared(name)) return nullptr;
    // On a set the pool is started for the service manager's notification.
    ProcessState::self()->startThreadPool();
    for (int waits = 1;; waits++) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1000 / kLookUpsPerSecond));
        if (const auto found = lookUp(link)) return *found;
        if (waits % kLookUpsPerSecond == 0) {
            ALOGW("%s is declared but not registered; waited %d s for it", name.c_str(),
                  waits / kLookUpsPerSecond);
        }
    }
}

std::vector<std::string> listServices() {
    std::vector<std::string> names;
    std::map<Identity, bool> isAlive;
    const RunDirectory directory;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(
            fdopendir(fcntl(directory.fd(), F_DUPFD_CLOEXEC, 0)), closedir);
    while (const dirent* entry = entries == nullptr ? nullptr : readdir(entries.get())) {
        Identity identity;
        if (!directory.find(entry->d_name, &identity)) continue;
        const auto [it, isNew] = isAlive.try_emplace(identity, false);
        if (isNew) it->second = directory.isServed(identity);
        if (it->second) names.push_back(decode(entry->d_name));
    }
    std::sort(names.begin(), names.end());
    return names;
}

status_t watchService(const std::string& name, const std::function<void(bool)>& notify) {
    const status_t error = Services::instance().notify(encode(name), [notify] { notify(false); });
    if (error == OK && lookUp(encode(name))) notify(true);
    return error;
}

}  // namespace android::hardware
