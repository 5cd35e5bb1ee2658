#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <android-base/unique_fd.h>

namespace android::hardware {

/** Names an object across processes; random, so that nobody can guess that of another. */
struct Identity {
    uint64_t words[2] = {0, 0};

    static Identity random();
    bool isNull() const { return words[0] == 0 && words[1] == 0; }
    bool operator==(const Identity& o) const {
        return words[0] == o.words[0] && words[1] == o.words[1];
    }
    bool operator<(const Identity& o) const {
        return words[0] != o.words[0] ? words[0] < o.words[0] : words[1] < o.words[1];
    }
};

/**
 * Starts every message. Call and reply alternate on a connection: after a call the caller sends
 * nothing but replies to calls that come back before its own reply does. A one-way call has no
 * reply: other messages may follow it at once.
 */
struct MessageHeader {
    static constexpr uint32_t kCall = 0x4C4C4143;   // "CALL"
    static constexpr uint32_t kReply = 0x594C5052;  // "RPLY"

    uint32_t kind = 0;
    /** Method of a call; of a reply the status_t that the transport met, OK with a body. */
    uint32_t code = 0;
    /** Of a call: IBinder::FLAG_ONEWAY or 0. */
    uint32_t flags = 0;
    /** Bytes behind this header. */
    uint32_t bodySize = 0;
    /** Descriptors that come along. */
    uint32_t fdCount = 0;
    uint32_t reserved = 0;
    /** Object that is called; null for the one that the connection was made for. */
    Identity target;
};
static_assert(sizeof(MessageHeader) == 40);

/** Largest message, header included, in bytes. */
constexpr size_t kMaxMessageSize = 1 << 20;
/** Most descriptors in a message. */
constexpr size_t kMaxMessageFds = 64;
/** Every item of a body starts at a multiple of this, as the structures in it require. */
constexpr size_t kBodyAlignment = 8;

/** A message being received: small ones into this object, larger ones into memory of their own. */
class Message {
  public:
    enum class Progress {
        kComplete,
        kPartial,    // some of it came; more is needed
        kNothing,    // nothing came: a non-blocking read, or the time limit of the socket
        kClosed,     // the peer is gone
        kMalformed,  // the peer broke the format; error() tells how
    };

    /** Reads on, once; `flags` as for recvmsg. */
    Progress receive(int socket, int flags);
    /** Forgets the message and releases its memory and descriptors; keeps what came behind it. */
    void reset();

    /** Nothing has come of a message. */
    bool isEmpty() const { return mReceived == 0; }
    const MessageHeader& header() const { return *reinterpret_cast<const MessageHeader*>(mData); }
    /** The body may be patched in place: pointers in it are set while it is unpacked. */
    uint8_t* body() { return mData + sizeof(MessageHeader); }
    std::vector<base::unique_fd>& fds() { return mFds; }
    const char* error() const { return mError; }

  private:
    static constexpr size_t kInlineSize = 1024;

    Progress advance(size_t count);
    Progress malformed(const char* error);

    alignas(kBodyAlignment) uint8_t mInline[kInlineSize];
    std::unique_ptr<uint8_t[]> mHeap;
    uint8_t* mData = mInline;
    size_t mCapacity = kInlineSize;
    size_t mReceived = 0;
    size_t mBehind = 0;  // of these, bytes of what follows a one-way call
    std::vector<base::unique_fd> mFds;
    const char* mError = "";
};

}  // namespace android::hardware
