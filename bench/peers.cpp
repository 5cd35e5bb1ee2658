#include "bench/peers.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <systemd/sd-bus.h>

using android::base::unique_fd;

namespace {

void check(bool isRight, const char* what) {
    if (isRight) return;
    perror(what);
    exit(1);
}

struct SocketPair {
    SocketPair() {
        int ends[2];
        check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
        client.reset(ends[0]);
        server.reset(ends[1]);
    }
    unique_fd client;
    unique_fd server;
};

bool receiveAll(int socket, char* data, size_t size) {
    for (size_t have = 0; have < size;) {
        ssize_t count = recv(socket, data + have, size - have, 0);
        if (count <= 0) return false;
        have += static_cast<size_t>(count);
    }
    return true;
}

bool sendAll(int socket, const char* data, size_t size) {
    for (size_t sent = 0; sent < size;) {
        ssize_t count = send(socket, data + sent, size - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

}  // namespace

ChildProcess::ChildProcess(const std::function<void()>& body) : mPid(fork()) {
    check(mPid >= 0, "fork");
    if (mPid != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    body();
    _exit(0);
}

ChildProcess::~ChildProcess() {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

RawPeer::RawPeer(size_t requestSize, size_t replySize, size_t keptSize)
    : mRequestSize(requestSize),
      mReplySize(replySize),
      mBuffer(std::max(requestSize, replySize), 'x') {
    SocketPair pair;
    mServer = std::make_unique<ChildProcess>([&] {
        pair.client.reset();
        const std::vector<char> reply(mReplySize, 'y');
        const size_t size = std::max(mRequestSize, keptSize);
        std::unique_ptr<char[]> kept(new char[size]);
        for (size_t at = 0; receiveAll(pair.server, &kept[at], mRequestSize);) {
            if (!sendAll(pair.server, reply.data(), mReplySize)) return;
            at += mRequestSize;
            if (at + mRequestSize <= size) continue;
            at = 0;
            if (keptSize > mRequestSize) kept.reset(new char[size]);
        }
    });
    mSocket = std::move(pair.client);
}

void RawPeer::call() {
    check(sendAll(mSocket, mBuffer.data(), mRequestSize) &&
                  receiveAll(mSocket, mBuffer.data(), mReplySize),
          "raw call");
}

struct SdBusPeer::Bus {
    ~Bus() { sd_bus_flush_close_unref(bus); }
    sd_bus* bus = nullptr;

    void call(sd_bus_message* request) {
        sd_bus_message* reply = nullptr;
        check(sd_bus_call(bus, request, 0, nullptr, &reply) >= 0, "sd_bus_call");
        int32_t answer;
        check(sd_bus_message_read(reply, "i", &answer) >= 0 && answer >= 0, "sd-bus answer");
        sd_bus_message_unref(reply);
        sd_bus_message_unref(request);
    }
    sd_bus_message* newCall(const char* method) {
        sd_bus_message* message = nullptr;
        check(sd_bus_message_new_method_call(bus, &message, nullptr, "/bench", "bench.Calls",
                                             method) >= 0,
              "sd-bus message");
        return message;
    }
};

namespace {

int answerSmall(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(message, "i", static_cast<int32_t>(kPieceSize));
}

int answerPiece(sd_bus_message* message, void*, sd_bus_error*) {
    const void* data;
    size_t size;
    if (int error = sd_bus_message_read_array(message, 'y', &data, &size); error < 0) return error;
    return sd_bus_reply_method_return(message, "i", static_cast<int32_t>(size));
}

constexpr sd_bus_vtable kCalls[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Small", "", "i", answerSmall, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("Piece", "ay", "i", answerPiece, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
};

void serveSdBus(int socket) {
    sd_bus* bus = nullptr;
    sd_id128_t id;
    check(sd_id128_randomize(&id) >= 0 && sd_bus_new(&bus) >= 0 &&
                  sd_bus_set_fd(bus, socket, socket) >= 0 && sd_bus_set_server(bus, 1, id) >= 0 &&
                  sd_bus_set_trusted(bus, 1) >= 0 && sd_bus_start(bus) >= 0 &&
                  sd_bus_add_object_vtable(bus, nullptr, "/bench", "bench.Calls", kCalls,
                                           nullptr) >= 0,
          "sd-bus server");
    while (true) {
        int processed = sd_bus_process(bus, nullptr);
        if (processed < 0) return;
        if (processed == 0) sd_bus_wait(bus, UINT64_MAX);
    }
}

}  // namespace

SdBusPeer::SdBusPeer() : mBus(std::make_unique<Bus>()) {
    SocketPair pair;
    mServer = std::make_unique<ChildProcess>([&] {
        pair.client.reset();
        serveSdBus(pair.server.release());
    });
    int socket = pair.client.release();
    check(sd_bus_new(&mBus->bus) >= 0 && sd_bus_set_fd(mBus->bus, socket, socket) >= 0 &&
                  sd_bus_set_trusted(mBus->bus, 1) >= 0 && sd_bus_start(mBus->bus) >= 0,
          "sd-bus client");
}

SdBusPeer::~SdBusPeer() = default;

void SdBusPeer::callSmall() {
    mBus->call(mBus->newCall("Small"));
}

void SdBusPeer::callPiece(const std::vector<uint8_t>& piece) {
    sd_bus_message* request = mBus->newCall("Piece");
    check(sd_bus_message_append_array(request, 'y', piece.data(), piece.size()) >= 0,
          "sd-bus piece");
    mBus->call(request);
}
