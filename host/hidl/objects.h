#pragma once

#include <mutex>
#include <vector>

#include "host/hidl/channel.h"
#include "host/hidl/event_loop.h"

namespace android::hardware {

/** An object of another process: the connection that stands for it. */
class BpHwBinder : public IBinder {
  public:
    BpHwBinder(const Identity& identity, ForeignFd socket, pid_t peer, PeerKind kind);
    ~BpHwBinder() override;

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                      TransactCallback callback = nullptr) override;
    status_t linkToDeath(const sp<DeathRecipient>& recipient) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient) override;
    BpHwBinder* remoteBinder() override { return this; }

    const Identity& identity() const { return mIdentity; }
    pid_t peer() const { return mChannel.peer().pid(); }
    bool isDead() const { return mChannel.isShutDown(); }

  private:
    class Watch;
    void announceDeath();

    const Identity mIdentity;
    Channel mChannel;
    std::recursive_mutex mCallLock;  // one call at a time, and one-way calls nested in it
    std::mutex mRecipientLock;
    std::vector<wp<DeathRecipient>> mRecipients;  // guarded by mRecipientLock
    EventLoop::Key mWatchKey = 0;                 // guarded by mRecipientLock
};

/**
 * Serves an object of this process to one peer, on a connection that keeps the object alive.
 *
 * @return false if the system watches no more descriptors; the connection is closed.
 */
[[nodiscard]] bool startServing(const sp<BHwBinder>& object, ForeignFd socket, pid_t peer,
                                PeerKind kind);

/** How a reference to an object stands in a message. */
struct ObjectReference {
    enum : uint32_t {
        NO_OBJECT = 0,
        SENT_ALONG = 1,  // an object of the sender; a connection to it comes along
        RETURNED = 2,    // an object of the receiver
    };
    uint32_t kind = NO_OBJECT;
    uint32_t reserved = 0;
    Identity identity;
};

/**
 * Makes the reference by which the peer of a channel will know an object.
 *
 * @param end set to the peer's end of a new connection if one goes along.
 * @return OK; NO_MEMORY without descriptors or room for another connection; INVALID_OPERATION for
 *     an object of a third process.
 */
status_t refer(const sp<IBinder>& object, const Channel& channel, ObjectReference* reference,
               base::unique_fd* end);

/**
 * The object of a reference that the peer of a channel sent. A known object keeps its
 * connection, and the new one is dropped.
 *
 * @return null if there is no such object, or the socket is not a connection to the peer; also if
 *     the peer has too many connections: the channel is ended then.
 */
sp<IBinder> resolve(const ObjectReference& reference, ForeignFd socket, const Channel& channel);

/** Lets peers that know the identity of an object call it, or send it back. */
void exportObject(const sp<BHwBinder>& object);
/** @return an exported object that still exists, or null. */
sp<BHwBinder> findExported(const Identity& identity);

/**
 * The object of a service, connected to by name.
 *
 * @return null if the socket is not that of a peer of this user.
 */
sp<BpHwBinder> importService(const Identity& identity, ForeignFd socket, PeerKind kind);

/** @return a known object of another process that is not dead, or null. */
sp<BpHwBinder> findImported(const Identity& identity);

}  // namespace android::hardware
