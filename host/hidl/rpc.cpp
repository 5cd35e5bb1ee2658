#include "host/hidl/rpc.h"

#include <errno.h>
#include <sys/socket.h>

#include <atomic>
#include <utility>

#include <android-base/stringprintf.h>
#include <hwbinder/Parcel.h>

#include "host/hidl/objects.h"

namespace android::hardware {

namespace {

using limits::Duration;

/** A call that this thread is serving; `outer` is the one that it is nested in. */
struct ServedCall {
    ServedCall(Channel& c, bool isOneWay) : channel(c), isAnswered(isOneWay), outer(tInnermost) {
        tInnermost = this;
    }
    ~ServedCall() { tInnermost = outer; }

    Channel& channel;
    bool isAnswered;
    ServedCall* const outer;
    const int depth = outer == nullptr ? 1 : outer->depth + 1;

    static thread_local ServedCall* tInnermost;
};
thread_local ServedCall* ServedCall::tInnermost = nullptr;

/** Room for a call while it is handled, out of that of the process. */
class TransactionSpace {
  public:
    explicit TransactionSpace(const MessageHeader& call)
        : mSize(std::max(call.space, call.bodySize)), mIsGranted((sTaken += mSize) <= kLimit) {}
    ~TransactionSpace() { sTaken -= mSize; }
    TransactionSpace(const TransactionSpace&) = delete;
    TransactionSpace& operator=(const TransactionSpace&) = delete;

    bool isGranted() const { return mIsGranted; }

  private:
    static constexpr uint64_t kLimit = limits::kTransactionSpace;
    static std::atomic<uint64_t> sTaken;

    const uint64_t mSize;
    const bool mIsGranted;
};
std::atomic<uint64_t> TransactionSpace::sTaken{0};

/** The time that this thread has left for waiting while it serves calls. */
struct WaitBudget {
    uint64_t call = 0;  // number of the call being served, not counting nested ones
    Duration left = limits::kServeTimeout;
    Deadline since = coarseNow();
    Deadline outerDeadline = kNoDeadline;
};
thread_local WaitBudget tBudget;

/** The wait for a peer to take or answer a message, out of what it and this thread have left. */
class Wait {
  public:
    explicit Wait(Channel& channel)
        : mChannel(channel),
          mIsBounded(channel.kind() != PeerKind::SERVICE),
          mUsesBudget(channel.kind() == PeerKind::CLIENT && ServedCall::tInnermost != nullptr) {
        if (!mIsBounded) return;
        mBegin = coarseNow();
        Duration limit =
                ServedCall::tInnermost == nullptr ? limits::kAnswerTimeout : limits::kHalTimeout;
        if (mUsesBudget) {
            if (mOuter == kNoDeadline) {
                const Duration back = (mBegin - tBudget.since) / limits::kServeFraction;
                tBudget.left = std::min(limits::kServeTimeout, tBudget.left + back);
            }
            limit = std::min(limits::kPeerTimeout - channel.peer().waited(tBudget.call),
                             tBudget.left / 2);
            limit = std::max(limit, Duration(0));  // a deadline may be noticed late
        }
        mDeadline = tBudget.outerDeadline = std::min(mOuter, mBegin + limit);
    }
    ~Wait() {
        if (!mIsBounded) return;
        tBudget.outerDeadline = mOuter;
        if (!mUsesBudget) return;
        const Deadline end = coarseNow();
        mChannel.peer().addWait(tBudget.call, end - mBegin);
        if (mOuter != kNoDeadline) return;  // the outer wait counts it, unless it is for a HAL
        // A nested call may have taken longer than the client was allowed to.
        tBudget.left = std::max(Duration(0), tBudget.left - (end - mBegin));
        tBudget.since = end;
    }
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    Deadline deadline() const { return mDeadline; }
    bool isTooShort() const { return mIsBounded && mDeadline - mBegin < limits::kMinTimeout; }
    /** @param failure what the peer did not do in time. */
    void giveUp(const char* failure) const {
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(mDeadline - mBegin).count();
        mChannel.peer().giveUp(base::StringPrintf("%s within %d ms", failure, int(ms)).c_str());
    }

  private:
    Channel& mChannel;
    const bool mIsBounded;
    const bool mUsesBudget;
    const Deadline mOuter = tBudget.outerDeadline;
    Deadline mBegin;
    Deadline mDeadline = kNoDeadline;
};

status_t answer(Channel& channel, status_t status, const Parcel& parcel) {
    MessageHeader header;
    header.kind = MessageHeader::kReply;
    header.code = static_cast<uint32_t>(status);
    Outgoing outgoing;
    status_t error = outgoing.prepare(header, parcel, channel);
    if (error != OK) return error;
    if (outgoing.send(channel.socket(), MSG_DONTWAIT) >= 0 && outgoing.isSent()) return OK;
    const Wait wait(channel);
    error = channel.send(&outgoing, wait.deadline());
    if (error == TIMED_OUT) wait.giveUp("it did not read an answer");
    return error;
}

}  // namespace

Channel* servedChannel(const Peer& peer) {
    for (ServedCall* call = ServedCall::tInnermost; call != nullptr; call = call->outer) {
        if (&call->channel.peer() == &peer) return call->isAnswered ? nullptr : &call->channel;
    }
    return nullptr;
}

status_t sendOneWay(Channel& channel, const MessageHeader& header, const Parcel& data) {
    const Wait wait(channel);
    const status_t status = channel.send(header, data, wait.deadline());
    if (status == TIMED_OUT) wait.giveUp("it did not read its calls");
    if (status == DEAD_OBJECT) channel.shutdown();
    return status;
}

status_t exchange(Channel& channel, const MessageHeader& header, const Parcel& data,
                  Parcel* reply) {
    const Wait wait(channel);
    if (wait.isTooShort()) {
        channel.peer().logNotCalled(tBudget.call);
        return WOULD_BLOCK;
    }
    status_t status = channel.send(header, data, wait.deadline());
    Message message(channel.peer());
    while (status == OK) {
        status = channel.receive(&message, wait.deadline());
        if (status != OK) break;
        if (message.header().kind == MessageHeader::kReply) {
            status = static_cast<status_t>(message.header().code);
            message.moveTo(reply, channel);
            return status;
        }
        // A failure shows when the wait for the reply goes on.
        if (!serve(channel, message, findExported(message.header().target))) channel.shutdown();
        if (coarseNow() >= wait.deadline()) status = TIMED_OUT;  // it calls on and does not answer
    }
    if (status == TIMED_OUT) wait.giveUp("it did not answer");
    if (status == DEAD_OBJECT) channel.shutdown();
    return status;
}

bool serve(Channel& channel, Message& call, const sp<BHwBinder>& object) {
    const MessageHeader header = call.header();
    ServedCall served(channel, header.isOneWay());
    if (served.outer == nullptr) tBudget.call++;
    const TransactionSpace space(header);
    Parcel data;
    call.moveTo(&data, channel);
    Parcel reply;
    status_t sent = OK;
    auto send = [&](status_t status, const Parcel& parcel) {
        if (std::exchange(served.isAnswered, true)) return;
        sent = answer(channel, status, parcel);
        if (sent != OK && !channel.isShutDown()) sent = answer(channel, sent, Parcel());
    };
    std::function<void(Parcel&)> sendReply = [&](Parcel& parcel) { send(OK, parcel); };

    status_t status = DEAD_OBJECT;
    if (served.depth > limits::kMaxNesting) {
        status = -ELOOP;
    } else if (!space.isGranted()) {
        status = FAILED_TRANSACTION;
    } else if (object != nullptr) {
        status = object->transact(header.code, data, &reply, header.flags, sendReply);
    }
    if (data.isMalformed()) return false;
    send(status, reply);
    return sent == OK;
}

}  // namespace android::hardware
