#pragma once

#include <sys/types.h>

#include <chrono>
#include <vector>

#include <android-base/unique_fd.h>
#include <hwbinder/Parcel.h>

namespace android::hardware {

/** One end of a connection between two processes. */
class Channel {
  public:
    using Patience = std::chrono::milliseconds;
    /** For peers that may be busy for long: services. */
    static constexpr Patience kForever{0};
    /** For peers that must not hold this process up: clients called back, and platform HALs. */
    static constexpr Patience kCallback{5000};

    /**
     * @param socket connected Unix stream socket.
     * @param peer process at the other end, as the kernel tells it.
     * @param patience how long the peer may take to read a message or to answer one.
     */
    Channel(base::unique_fd socket, pid_t peer, Patience patience);

    int socket() const { return mSocket.get(); }
    pid_t peer() const { return mPeer; }
    Patience patience() const { return mPatience; }

    /**
     * Sends a whole message.
     *
     * @return OK; DEAD_OBJECT if the peer is gone; TIMED_OUT; or what Parcel::prepare() answers.
     */
    status_t send(const MessageHeader& header, const Parcel& parcel);

    /** Sends without waiting; what the peer does not take yet is kept in the backlog. */
    status_t sendOrKeep(const MessageHeader& header, const Parcel& parcel,
                        std::vector<uint8_t>* backlog);
    /** Goes on with a backlog. @return OK, also if some is left; DEAD_OBJECT. */
    status_t sendBacklog(std::vector<uint8_t>* backlog);

    /**
     * @return OK with a whole message; DEAD_OBJECT; TIMED_OUT; BAD_VALUE if it is malformed, which
     *     ends the connection.
     */
    status_t receive(Message* message);

    /** Ends the connection for both sides; the descriptor stays open. */
    void shutdown() const;
    /** Ends the connection because of what the peer sent. */
    void turnAway(const char* why) const;

  private:
    class Deadline;

    const base::unique_fd mSocket;
    const pid_t mPeer;
    const Patience mPatience;
};

/** Logs why a peer is turned away or given up: the one line that it gets. */
void logPeer(pid_t peer, const char* what);

}  // namespace android::hardware
