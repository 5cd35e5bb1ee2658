#pragma once

#include <sys/types.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_set>

#include "host/hidl/limits.h"

namespace android::hardware {

class Channel;

/** Another process: its connections, and the memory and time that it uses here. Any thread. */
class Peer {
  public:
    /** The record of a process, the same for all its connections. */
    static std::shared_ptr<Peer> of(pid_t pid);
    explicit Peer(pid_t pid) : mPid(pid) {}
    ~Peer();

    pid_t pid() const { return mPid; }
    size_t connections() const;

    /** Logs why a connection is closed, in one line. */
    void logClosed(const char* why) const;
    /** Logs, once while a call is served, that the peer misses calls. */
    void logNotCalled(uint64_t call);
    /** Treats a peer that did not answer in time as dead: closes all connections with it. */
    void giveUp(const char* why);
    bool isGivenUp() const { return mIsGivenUp; }

    // For its channels.
    void add(const Channel* channel);
    void remove(const Channel* channel);

    /** Memory that a peer makes this process hold; bounded for each peer and for all of them. */
    class Memory {
      public:
        /** @param peer must outlive this object. */
        explicit Memory(Peer& peer) : mPeer(peer) {}
        ~Memory() { release(); }
        Memory(const Memory&) = delete;
        Memory& operator=(const Memory&) = delete;

        /** @param size bytes, which replace the previous claim. @return false if out of bounds.
         */
        bool claim(size_t size);
        void release() { claim(0); }

      private:
        Peer& mPeer;
        size_t mSize = 0;
    };

    /** Time waited for the peer while a call is served, named by its number. */
    limits::Duration waited(uint64_t call) const;
    void addWait(uint64_t call, limits::Duration duration);

  private:
    const pid_t mPid;
    mutable std::mutex mLock;
    std::unordered_set<const Channel*> mChannels;  // guarded by mLock
    size_t mMemory = 0;                            // guarded by the lock of all peers
    std::atomic<bool> mIsGivenUp{false};
    uint64_t mCall = 0;           // guarded by mLock
    uint64_t mCallMissed = 0;     // guarded by mLock
    limits::Duration mWaited{0};  // guarded by mLock, in mCall
};

/** Process at the other end of a socket, or -1 if it belongs to another user. */
pid_t trustedPeer(int socket);

}  // namespace android::hardware
