#include "host/hidl/message.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <utility>

#include <hwbinder/Parcel.h>

namespace android::hardware {

using limits::kMaxMessageFds;
using limits::kMaxMessageSize;

namespace {

/** SCM_PIDFD of Linux 6.5. A peer that has kept a descriptor of the socket can ask for it. */
constexpr int kScmPidFd = 4;

}  // namespace

Message::Progress Message::receive(int socket, int flags) try {
    // The bytes behind the previous message may be a whole one.
    if (!isEmpty()) {
        if (const Progress progress = advance(); progress != Progress::PARTIAL) return progress;
    }
    const size_t before = mBytes.size();
    const size_t room = mBytes.capacity() - before;
    iovec target{mBytes.data() + before, room};
    alignas(cmsghdr) char control[CMSG_SPACE(kMaxMessageFds * sizeof(int))];
    msghdr header{};
    header.msg_iov = &target;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);

    const ssize_t count = TEMP_FAILURE_RETRY(recvmsg(socket, &header, flags | MSG_CMSG_CLOEXEC));
    if (count < 0) return errno == EAGAIN ? Progress::NOTHING : Progress::CLOSED;
    mBytes.grow(static_cast<size_t>(count));
    for (cmsghdr* c = CMSG_FIRSTHDR(&header); c != nullptr; c = CMSG_NXTHDR(&header, c)) {
        const bool hasFds = c->cmsg_type == SCM_RIGHTS || c->cmsg_type == kScmPidFd;
        if (c->cmsg_level != SOL_SOCKET || !hasFds) continue;
        for (size_t at = 0; at + sizeof(int) <= c->cmsg_len - CMSG_LEN(0); at += sizeof(int)) {
            int fd;
            memcpy(&fd, CMSG_DATA(c) + at, sizeof(fd));
            mFds.emplace_back(fd);
        }
    }
    if (count == 0) return isEmpty() ? Progress::CLOSED : reject("half a message");
    if (header.msg_flags & MSG_CTRUNC) return reject("descriptors lost");
    return advance();
} catch (const std::bad_alloc&) {
    return reject("no memory left for it");
}

Message::Progress Message::advance() {
    if (mFds.size() > kMaxMessageFds) return reject("too many descriptors");
    if (mBytes.size() < sizeof(MessageHeader)) return hold(0);

    const MessageHeader& head = header();
    if (head.kind != MessageHeader::kCall && head.kind != MessageHeader::kReply) {
        return reject("unknown kind of message");
    }
    if (head.bodySize > kMaxMessageSize - sizeof(MessageHeader)) return reject("oversized");
    const size_t total = sizeof(MessageHeader) + head.bodySize;
    if (mBytes.size() >= total) {
        const bool isLast = mBytes.size() == total;
        if (!isLast && !head.isOneWay()) return reject("bytes behind the message");
        // Descriptors come with the first byte of their message.
        if (mFds.size() < head.fdCount || (isLast && mFds.size() > head.fdCount)) {
            return reject("descriptors missing or left over");
        }
        return Progress::COMPLETE;
    }
    return hold(total > mBytes.capacity() ? total : 0);
}

Message::Progress Message::hold(size_t total) {
    const size_t claimed = std::max(total, mHeapSize) + mFds.size() * limits::kDescriptorCost;
    if (!mMemory.claim(claimed)) return reject("its unfinished messages take too much memory");
    if (total > 0) mBytes.reserve(mHeapSize = total);
    return Progress::PARTIAL;
}

Message::Progress Message::reject(const char* error) {
    mError = error;
    return Progress::REJECTED;
}

void Message::moveTo(Parcel* parcel, const Channel& channel) {
    const auto firstBehind = mFds.begin() + header().fdCount;
    parcel->mFds.assign(std::make_move_iterator(mFds.begin()),
                        std::make_move_iterator(firstBehind));
    mFds.erase(mFds.begin(), firstBehind);
    // A message on the heap has nothing behind it: its memory has room for no more.
    parcel->mBytes.take(&mBytes, sizeof(MessageHeader) + header().bodySize);
    parcel->mPosition = sizeof(MessageHeader);
    parcel->mChannel = &channel;
    mMemory.release();
    mHeapSize = 0;
}

}  // namespace android::hardware
