#include "host/hidl/channel.h"

#include <errno.h>
#include <limits.h>
#include <poll.h>
#include <sys/socket.h>
#include <time.h>

#include <hwbinder/Parcel.h>

#include "host/hidl/objects.h"

namespace android::hardware {

using namespace std::chrono_literals;

namespace {

/**
 * Waits for a peer, for a moment: a deadline may be noticed that late. The socket's own time limits
 * are of no use, since the peer may have kept a descriptor by which it can change them.
 */
void waitFor(int socket, short events) {
    constexpr int kMomentMs = 20;
    pollfd waiting{socket, events, 0};
    poll(&waiting, 1, kMomentMs);
}

}  // namespace

Deadline coarseNow() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return Deadline(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

Channel::Channel(ForeignFd socket, pid_t peer, PeerKind kind)
    : mSocket(std::move(socket)), mPeer(Peer::of(peer)), mKind(kind) {
    mPeer->add(this);
    // As large as the system allows: a message that fits is sent without waking the peer halfway.
    const int bufferSize = limits::kMaxMessageSize;
    setsockopt(mSocket, SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof(bufferSize));
}

Channel::~Channel() {
    mPeer->remove(this);
}

status_t Channel::send(const MessageHeader& header, const Parcel& parcel, Deadline deadline) {
    Outgoing outgoing;
    const status_t error = outgoing.prepare(header, parcel, *this);
    return error != OK ? error : send(&outgoing, deadline);
}

status_t Channel::send(Outgoing* outgoing, Deadline deadline) {
    while (true) {
        const ssize_t sent = outgoing->send(mSocket, isBounded() ? MSG_DONTWAIT : 0);
        if (outgoing->isSent()) return OK;
        if (sent < 0 && errno != EAGAIN && errno != EINTR) {
            const bool isGone = errno == EPIPE || errno == ECONNRESET || errno == ENOTCONN;
            // Nothing can follow a part of a message but its rest.
            if (isGone || outgoing->isBegun()) return DEAD_OBJECT;
            return errno == ENOMEM || errno == ENOBUFS ? NO_MEMORY : FAILED_TRANSACTION;
        }
        if (coarseNow() >= deadline) return TIMED_OUT;
        if (isBounded()) waitFor(mSocket, POLLOUT);
    }
}

status_t Channel::receive(Message* message, Deadline deadline) {
    bool shouldWait = message->isEmpty();  // it may have come whole with the one before
    while (true) {
        if (isBounded() && shouldWait) waitFor(mSocket, POLLIN);
        shouldWait = true;
        switch (message->receive(mSocket, isBounded() ? MSG_DONTWAIT : 0)) {
            case Message::Progress::COMPLETE:
                return OK;
            case Message::Progress::PARTIAL:
            case Message::Progress::NOTHING:
                if (coarseNow() >= deadline) return TIMED_OUT;
                break;
            case Message::Progress::CLOSED:
                return DEAD_OBJECT;
            case Message::Progress::REJECTED:
                reject(message->error());
                return BAD_VALUE;
        }
    }
}

void Channel::shutdown() const {
    mIsShutDown = true;
    ::shutdown(mSocket, SHUT_RDWR);
}

void Channel::reject(const char* why) const {
    mPeer->logClosed(why);
    shutdown();
}

status_t Outgoing::prepare(const MessageHeader& header, const Parcel& parcel,
                           const Channel& channel) {
    const size_t space = alignUp(parcel.mSpace);
    if (parcel.mIsTooLarge || space > limits::kTransactionSpace / (header.isOneWay() ? 2 : 1)) {
        return FAILED_TRANSACTION;
    }
    if (parcel.mAttachments.size() > limits::kMaxMessageFds) return -ETOOMANYREFS;
    for (const auto& [fd, object, reference] : parcel.mAttachments) {
        if (object == nullptr) {
            mFds.push_back(fd);
        } else {
            auto* const written =
                    reinterpret_cast<ObjectReference*>(parcel.mBytes.data() + reference);
            base::unique_fd end;
            if (status_t error = refer(object, channel, written, &end); error != OK) return error;
            if (end < 0) continue;
            mFds.push_back(end);
            mOwnedFds.push_back(std::move(end));
        }
    }

    MessageHeader& head = *reinterpret_cast<MessageHeader*>(parcel.mBytes.data());
    head = header;
    head.bodySize = static_cast<uint32_t>(parcel.size() - sizeof(MessageHeader));
    head.fdCount = static_cast<uint32_t>(mFds.size());
    head.space = static_cast<uint32_t>(space);

    size_t done = 0;
    for (const auto& [end, data, size] : parcel.mExternals) {
        add(parcel.mBytes.data() + done, end - done);
        add(data, size);
        done = end;
    }
    add(parcel.mBytes.data() + done, parcel.mBytes.size() - done);
    return OK;
}

void Outgoing::add(const void* data, size_t size) {
    if (size > 0) mParts.push_back({const_cast<void*>(data), size});
}

ssize_t Outgoing::send(int socket, int flags) {
    iovec* const next = mParts.data() + mNext;
    ssize_t sent;
    if (mNext + 1 == mParts.size() && mFds.empty()) {  // most messages: spare the description
        sent = ::send(socket, next->iov_base, next->iov_len, flags | MSG_NOSIGNAL);
    } else {
        alignas(cmsghdr) char control[CMSG_SPACE(limits::kMaxMessageFds * sizeof(int))];
        msghdr message{};
        message.msg_iov = next;
        message.msg_iovlen = std::min<size_t>(mParts.size() - mNext, IOV_MAX);
        if (!mFds.empty()) {
            const size_t size = mFds.size() * sizeof(int);
            message.msg_control = control;
            message.msg_controllen = CMSG_SPACE(size);
            cmsghdr* head = CMSG_FIRSTHDR(&message);
            *head = {CMSG_LEN(size), SOL_SOCKET, SCM_RIGHTS};
            memcpy(CMSG_DATA(head), mFds.data(), size);
        }
        sent = sendmsg(socket, &message, flags | MSG_NOSIGNAL);
        if (sent >= 0) mFds.clear();  // they go with the first byte
    }
    mIsBegun |= sent > 0;
    size_t left = static_cast<size_t>(std::max<ssize_t>(sent, 0));
    while (!isSent() && left >= mParts.data()[mNext].iov_len) {
        left -= mParts.data()[mNext++].iov_len;
    }
    if (!isSent()) {
        iovec& rest = mParts.data()[mNext];
        rest = {static_cast<uint8_t*>(rest.iov_base) + left, rest.iov_len - left};
    }
    return sent;
}

}  // namespace android::hardware
