#pragma once

#include "host/hidl/channel.h"

namespace android::hardware {

/**
 * The right to run objects of this process. While the process has a single RPC thread, calls that
 * another thread serves because it waits for a callback take turns with it, so that no two methods
 * overlap. A thread that has its turn may take it again.
 */
class Turn {
  public:
    Turn();
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    /** Leaves the turn to others while the object lives; without one it does nothing. */
    class Pause {
      public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

      private:
        const int mTurns;
    };

    /** From now on there is a single RPC thread. Called before it runs. */
    static void takeTurns();
};

/** How many calls a thread serves within each other: each takes some of its stack. */
constexpr int kMaxNesting = 32;

/**
 * Calls an object behind a channel and waits for the reply. Serves the calls that come back on the
 * channel in the meantime: they are nested in this one. Those that are nested too deep are answered
 * with FAILED_TRANSACTION.
 *
 * @return OK when a reply came, whatever its status; or what Channel::send() and receive() answer.
 */
status_t exchange(Channel& channel, const MessageHeader& header, const Parcel& data, Parcel* reply);

/** Answers a call: sends the header with the status and, if that is OK, the parcel. */
using Answer = std::function<status_t(status_t, const Parcel&)>;

/**
 * Runs one received call; one that is one-way is not answered.
 *
 * @param object that is called; null if the peer named one that it does not have.
 * @return OK, or BAD_VALUE if the call was malformed; then it has not been answered.
 */
status_t serve(Channel& channel, Message& call, const sp<BHwBinder>& object, const Answer& answer);

/**
 * Channel of a call of `peer` that this thread is serving, or null: nested calls go that way. For a
 * call that is answered, or was one-way, the peer does not wait there.
 */
Channel* servedChannel(pid_t peer);

}  // namespace android::hardware
