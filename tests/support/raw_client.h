#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <string>

#include <android-base/unique_fd.h>
#include <hwbinder/Parcel.h>

#include "host/hidl/channel.h"

/* A peer without the HIDL runtime, which may send anything. */

using android::hardware::MessageHeader;

/** A connection to a service. */
class RawClient {
  public:
    explicit RawClient(android::base::unique_fd socket) : mSocket(std::move(socket)) {}
    explicit RawClient(const std::string& interface) {
        mSocket.reset(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        timeval limit{10, 0};
        setsockopt(mSocket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        sockaddr_un address{AF_UNIX, {}};
        const std::string path = getenv("TVSET_ROOT") +
                                 ("/run/com.zavo.dtv.hardware.audio@" + interface + "%2Fdefault");
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        if (connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) abort();
    }
    bool send(const std::string& bytes, int fd = -1) const {
        iovec part{const_cast<char*>(bytes.data()), bytes.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message{};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        if (fd >= 0) {
            message.msg_control = control;
            message.msg_controllen = sizeof(control);
            *CMSG_FIRSTHDR(&message) = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
            memcpy(CMSG_DATA(CMSG_FIRSTHDR(&message)), &fd, sizeof(fd));
        }
        return sendmsg(mSocket, &message, MSG_NOSIGNAL) == ssize_t(bytes.size());
    }
    /** Status of the next reply; or why there is none. */
    std::string reply() const {
        MessageHeader header;
        const ssize_t count = recv(mSocket, &header, sizeof(header), MSG_WAITALL);
        if (count <= 0) return count == 0 || errno == ECONNRESET ? "closed" : "silent";
        std::string body(header.bodySize, '\0');
        if (!body.empty() &&
            recv(mSocket, body.data(), body.size(), MSG_WAITALL) != ssize_t(body.size()))
            return "half a reply";
        return std::to_string(header.code);
    }
    void endSending() const { shutdown(mSocket, SHUT_WR); }
    int socket() const { return mSocket.get(); }
    void hangUp() { mSocket.reset(); }

  private:
    android::base::unique_fd mSocket;
};

/** The bytes of values, filled up to the alignment of a body. */
template <typename... Values>
std::string item(Values... values) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof(values)), ...);
    bytes.resize((bytes.size() + 7) / 8 * 8);
    return bytes;
}
inline std::string text(std::string bytes) {
    bytes.resize(bytes.size() / 8 * 8 + 8);
    return bytes;
}
/** A string or list as it stands in a structure, with a pointer that must not be trusted. */
inline std::string head(uint32_t count) {
    return item(uint64_t(0xDEAD), count, uint32_t(1));
}
inline std::string message(uint32_t code, const std::string& body, uint32_t fds = 0,
                           uint32_t kind = MessageHeader::kCall, int64_t size = -1) {
    MessageHeader header{kind, code, 0, size < 0 ? uint32_t(body.size()) : uint32_t(size),
                         fds,  0,    {}};
    return item(header) + body;
}
inline std::string oneWay(std::string call) {
    call[offsetof(MessageHeader, flags)] = android::hardware::IBinder::FLAG_ONEWAY;
    return call;
}
inline std::string token(const std::string& interface) {
    return text("com.zavo.dtv.hardware.audio@" + interface);
}

/** The message that a parcel becomes. */
inline std::string bytesOnTheWire(const android::hardware::Parcel& parcel,
                                  const MessageHeader& header = {}) {
    using android::hardware::Channel;
    android::hardware::Outgoing outgoing;
    if (outgoing.prepare(header, parcel, Channel({}, 0, android::hardware::PeerKind::SERVICE)) != 0)
        return "refused";
    std::string bytes;
    for (size_t i = 0; i < outgoing.parts().size(); i++) {
        const iovec& part = outgoing.parts().data()[i];
        bytes.append(static_cast<const char*>(part.iov_base), part.iov_len);
    }
    return bytes;
}
