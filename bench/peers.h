#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include <android-base/unique_fd.h>

/** Size of the pieces in which clients upload parameters, in bytes. */
constexpr size_t kPieceSize = 262144;

/** A process that ends with this object. */
class ChildProcess {
  public:
    /** Runs `body` in a new process, which ends when it returns. */
    explicit ChildProcess(const std::function<void()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

  private:
    const pid_t mPid;
};

/** The floor: another process that answers so many bytes to so many, and does nothing else. */
class RawPeer {
  public:
    /** @param keptSize of the memory into which requests go one behind the other, then anew. */
    RawPeer(size_t requestSize, size_t replySize, size_t keptSize = 0);
    void call();

  private:
    const size_t mRequestSize;
    const size_t mReplySize;
    android::base::unique_fd mSocket;
    std::unique_ptr<ChildProcess> mServer;
    std::vector<char> mBuffer;
};

/** What a Linux developer would pick: sd-bus on a direct connection to another process. */
class SdBusPeer {
  public:
    SdBusPeer();
    ~SdBusPeer();
    /** A call without arguments that answers an integer. */
    void callSmall();
    /** A call with a piece of bytes that answers an integer. */
    void callPiece(const std::vector<uint8_t>& piece);

  private:
    struct Bus;
    std::unique_ptr<Bus> mBus;
    std::unique_ptr<ChildProcess> mServer;
};
