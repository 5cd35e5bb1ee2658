#define LOG_TAG "hidl"

#include "host/hidl/channel.h"

#include <errno.h>
#include <limits.h>
#include <sys/socket.h>

#include <log/log.h>

namespace android::hardware {

using base::unique_fd;

/** Bounds a whole message, so that a peer that goes on byte by byte cannot stretch it. */
class Channel::Deadline {
  public:
    explicit Deadline(Patience patience) : mPatience(patience) {
        if (mPatience != kForever) mEnd = Clock::now() + mPatience;
    }
    bool hasPassed() const { return mPatience != kForever && Clock::now() >= mEnd; }

  private:
    using Clock = std::chrono::steady_clock;
    const Patience mPatience;
    Clock::time_point mEnd;
};

namespace {

/** sendmsg for parts that may be sent in several goes; descriptors go along with the first. */
class Sender {
  public:
    Sender(Parcel::Outgoing& outgoing) : mPart(outgoing.parts()), mCount(outgoing.count) {
        mFds = outgoing.fds.data();
        mFdSize = outgoing.fds.size() * sizeof(int);
    }

    bool isDone() const { return mCount == 0; }
    bool hasUnsentFds() const { return mFdSize > 0; }

    /** @return bytes sent, or -1 with errno. */
    ssize_t send(int socket, int flags) {
        if (mCount == 1 && mFdSize == 0) {  // most messages: spare the kernel the description
            return advance(::send(socket, mPart->iov_base, mPart->iov_len, flags | MSG_NOSIGNAL));
        }
        alignas(cmsghdr) char control[CMSG_SPACE(kMaxMessageFds * sizeof(int))];
        msghdr message{};
        message.msg_iov = mPart;
        message.msg_iovlen = std::min<size_t>(mCount, IOV_MAX);
        if (mFdSize > 0) {
            message.msg_control = control;
            message.msg_controllen = CMSG_SPACE(mFdSize);
            cmsghdr* head = CMSG_FIRSTHDR(&message);
            head->cmsg_level = SOL_SOCKET;
            head->cmsg_type = SCM_RIGHTS;
            head->cmsg_len = CMSG_LEN(mFdSize);
            memcpy(CMSG_DATA(head), mFds, mFdSize);
        }
        ssize_t sent = sendmsg(socket, &message, flags | MSG_NOSIGNAL);
        if (sent >= 0) mFdSize = 0;
        return advance(sent);
    }

    void appendRest(std::vector<uint8_t>* backlog) {
        for (; mCount > 0; mPart++, mCount--) {
            const uint8_t* data = static_cast<const uint8_t*>(mPart->iov_base);
            backlog->insert(backlog->end(), data, data + mPart->iov_len);
        }
    }

  private:
    ssize_t advance(ssize_t sent) {
        size_t left = static_cast<size_t>(std::max<ssize_t>(sent, 0));
        while (mCount > 0 && left >= mPart->iov_len) {
            left -= mPart->iov_len;
            mPart++;
            mCount--;
        }
        if (mCount > 0) {
            mPart->iov_base = static_cast<uint8_t*>(mPart->iov_base) + left;
            mPart->iov_len -= left;
        }
        return sent;
    }

    iovec* mPart;
    size_t mCount;
    const int* mFds;
    size_t mFdSize;
};

void setTimeout(int socket, int option, Channel::Patience patience) {
    timeval limit{patience.count() / 1000, patience.count() % 1000 * 1000};
    setsockopt(socket, SOL_SOCKET, option, &limit, sizeof(limit));
}

}  // namespace

Channel::Channel(unique_fd socket, pid_t peer, Patience patience)
    : mSocket(std::move(socket)), mPeer(peer), mPatience(patience) {
    // As much as the system grants: a message that fits is sent without waking the peer halfway.
    const int bufferSize = kMaxMessageSize;
    setsockopt(mSocket, SOL_SOCKET, SO_SNDBUF, &bufferSize, sizeof(bufferSize));
    if (patience == kForever) return;
    setTimeout(mSocket, SO_SNDTIMEO, patience);
    setTimeout(mSocket, SO_RCVTIMEO, patience);
}

status_t Channel::send(const MessageHeader& header, const Parcel& parcel) {
    Parcel::Outgoing outgoing;
    if (status_t error = parcel.prepare(header, *this, &outgoing); error != OK) return error;
    Sender sender(outgoing);
    Deadline deadline(mPatience);
    while (!sender.isDone()) {
        if (sender.send(mSocket, 0) >= 0) {
            if (!sender.isDone() && deadline.hasPassed()) return TIMED_OUT;
        } else if (errno == EAGAIN) {
            return TIMED_OUT;
        } else if (errno != EINTR) {
            return DEAD_OBJECT;
        }
    }
    return OK;
}

status_t Channel::sendOrKeep(const MessageHeader& header, const Parcel& parcel,
                             std::vector<uint8_t>* backlog) {
    Parcel::Outgoing outgoing;
    if (status_t error = parcel.prepare(header, *this, &outgoing); error != OK) return error;
    Sender sender(outgoing);
    while (!sender.isDone()) {
        if (sender.send(mSocket, MSG_DONTWAIT) >= 0 || errno == EINTR) continue;
        if (errno != EAGAIN) return DEAD_OBJECT;
        // Descriptors cannot be kept. A peer that left no room for the first byte of an answer
        // has called without reading the answers before.
        if (sender.hasUnsentFds()) return DEAD_OBJECT;
        sender.appendRest(backlog);
    }
    return OK;
}

status_t Channel::sendBacklog(std::vector<uint8_t>* backlog) {
    size_t sent = 0;
    while (sent < backlog->size()) {
        ssize_t count = ::send(mSocket, backlog->data() + sent, backlog->size() - sent,
                               MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno != EAGAIN) return DEAD_OBJECT;
        if (count < 0) break;
        sent += static_cast<size_t>(count);
    }
    backlog->erase(backlog->begin(), backlog->begin() + static_cast<ptrdiff_t>(sent));
    if (backlog->empty()) backlog->shrink_to_fit();
    return OK;
}

status_t Channel::receive(Message* message) {
    Deadline deadline(mPatience);
    while (true) {
        switch (message->receive(mSocket, 0)) {
            case Message::Progress::kComplete:
                return OK;
            case Message::Progress::kPartial:
                if (deadline.hasPassed()) return TIMED_OUT;
                break;
            case Message::Progress::kNothing:
                return TIMED_OUT;
            case Message::Progress::kClosed:
                return DEAD_OBJECT;
            case Message::Progress::kMalformed:
                turnAway(message->error());
                return BAD_VALUE;
        }
    }
}

void Channel::shutdown() const {
    ::shutdown(mSocket, SHUT_RDWR);
}

void Channel::turnAway(const char* why) const {
    logPeer(mPeer, why);
    shutdown();
}

void logPeer(pid_t peer, const char* what) {
    ALOGW("closed a connection of process %d: %s", peer, what);
}

}  // namespace android::hardware
