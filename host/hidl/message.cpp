#include <hwbinder/Message.h>

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include <hwbinder/IBinder.h>

namespace android::hardware {

using base::unique_fd;

Identity Identity::random() {
    Identity identity;
    if (getrandom(&identity, sizeof(identity), 0) != sizeof(identity)) abort();
    return identity;
}

Message::Progress Message::receive(int socket, int flags) {
    // What came behind the message before may be a whole one.
    if (mReceived > 0) {
        if (const Progress progress = advance(0); progress != Progress::kPartial) return progress;
    }
    iovec target{mData + mReceived, mCapacity - mReceived};
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxMessageFds * sizeof(int))];
    msghdr header{};
    header.msg_iov = &target;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);

    ssize_t count = TEMP_FAILURE_RETRY(recvmsg(socket, &header, flags | MSG_CMSG_CLOEXEC));
    if (count < 0) return errno == EAGAIN ? Progress::kNothing : Progress::kClosed;
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c != nullptr; c = CMSG_NXTHDR(&header, c)) {
        if (c->cmsg_level != SOL_SOCKET || c->cmsg_type != SCM_RIGHTS) continue;
        for (size_t at = 0; at + sizeof(int) <= c->cmsg_len - CMSG_LEN(0); at += sizeof(int)) {
            int fd;
            memcpy(&fd, CMSG_DATA(c) + at, sizeof(fd));
            mFds.emplace_back(fd);
        }
    }
    if (count == 0) return isEmpty() ? Progress::kClosed : malformed("half a message");
    if (header.msg_flags & MSG_CTRUNC) return malformed("descriptors lost");
    return advance(static_cast<size_t>(count));
}

Message::Progress Message::advance(size_t count) {
    mReceived += count;
    if (mFds.size() > kMaxMessageFds) return malformed("too many descriptors");
    if (mReceived < sizeof(MessageHeader)) return Progress::kPartial;

    const MessageHeader& head = header();
    if (head.kind != MessageHeader::kCall && head.kind != MessageHeader::kReply) {
        return malformed("unknown kind of message");
    }
    if (head.bodySize > kMaxMessageSize - sizeof(MessageHeader)) return malformed("oversized");
    size_t total = sizeof(MessageHeader) + head.bodySize;
    if (mReceived >= total) {
        const size_t behind = mReceived - total;
        const bool isOneWay =
                head.kind == MessageHeader::kCall && head.flags & IBinder::FLAG_ONEWAY;
        if (behind > 0 && !isOneWay) return malformed("bytes behind the message");
        // Descriptors come with the first byte of their message.
        if (mFds.size() < head.fdCount || (behind == 0 && mFds.size() > head.fdCount)) {
            return malformed("descriptors missing or left over");
        }
        mBehind = behind;
        return Progress::kComplete;
    }
    if (total > kInlineSize && !mHeap) {
        mHeap.reset(new uint8_t[total]);
        memcpy(mHeap.get(), mInline, mReceived);
        mData = mHeap.get();
        mCapacity = total;
    }
    return Progress::kPartial;
}

Message::Progress Message::malformed(const char* error) {
    mError = error;
    return Progress::kMalformed;
}

void Message::reset() {
    if (mBehind > 0) {  // never in memory of its own: that has room for one message only
        mFds.erase(mFds.begin(), mFds.begin() + header().fdCount);
        memmove(mInline, mInline + mReceived - mBehind, mBehind);
    } else {
        mFds.clear();
    }
    mHeap.reset();
    mData = mInline;
    mCapacity = kInlineSize;
    mReceived = std::exchange(mBehind, 0);
}

}  // namespace android::hardware
