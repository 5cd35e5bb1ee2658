#define LOG_TAG "hidl"

#include "host/hidl/service_table.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include <log/log.h>

#include "host/hidl/objects.h"
#include "host/tvset/set.h"

namespace android::hardware {

using base::unique_fd;
namespace fs = std::filesystem;

namespace {

/** A socket that accepts clients of one object. */
class Listener : public EventSource {
  public:
    static void start(unique_fd socket, const sp<BHwBinder>& object);
    void onEvents(uint32_t events) override;
    void pause(bool shouldPause);

    const sp<BHwBinder> object;

  private:
    Listener(unique_fd socket, const sp<BHwBinder>& served)
        : object(served), mSocket(std::move(socket)) {}
    void admit(unique_fd client);

    const unique_fd mSocket;
    EventLoop::Key mKey = 0;
};

/** Listeners live as long as the process. */
struct Listeners {
    std::mutex lock;
    std::vector<std::shared_ptr<Listener>> all;
    bool arePaused = false;
};

Listeners& listeners() {
    static auto* instance = new Listeners;
    return *instance;
}

void pauseAccepting(bool shouldPause) {
    std::lock_guard<std::mutex> lock(listeners().lock);
    if (listeners().arePaused == shouldPause) return;
    listeners().arePaused = shouldPause;
    for (const auto& listener : listeners().all) listener->pause(shouldPause);
}

void Listener::start(unique_fd socket, const sp<BHwBinder>& object) {
    int fd = socket.get();
    std::shared_ptr<Listener> listener(new Listener(std::move(socket), object));
    std::lock_guard<std::mutex> lock(listeners().lock);
    listeners().all.push_back(listener);
    EventLoop::instance().add(fd, EPOLLIN, listener, &listener->mKey);
}

void Listener::pause(bool shouldPause) {
    EventLoop::instance().modify(mKey, mSocket, shouldPause ? 0u : uint32_t{EPOLLIN});
}

void Listener::onEvents(uint32_t) {
    unique_fd client(accept4(mSocket, nullptr, nullptr, SOCK_CLOEXEC));
    if (client >= 0) return admit(std::move(client));
    // A client that finds no descriptor left waits: the event would come again at once otherwise.
    if (errno == EMFILE || errno == ENFILE) pauseAccepting(true);
}

void Listener::admit(unique_fd client) {
    pid_t peer = trustedPeer(client);
    if (peer < 0) return logPeer(peer, "it belongs to another user");
    if (countConnections(peer) >= kMaxConnectionsPerPeer) {
        return logPeer(peer, "it has too many");
    }
    ServedConnection::start(object, object->identity(), std::move(client), peer,
                            Channel::kCallback);
}

std::string runDirectory() {
    return tvset::pathInSet("run");
}

std::string hex(const Identity& identity) {
    char text[33];
    snprintf(text, sizeof(text), "%016lx%016lx", identity.words[0], identity.words[1]);
    return text;
}

bool parseHex(const std::string& text, Identity* identity) {
    return text.size() == 32 && text.find_first_not_of("0123456789abcdef") == std::string::npos &&
           sscanf(text.c_str(), "%16lx%16lx", &identity->words[0], &identity->words[1]) == 2;
}

/** Address of a socket in the run directory, however long that directory's name is. */
sockaddr_un addressOf(int directory, const Identity& identity) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "/proc/self/fd/%d/%s", directory,
             hex(identity).c_str());
    return address;
}

unique_fd openRunDirectory() {
    return unique_fd(open(runDirectory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/** Connects to the socket of an object; invalid if no process listens there. */
unique_fd connectTo(int directory, const Identity& identity) {
    unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = addressOf(directory, identity);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (TEMP_FAILURE_RETRY(connect(socket, generic, sizeof(address))) != 0) socket.reset();
    return socket;
}

/** Follows the links of a service to the identity of its object. */
bool resolve(const fs::path& link, Identity* identity) {
    std::error_code error;
    fs::path target = fs::read_symlink(link, error);
    if (!error && target.has_parent_path() && target.filename() == link.filename()) {
        target = fs::read_symlink((link.parent_path() / target).lexically_normal(), error);
    }
    return !error && parseHex(target.filename(), identity);
}

bool isServed(int directory, const fs::path& link) {
    Identity identity;
    return resolve(link, &identity) && connectTo(directory, identity) >= 0;
}

status_t setLink(const fs::path& link, const fs::path& target) {
    std::error_code error;
    fs::create_directory(link.parent_path(), error);
    fs::path fresh = link.string() + ".new";
    fs::remove(fresh, error);
    fs::create_symlink(target, fresh, error);
    if (!error) fs::rename(fresh, link, error);
    return -error.value();
}

/** Takes the socket that a dead process left under a link out of the directory. */
void removeStaleSocket(const fs::path& link) {
    Identity identity;
    std::error_code ignored;
    if (resolve(link, &identity)) fs::remove(runDirectory() + "/" + hex(identity), ignored);
}

unique_fd listenAt(int directory, const Identity& identity) {
    unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = addressOf(directory, identity);
    if (bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(socket, SOMAXCONN) != 0) {
        return {};
    }
    return socket;
}

/**
 * A HAL of the platform answers soon or not at all, and its caller has others to serve. Any other
 * service may take long: ours wait for the middleware inside a call.
 */
Channel::Patience patienceFor(const std::string& descriptor) {
    const bool isHal = descriptor.rfind("android.hardware.", 0) == 0;
    return isHal ? Channel::kCallback : Channel::kForever;
}

}  // namespace

status_t registerService(const std::vector<std::string>& descriptors, const std::string& instance,
                         const sp<BHwBinder>& object) {
    if (instance.empty() || instance[0] == '.' || instance.find('/') != std::string::npos) {
        return BAD_VALUE;
    }
    if (mkdir(runDirectory().c_str(), 0700) != 0 && errno != EEXIST) return -errno;
    unique_fd directory = openRunDirectory();
    // One registration at a time, so that two processes cannot both find a name free.
    if (directory < 0 || TEMP_FAILURE_RETRY(flock(directory, LOCK_EX)) != 0) return -errno;
    struct stat owner;
    if (fstat(directory, &owner) != 0 || owner.st_uid != geteuid()) return PERMISSION_DENIED;
    if (fchmod(directory, 0700) != 0) return -errno;

    std::vector<fs::path> links;
    for (const std::string& descriptor : descriptors) {
        links.push_back(fs::path(runDirectory()) / descriptor / instance);
        if (isServed(directory, links.back())) return ALREADY_EXISTS;
    }
    removeStaleSocket(links.front());
    unique_fd socket = listenAt(directory, object->identity());
    if (socket < 0) return -errno;
    Listener::start(std::move(socket), object);
    for (const fs::path& link : links) {
        fs::path target = link == links.front() ? fs::path("..") / hex(object->identity())
                                                : fs::path("..") / descriptors.front() / instance;
        if (status_t error = setLink(link, target); error != OK) return error;
    }
    return OK;
}

sp<BHwBinder> findRegistered(const Identity& identity) {
    std::lock_guard<std::mutex> lock(listeners().lock);
    for (const auto& listener : listeners().all) {
        if (listener->object->identity() == identity) return listener->object;
    }
    return nullptr;
}

void resumeAccepting() {
    pauseAccepting(false);
}

namespace details {

sp<IBinder> findService(const std::string& descriptor, const std::string& instance) {
    Identity identity;
    if (!resolve(fs::path(runDirectory()) / descriptor / instance, &identity)) return nullptr;
    if (sp<BHwBinder> own = findRegistered(identity); own != nullptr) return own;
    if (sp<BpHwBinder> known = findImported(identity); known != nullptr && !known->isDead()) {
        return known;
    }
    unique_fd directory = openRunDirectory();
    unique_fd socket = connectTo(directory, identity);
    if (socket < 0) return nullptr;
    return importService(identity, std::move(socket), patienceFor(descriptor));
}

std::vector<std::string> listServices() {
    std::vector<std::string> names;
    unique_fd directory = openRunDirectory();
    std::error_code error;
    for (const auto& interface : fs::directory_iterator(runDirectory(), error)) {
        for (const auto& link : fs::directory_iterator(interface.path(), error)) {
            std::error_code unreadable;
            fs::path target = fs::read_symlink(link.path(), unreadable);
            Identity identity;
            bool isNewest = !unreadable && parseHex(target.filename(), &identity);
            if (!isNewest || connectTo(directory, identity) < 0) continue;
            names.push_back(interface.path().filename() / link.path().filename());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace details
}  // namespace android::hardware
