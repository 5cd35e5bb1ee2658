#include "host/hidl/rpc.h"

#include <atomic>
#include <utility>

#include "host/hidl/objects.h"

namespace android::hardware {

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<bool> gTakesTurns{false};
thread_local int tTurns = 0;

std::mutex& turnLock() {
    static auto* lock = new std::mutex;  // outlives the threads that are still served at exit
    return *lock;
}

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

void serveNested(Channel& channel, Message& call) {
    auto answer = [&channel](status_t status, const Parcel& parcel) {
        MessageHeader header;
        header.kind = MessageHeader::kReply;
        header.code = static_cast<uint32_t>(status);
        return channel.send(header, parcel);
    };
    Turn turn;
    sp<BHwBinder> object = findExported(call.header().target, channel.peer());
    // A failure shows when the caller goes on waiting for its reply.
    if (serve(channel, call, object, answer) != OK) channel.shutdown();
}

}  // namespace

void Turn::takeTurns() {
    gTakesTurns = true;
}

Turn::Turn() {
    if (gTakesTurns && tTurns == 0) turnLock().lock();
    if (gTakesTurns) tTurns++;
}

Turn::~Turn() {
    if (tTurns > 0 && --tTurns == 0) turnLock().unlock();
}

Turn::Pause::Pause() : mTurns(tTurns) {
    tTurns = 0;
    if (mTurns > 0) turnLock().unlock();
}

Turn::Pause::~Pause() {
    if (mTurns > 0) turnLock().lock();
    tTurns = mTurns;
}

Channel* servedChannel(pid_t peer) {
    for (ServedCall* call = ServedCall::tInnermost; call != nullptr; call = call->outer) {
        if (call->channel.peer() == peer) return call->isAnswered ? nullptr : &call->channel;
    }
    return nullptr;
}

status_t exchange(Channel& channel, const MessageHeader& header, const Parcel& data,
                  Parcel* reply) {
    if (status_t error = channel.send(header, data); error != OK) return error;
    Message& message = reply->incoming();
    Clock::duration waited{0};  // without the time that its nested calls take here
    while (true) {
        const Clock::time_point begin = Clock::now();
        message.reset();
        if (status_t error = channel.receive(&message); error != OK) return error;
        if (message.header().kind == MessageHeader::kReply) break;
        waited += Clock::now() - begin;
        if (channel.patience() != Channel::kForever && waited >= channel.patience()) {
            return TIMED_OUT;  // it calls and calls and does not answer
        }
        serveNested(channel, message);
    }
    reply->setSource(message, channel);
    return OK;
}

status_t serve(Channel& channel, Message& call, const sp<BHwBinder>& object, const Answer& answer) {
    const MessageHeader& header = call.header();
    ServedCall served(channel, header.flags & IBinder::FLAG_ONEWAY);
    Parcel data(call, channel);
    Parcel reply;
    auto send = [&](status_t status, const Parcel& parcel) {
        if (std::exchange(served.isAnswered, true)) return;
        status_t error = answer(status, parcel);
        if (error == DEAD_OBJECT || error == TIMED_OUT) return;  // there is nobody to tell
        if (error != OK) answer(error, Parcel());
    };
    std::function<void(Parcel&)> sendReply = [&](Parcel& parcel) { send(OK, parcel); };

    status_t status = DEAD_OBJECT;
    if (served.depth > kMaxNesting) {
        status = FAILED_TRANSACTION;
    } else if (object != nullptr) {
        status = object->transact(header.code, data, &reply, header.flags, sendReply);
    }
    if (data.isMalformed()) return BAD_VALUE;
    send(status, reply);
    return OK;
}

}  // namespace android::hardware
