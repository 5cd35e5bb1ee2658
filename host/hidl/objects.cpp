#include "host/hidl/objects.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <unordered_set>

#include "host/hidl/rpc.h"
#include "host/hidl/service_table.h"

namespace android::hardware {

using base::unique_fd;

namespace {

/**
 * All connections of the process. References are never dropped under its lock, since what ends
 * then takes the lock again.
 */
struct Tables {
    struct Imported {
        wp<BpHwBinder> binder;
        pid_t peer = -1;
    };

    std::mutex lock;
    std::unordered_set<ServedConnection*> served;
    std::map<Identity, Imported> imported;
};

Tables& tables() {
    static auto* instance = new Tables;  // generated clean-up runs after that of this file
    return *instance;
}

}  // namespace

/** Leads a hang-up to the object that it concerns, if that still exists. */
class BpHwBinder::Watch : public EventSource {
  public:
    explicit Watch(const wp<BpHwBinder>& binder) : mBinder(binder) {}
    void onEvents(uint32_t) override {
        if (sp<BpHwBinder> binder = mBinder.promote(); binder != nullptr) binder->announceDeath();
    }

  private:
    const wp<BpHwBinder> mBinder;
};

BpHwBinder::BpHwBinder(const Identity& identity, unique_fd socket, pid_t peer,
                       Channel::Patience patience)
    : mIdentity(identity), mChannel(std::move(socket), peer, patience) {}

BpHwBinder::~BpHwBinder() {
    if (mWatchKey != 0) EventLoop::instance().remove(mWatchKey, mChannel.socket());
    resumeAccepting();
    std::lock_guard<std::mutex> lock(tables().lock);
    auto it = tables().imported.find(mIdentity);
    if (it != tables().imported.end() && it->second.binder.unsafe_get() == this) {
        tables().imported.erase(it);
    }
}

status_t BpHwBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                              TransactCallback) {
    if (mIsDead) return DEAD_OBJECT;
    MessageHeader header;
    header.kind = MessageHeader::kCall;
    header.code = code;
    header.flags = flags;

    const bool isOneWay = flags & FLAG_ONEWAY;  // never goes where the peer waits for a reply
    status_t status;
    if (Channel* nested = isOneWay ? nullptr : servedChannel(peer()); nested != nullptr) {
        header.target = mIdentity;
        status = exchange(*nested, header, data, reply);
    } else {
        std::unique_lock<std::recursive_mutex> lock(mCallLock, std::try_to_lock);
        if (!lock.owns_lock()) {
            // The call before may be waiting for the turn, to serve a nested one.
            Turn::Pause pause;
            lock.lock();
        }
        status = isOneWay ? mChannel.send(header, data) : exchange(mChannel, header, data, reply);
    }
    if (status == OK) {
        return isOneWay ? OK : static_cast<status_t>(reply->incoming().header().code);
    }
    if (status == TIMED_OUT) giveUpPeer(peer());
    if (status == TIMED_OUT || status == DEAD_OBJECT || status == BAD_VALUE) mIsDead = true;
    return status;
}

status_t BpHwBinder::linkToDeath(const sp<DeathRecipient>& recipient) {
    std::lock_guard<std::mutex> lock(mRecipientLock);
    if (mIsDead) return DEAD_OBJECT;
    mRecipients.push_back(recipient);
    if (mWatchKey == 0) {
        EventLoop::instance().add(mChannel.socket(), EPOLLRDHUP, std::make_shared<Watch>(this),
                                  &mWatchKey);
    }
    return OK;
}

status_t BpHwBinder::unlinkToDeath(const wp<DeathRecipient>& recipient) {
    std::lock_guard<std::mutex> lock(mRecipientLock);
    auto it = std::find(mRecipients.begin(), mRecipients.end(), recipient);
    if (it == mRecipients.end()) return NAME_NOT_FOUND;
    mRecipients.erase(it);
    return OK;
}

void BpHwBinder::announceDeath() {
    std::vector<wp<DeathRecipient>> recipients;
    {
        std::lock_guard<std::mutex> lock(mRecipientLock);
        mIsDead = true;
        EventLoop::instance().remove(mWatchKey, mChannel.socket());
        recipients.swap(mRecipients);
    }
    for (const auto& entry : recipients) {
        if (sp<DeathRecipient> recipient = entry.promote(); recipient != nullptr) {
            recipient->binderDied(this);
        }
    }
}

ServedConnection::ServedConnection(const sp<BHwBinder>& object, const Identity& identity,
                                   unique_fd socket, pid_t peer, Channel::Patience patience)
    : mObject(object), mIdentity(identity), mChannel(std::move(socket), peer, patience) {
    std::lock_guard<std::mutex> lock(tables().lock);
    tables().served.insert(this);
}

ServedConnection::~ServedConnection() {
    {
        std::lock_guard<std::mutex> lock(tables().lock);
        tables().served.erase(this);
    }
    resumeAccepting();
}

void ServedConnection::start(const sp<BHwBinder>& object, const Identity& identity,
                             unique_fd socket, pid_t peer, Channel::Patience patience) {
    int fd = socket.get();
    std::shared_ptr<ServedConnection> connection(
            new ServedConnection(object, identity, std::move(socket), peer, patience));
    EventLoop::instance().add(fd, EPOLLIN, connection, &connection->mKey);
}

void ServedConnection::end() {
    EventLoop::instance().remove(mKey, mChannel.socket());
}

void ServedConnection::onTimeout() {
    giveUpPeer(peer());
    end();
}

void ServedConnection::onEvents(uint32_t events) {
    if (!mBacklog.empty()) {
        if (mChannel.sendBacklog(&mBacklog) != OK || (events & EPOLLHUP)) return end();
        if (!mBacklog.empty()) return;
        EventLoop::instance().setTimeout(mKey, EventLoop::Clock::time_point::max());
        waitFor(EPOLLIN);
        return;
    }
    if (!readCall()) end();
}

bool ServedConnection::readCall() {
    while (true) {
        switch (mCall.receive(mChannel.socket(), MSG_DONTWAIT)) {
            case Message::Progress::kComplete:
                if (!serveCall()) return false;
                if (mCall.isEmpty()) return true;
                continue;  // with what came behind it
            case Message::Progress::kPartial:
                continue;
            case Message::Progress::kNothing:
                return true;
            case Message::Progress::kClosed:
                return false;
            case Message::Progress::kMalformed:
                logPeer(peer(), mCall.error());
                return false;
        }
    }
}

bool ServedConnection::serveCall() {
    if (mCall.header().kind != MessageHeader::kCall) {
        logPeer(peer(), "a reply to no call");
        return false;
    }
    const Identity& target = mCall.header().target;
    sp<BHwBinder> object = target.isNull() ? mObject : findExported(target, peer());
    status_t status = serve(mChannel, mCall, object,
                            [this](status_t s, const Parcel& parcel) { return answer(s, parcel); });
    mCall.reset();
    return status == OK;
}

status_t ServedConnection::answer(status_t status, const Parcel& parcel) {
    MessageHeader header;
    header.kind = MessageHeader::kReply;
    header.code = static_cast<uint32_t>(status);
    status_t error = mChannel.sendOrKeep(header, parcel, &mBacklog);
    if (!mBacklog.empty()) {
        // No further call is read before its answer has been: the backlog holds one at most.
        waitFor(EPOLLOUT);
        EventLoop::instance().setTimeout(mKey, EventLoop::Clock::now() + Channel::kCallback);
    }
    if (error == DEAD_OBJECT) mChannel.shutdown();  // what is not answered must not look alive
    return error;
}

void ServedConnection::waitFor(uint32_t events) {
    EventLoop::instance().modify(mKey, mChannel.socket(), events);
}

unique_fd exportObject(const sp<BHwBinder>& object, pid_t peer, Identity* identity) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return {};
    unique_fd ours(ends[0]);
    unique_fd theirs(ends[1]);
    *identity = object->identity();
    ServedConnection::start(object, *identity, std::move(ours), peer, Channel::kForever);
    return theirs;
}

sp<BHwBinder> findExported(const Identity& identity, pid_t peer) {
    {
        std::lock_guard<std::mutex> lock(tables().lock);
        for (ServedConnection* connection : tables().served) {
            if (connection->peer() == peer && connection->identity() == identity) {
                return connection->object();
            }
        }
    }
    return findRegistered(identity);  // the peer's connection may still wait to be accepted
}

pid_t trustedPeer(int socket) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return -1;
    return peer.uid == geteuid() ? peer.pid : -1;
}

namespace {

bool isUnixStream(int socket) {
    int domain = 0, type = 0;
    socklen_t size = sizeof(int);
    return getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_UNIX &&
           getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

sp<BpHwBinder> import(const Identity& identity, unique_fd socket, pid_t peer,
                      Channel::Patience patience) {
    sp<BpHwBinder> known;
    sp<BpHwBinder> made = new BpHwBinder(identity, std::move(socket), peer, patience);
    std::lock_guard<std::mutex> lock(tables().lock);
    Tables::Imported& entry = tables().imported[identity];
    known = entry.binder.promote();
    if (known != nullptr && known->peer() == peer && !known->isDead()) return known;
    entry = {made, peer};
    return made;
}

}  // namespace

sp<BpHwBinder> importObject(const Identity& identity, unique_fd socket, pid_t peer) {
    if (!isUnixStream(socket) || trustedPeer(socket) != peer) return nullptr;
    if (countConnections(peer) >= kMaxConnectionsPerPeer) return nullptr;
    return import(identity, std::move(socket), peer, Channel::kCallback);
}

sp<BpHwBinder> importService(const Identity& identity, unique_fd socket,
                             Channel::Patience patience) {
    pid_t peer = trustedPeer(socket);
    if (peer < 0) return nullptr;
    return import(identity, std::move(socket), peer, patience);
}

sp<BpHwBinder> findImported(const Identity& identity) {
    std::lock_guard<std::mutex> lock(tables().lock);
    auto it = tables().imported.find(identity);
    return it == tables().imported.end() ? nullptr : it->second.binder.promote();
}

void giveUpPeer(pid_t peer) {
    logPeer(peer, "it does not answer");
    std::vector<sp<BpHwBinder>> imported;
    std::lock_guard<std::mutex> lock(tables().lock);
    for (ServedConnection* connection : tables().served) {
        if (connection->peer() == peer) connection->giveUp();
    }
    for (auto& [identity, entry] : tables().imported) {
        if (entry.peer != peer) continue;
        sp<BpHwBinder> binder = entry.binder.promote();
        if (binder == nullptr) continue;
        binder->giveUp();
        imported.push_back(std::move(binder));  // may be the last reference: not under the lock
    }
}

size_t countConnections(pid_t peer) {
    std::lock_guard<std::mutex> lock(tables().lock);
    const auto& served = tables().served;
    const auto& imported = tables().imported;
    return static_cast<size_t>(
            std::count_if(served.begin(), served.end(),
                          [&](const auto* connection) { return connection->peer() == peer; }) +
            std::count_if(imported.begin(), imported.end(),
                          [&](const auto& entry) { return entry.second.peer == peer; }));
}

}  // namespace android::hardware
