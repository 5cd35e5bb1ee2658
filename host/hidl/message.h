#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <hwbinder/IBinder.h>

#include "host/hidl/foreign_fd.h"
#include "host/hidl/limits.h"
#include "host/hidl/peer.h"
#include "host/hidl/small_vector.h"

namespace android::hardware {

class Channel;
class Parcel;

/**
 * Starts every message. Calls and replies alternate on a connection: after a call the caller sends
 * nothing but replies to calls that come back before its own reply does. A one-way call has no
 * reply; other messages may follow it at once.
 */
struct MessageHeader {
    static constexpr uint32_t kCall = 0x4C4C4143;   // "CALL"
    static constexpr uint32_t kReply = 0x594C5052;  // "RPLY"

    uint32_t kind = 0;
    /** Of a call the method; of a reply the status_t of the transport, OK with a body. */
    uint32_t code = 0;
    /** Of a call: IBinder::FLAG_ONEWAY or 0. */
    uint32_t flags = 0;
    /** Bytes behind this header. */
    uint32_t bodySize = 0;
    uint32_t fdCount = 0;
    /** What the message takes of limits::kTransactionSpace. */
    uint32_t space = 0;
    /** Object that is called; null for the one that the connection was made for. */
    Identity target;

    bool isOneWay() const { return kind == kCall && (flags & IBinder::FLAG_ONEWAY); }
};
static_assert(sizeof(MessageHeader) == 40);

/** A message being received. */
class Message {
  public:
    enum class Progress {
        COMPLETE,
        PARTIAL,   // more is needed
        NOTHING,   // nothing came: a non-blocking read, or a time limit that the peer set
        CLOSED,    // the peer is gone
        REJECTED,  // the peer broke the format or a bound; error() has the reason
    };

    /** @param peer pays for the memory of an incomplete message; must outlive it. */
    explicit Message(Peer& peer) : mMemory(peer) {}

    /** Reads on, once; `flags` as for recvmsg. */
    Progress receive(int socket, int flags);

    /** No byte of a message has come. */
    bool isEmpty() const { return mBytes.size() == 0; }
    const MessageHeader& header() const {
        return *reinterpret_cast<const MessageHeader*>(mBytes.data());
    }
    const char* error() const { return mError; }

    /**
     * Moves the complete message to a parcel that will read it; keeps the bytes behind it.
     * The channel, on which it came, must outlive the parcel.
     */
    void moveTo(Parcel* parcel, const Channel& channel);

  private:
    Progress advance();
    /** Keeps the bytes so far until the rest comes; `total` bytes in all, if they need the heap. */
    Progress hold(size_t total);
    Progress reject(const char* error);

    SmallVector<uint8_t, 1024> mBytes;
    std::vector<ForeignFd> mFds;
    size_t mHeapSize = 0;
    Peer::Memory mMemory;
    const char* mError = "";
};

}  // namespace android::hardware
