#pragma once

#include <sys/uio.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

#include "host/hidl/foreign_fd.h"
#include "host/hidl/message.h"
#include "host/hidl/peer.h"
#include "host/hidl/small_vector.h"

namespace android::hardware {

/** When to stop waiting for a peer, to the few milliseconds of the kernel's coarse clock. */
using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline kNoDeadline = Deadline::max();
Deadline coarseNow();

class Outgoing;

/**
 * What the other end of a connection is, which decides how long it is waited for. That of a service
 * follows from its name; an object that is passed along has that of the connection.
 */
enum class PeerKind {
    SERVICE, /**< without limit: ours wait for the middleware inside a call */
    HAL,     /**< of the platform: answers soon, or not at all */
    CLIENT,  /**< must not hold up others */
};

/** One end of a connection between two processes. */
class Channel {
  public:
    /** @param socket connected Unix stream socket. */
    Channel(ForeignFd socket, pid_t peer, PeerKind kind);
    ~Channel();

    int socket() const { return mSocket.get(); }
    Peer& peer() const { return *mPeer; }
    PeerKind kind() const { return mKind; }
    /** Whether the peer is waited for with a deadline. */
    bool isBounded() const { return mKind != PeerKind::SERVICE; }

    /**
     * Sends a whole message.
     *
     * @return OK; DEAD_OBJECT if the peer is gone; TIMED_OUT; the result of Outgoing::prepare();
     *     FAILED_TRANSACTION, with nothing sent, if a descriptor cannot be passed; or NO_MEMORY.
     */
    status_t send(const MessageHeader& header, const Parcel& parcel, Deadline deadline);
    /** The same for a message that is prepared and may be sent in part. */
    status_t send(Outgoing* outgoing, Deadline deadline);

    /** @return OK with a whole message; DEAD_OBJECT; TIMED_OUT; BAD_VALUE if it was rejected. */
    status_t receive(Message* message, Deadline deadline);

    /** Ends the connection for both sides; the descriptor stays open. */
    void shutdown() const;
    bool isShutDown() const { return mIsShutDown; }
    /** Ends the connection because of what the peer sent. */
    void reject(const char* why) const;

  private:
    const ForeignFd mSocket;
    const std::shared_ptr<Peer> mPeer;
    const PeerKind mKind;
    mutable std::atomic<bool> mIsShutDown{false};
};

/** A parcel as it is sent: its parts in the order of the message, and its descriptors. */
class Outgoing {
  public:
    /**
     * Points into the parcel, whose references to objects are filled in for the channel's peer.
     *
     * @return OK; FAILED_TRANSACTION if it is larger than a set could carry; -ETOOMANYREFS for too
     *     many descriptors; NO_MEMORY if there are no descriptors left; INVALID_OPERATION for an
     *     object of a third process.
     */
    status_t prepare(const MessageHeader& header, const Parcel& parcel, const Channel& channel);

    bool isSent() const { return mNext == mParts.size(); }
    /** Whether a part of it is sent. */
    bool isBegun() const { return mIsBegun; }
    /** sendmsg with what is left. @return bytes sent, or -1 with errno. */
    ssize_t send(int socket, int flags);
    const SmallVector<iovec, 4>& parts() const { return mParts; }

  private:
    void add(const void* data, size_t size);

    SmallVector<iovec, 4> mParts;
    size_t mNext = 0;
    bool mIsBegun = false;
    std::vector<int> mFds;
    /** Ends of connections made for passed objects; closed when they have been sent. */
    std::vector<base::unique_fd> mOwnedFds;
};

}  // namespace android::hardware
