#define LOG_TAG "hidl"

#include "host/hidl/objects.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/random.h>
#include <sys/socket.h>

#include <algorithm>
#include <map>
#include <utility>

#include "host/hidl/rpc.h"

namespace android::hardware {

namespace {

using Clock = EventLoop::Clock;

/** Objects by identity. No reference is dropped under a lock that the object's destructor takes. */
template <typename Object>
class ObjectTable {
  public:
    sp<Object> find(const Identity& identity) {
        const std::lock_guard<std::mutex> lock(mLock);
        const auto it = mObjects.find(identity);
        return it == mObjects.end() ? nullptr : it->second.promote();
    }
    void set(const Identity& identity, const sp<Object>& object) {
        const std::lock_guard<std::mutex> lock(mLock);
        mObjects[identity] = object;
    }
    void erase(const Identity& identity, const Object* object) {
        const std::lock_guard<std::mutex> lock(mLock);
        const auto it = mObjects.find(identity);
        if (it != mObjects.end() && it->second.unsafe_get() == object) mObjects.erase(it);
    }

  private:
    std::mutex mLock;
    std::map<Identity, wp<Object>> mObjects;
};

// Generated clean-up runs after static objects are gone.
auto& gExported = *new ObjectTable<BHwBinder>;
auto& gImported = *new ObjectTable<BpHwBinder>;

sp<BpHwBinder> import(const Identity& identity, ForeignFd socket, pid_t peer, PeerKind kind) {
    static auto* lock = new std::mutex;  // two threads must not import one object twice
    const std::lock_guard<std::mutex> guard(*lock);
    sp<BpHwBinder> known = findImported(identity);
    if (known != nullptr && known->peer() == peer) return known;
    sp<BpHwBinder> made = new BpHwBinder(identity, std::move(socket), peer, kind);
    gImported.set(identity, made);
    return made;
}

/** A connection on which one peer calls one object of this process. */
class ServedConnection : public EventSource, public std::enable_shared_from_this<ServedConnection> {
  public:
    ServedConnection(const sp<BHwBinder>& object, ForeignFd socket, pid_t peer, PeerKind kind)
        : mObject(object), mChannel(std::move(socket), peer, kind) {}

    bool start() {
        return EventLoop::instance().add(mChannel.socket(), EPOLLIN, shared_from_this(), &mKey);
    }
    void onEvents(uint32_t events) override;

  private:
    bool readCall();
    bool serveCall();

    const sp<BHwBinder> mObject;
    Channel mChannel;
    Message mCall{mChannel.peer()};
    EventLoop::Key mKey = 0;
    bool mGoesOn = false;  // with the message behind a one-way call
};

void ServedConnection::onEvents(uint32_t) {
    if (mChannel.isShutDown() || !readCall()) EventLoop::instance().remove(mKey, mChannel.socket());
}

/** @return whether the connection stays open. */
bool ServedConnection::readCall() {
    while (true) {
        switch (mCall.receive(mChannel.socket(), MSG_DONTWAIT)) {
            case Message::Progress::COMPLETE:
                if (!serveCall()) return false;
                if (!mCall.isEmpty() && !std::exchange(mGoesOn, true)) {
                    // There may be more behind a one-way call: other connections are served first.
                    EventLoop::instance().runAt(Clock::now(), [self = shared_from_this()] {
                        self->mGoesOn = false;
                        self->onEvents(0);
                    });
                }
                return true;
            case Message::Progress::PARTIAL:
                continue;
            case Message::Progress::NOTHING:
                return true;
            case Message::Progress::CLOSED:
                return false;
            case Message::Progress::REJECTED:
                mChannel.reject(mCall.error());
                return false;
        }
    }
}

bool ServedConnection::serveCall() {
    if (mCall.header().kind != MessageHeader::kCall) {
        mChannel.reject("a reply to no call");
        return false;
    }
    const Identity target = mCall.header().target;
    return serve(mChannel, mCall, target.isNull() ? mObject : findExported(target));
}

}  // namespace

/** Passes a hang-up to its object, if that still exists. */
class BpHwBinder::Watch : public EventSource {
  public:
    explicit Watch(const wp<BpHwBinder>& binder) : mBinder(binder) {}
    void onEvents(uint32_t) override {
        if (sp<BpHwBinder> binder = mBinder.promote(); binder != nullptr) binder->announceDeath();
    }

  private:
    const wp<BpHwBinder> mBinder;
};

BpHwBinder::BpHwBinder(const Identity& identity, ForeignFd socket, pid_t peer, PeerKind kind)
    : mIdentity(identity), mChannel(std::move(socket), peer, kind) {}

BpHwBinder::~BpHwBinder() {
    if (mWatchKey != 0) EventLoop::instance().remove(mWatchKey, mChannel.socket());
    gImported.erase(mIdentity, this);
}

status_t BpHwBinder::transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags,
                              TransactCallback) {
    if (isDead()) return DEAD_OBJECT;
    MessageHeader header;
    header.kind = MessageHeader::kCall;
    header.code = code;
    header.flags = flags;

    if (header.isOneWay()) {
        header.target = mIdentity;  // a peer that waits for a reply on the connection must know
        const std::lock_guard<std::recursive_mutex> lock(mCallLock);
        return sendOneWay(mChannel, header, data);
    }
    if (Channel* nested = servedChannel(mChannel.peer()); nested != nullptr) {
        header.target = mIdentity;
        return exchange(*nested, header, data, reply);
    }
    const std::lock_guard<std::recursive_mutex> lock(mCallLock);
    return exchange(mChannel, header, data, reply);
}

status_t BpHwBinder::linkToDeath(const sp<DeathRecipient>& recipient) {
    std::lock_guard<std::mutex> lock(mRecipientLock);
    if (isDead()) return DEAD_OBJECT;
    if (mRecipients.size() >= limits::kMaxDeathLinks) {
        mChannel.reject("its object has too many death links");
        return NO_MEMORY;
    }
    mRecipients.push_back(recipient);
    if (mWatchKey == 0 && !EventLoop::instance().add(mChannel.socket(), EPOLLRDHUP,
                                                     std::make_shared<Watch>(this), &mWatchKey)) {
        mRecipients.pop_back();
        mWatchKey = 0;
        return NO_MEMORY;
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
        mChannel.shutdown();
        EventLoop::instance().remove(mWatchKey, mChannel.socket());
        recipients.swap(mRecipients);
    }
    for (const auto& entry : recipients) {
        if (sp<DeathRecipient> recipient = entry.promote(); recipient != nullptr) {
            recipient->binderDied(this);
        }
    }
}

Identity Identity::random() {
    Identity identity;
    if (getrandom(&identity, sizeof(identity), 0) != sizeof(identity)) abort();
    return identity;
}

BHwBinder::~BHwBinder() {
    gExported.erase(mIdentity, this);
}

bool startServing(const sp<BHwBinder>& object, ForeignFd socket, pid_t peer, PeerKind kind) {
    return std::make_shared<ServedConnection>(object, std::move(socket), peer, kind)->start();
}

status_t refer(const sp<IBinder>& object, const Channel& channel, ObjectReference* reference,
               base::unique_fd* end) {
    if (BpHwBinder* remote = object->remoteBinder(); remote != nullptr) {
        if (remote->peer() != channel.peer().pid()) return INVALID_OPERATION;
        *reference = {ObjectReference::RETURNED, 0, remote->identity()};
        return OK;
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return NO_MEMORY;
    end->reset(ends[0]);
    const sp<BHwBinder> local = object->localBinder();
    exportObject(local);
    if (!startServing(local, ForeignFd(ends[1]), channel.peer().pid(), channel.kind())) {
        return NO_MEMORY;
    }
    *reference = {ObjectReference::SENT_ALONG, 0, local->identity()};
    return OK;
}

sp<IBinder> resolve(const ObjectReference& reference, ForeignFd socket, const Channel& channel) {
    if (reference.kind == ObjectReference::RETURNED) return findExported(reference.identity);
    const Peer& peer = channel.peer();
    if (reference.kind != ObjectReference::SENT_ALONG || reference.identity.isNull() ||
        !isUnixStream(socket) || trustedPeer(socket) != peer.pid()) {
        return nullptr;
    }
    if (peer.connections() >= limits::kMaxConnections) {
        const sp<BpHwBinder> known = findImported(reference.identity);
        if (known != nullptr && known->peer() == peer.pid()) return known;
        channel.reject("it has too many connections");
        return nullptr;
    }
    return import(reference.identity, std::move(socket), peer.pid(), channel.kind());
}

void exportObject(const sp<BHwBinder>& object) {
    gExported.set(object->identity(), object);
}

sp<BHwBinder> findExported(const Identity& identity) {
    return gExported.find(identity);
}

sp<BpHwBinder> importService(const Identity& identity, ForeignFd socket, PeerKind kind) {
    const pid_t peer = trustedPeer(socket);
    return peer < 0 ? nullptr : import(identity, std::move(socket), peer, kind);
}

sp<BpHwBinder> findImported(const Identity& identity) {
    sp<BpHwBinder> known = gImported.find(identity);
    return known != nullptr && !known->isDead() ? known : nullptr;
}

}  // namespace android::hardware
