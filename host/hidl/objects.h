#pragma once

#include <atomic>

#include "host/hidl/channel.h"
#include "host/hidl/event_loop.h"

namespace android::hardware {

/** An object of another process: the connection that stands for it. */
class BpHwBinder : public IBinder {
  public:
    BpHwBinder(const Identity& identity, base::unique_fd socket, pid_t peer,
               Channel::Patience patience);
    ~BpHwBinder() override;

    status_t transact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0,
                      TransactCallback callback = nullptr) override;
    status_t linkToDeath(const sp<DeathRecipient>& recipient) override;
    status_t unlinkToDeath(const wp<DeathRecipient>& recipient) override;
    BpHwBinder* remoteBinder() override { return this; }

    const Identity& identity() const { return mIdentity; }
    pid_t peer() const { return mChannel.peer(); }
    bool isDead() const { return mIsDead; }
    /** Ends the connection; the death notices follow on the RPC thread. */
    void giveUp() {
        mIsDead = true;
        mChannel.shutdown();
    }

  private:
    class Watch;
    void announceDeath();

    const Identity mIdentity;
    Channel mChannel;
    std::recursive_mutex mCallLock;  // one call at a time, and one-way calls nested in it
    std::atomic<bool> mIsDead{false};
    std::mutex mRecipientLock;
    std::vector<wp<DeathRecipient>> mRecipients;  // guarded by mRecipientLock
    EventLoop::Key mWatchKey = 0;                 // guarded by mRecipientLock
};

/** A connection on which one peer calls one object of this process; it keeps the object alive. */
class ServedConnection : public EventSource {
  public:
    /** Starts to serve. @param patience for reading replies, and for answering callbacks. */
    static void start(const sp<BHwBinder>& object, const Identity& identity, base::unique_fd socket,
                      pid_t peer, Channel::Patience patience);
    ~ServedConnection() override;

    void onEvents(uint32_t events) override;
    void onTimeout() override;

    const Identity& identity() const { return mIdentity; }
    const sp<BHwBinder>& object() const { return mObject; }
    pid_t peer() const { return mChannel.peer(); }
    void giveUp() { mChannel.shutdown(); }

  private:
    ServedConnection(const sp<BHwBinder>& object, const Identity& identity, base::unique_fd socket,
                     pid_t peer, Channel::Patience patience);
    bool readCall();
    bool serveCall();
    status_t answer(status_t status, const Parcel& parcel);
    void waitFor(uint32_t events);
    void end();

    const sp<BHwBinder> mObject;
    const Identity mIdentity;
    Channel mChannel;
    Message mCall;
    std::vector<uint8_t> mBacklog;  // of an answer that the peer has not read yet
    EventLoop::Key mKey = 0;
};

/**
 * Makes a connection by which a peer may call an object of this process.
 *
 * @param identity set to the object's, the same each time.
 * @return the peer's end; invalid if there are no descriptors left.
 */
base::unique_fd exportObject(const sp<BHwBinder>& object, pid_t peer, Identity* identity);

/** @return the object of this process that a peer was given or may fetch as a service, or null. */
sp<BHwBinder> findExported(const Identity& identity, pid_t peer);

/**
 * The object that a peer sent along. One that is known already keeps its connection, and the new
 * one is dropped.
 *
 * @return null if the descriptor is not a connection to the peer.
 */
sp<BpHwBinder> importObject(const Identity& identity, base::unique_fd socket, pid_t peer);

/**
 * The object of a service, connected to by name.
 *
 * @param patience for the service's answers.
 * @return null if the socket is not that of a peer of this user.
 */
sp<BpHwBinder> importService(const Identity& identity, base::unique_fd socket,
                             Channel::Patience patience);

/** @return a known and living object of another process, or null. */
sp<BpHwBinder> findImported(const Identity& identity);

/** Counts a peer that did not answer in time as dead: ends all connections with it. */
void giveUpPeer(pid_t peer);

/** Connections that a peer holds here. */
size_t countConnections(pid_t peer);

/** Process at the other end of a socket, or -1 if it belongs to another user. */
pid_t trustedPeer(int socket);

/** Most connections of one peer. */
constexpr size_t kMaxConnectionsPerPeer = 2048;

}  // namespace android::hardware
