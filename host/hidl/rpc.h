#pragma once

#include "host/hidl/channel.h"

namespace android::hardware {

/**
 * Calls an object behind a channel and waits for the reply. Serves the calls that come back on the
 * channel in the meantime: they are nested in this one. Those that are nested too deep are answered
 * with -ELOOP.
 *
 * @return the status of the reply; WOULD_BLOCK if the peer was not called since no time
 *     is left for it; or the result of Channel::send() or receive().
 */
status_t exchange(Channel& channel, const MessageHeader& header, const Parcel& data, Parcel* reply);

/** Sends a one-way call. @return OK once it is on its way; or the result of Channel::send(). */
status_t sendOneWay(Channel& channel, const MessageHeader& header, const Parcel& data);

/**
 * Runs one received call and answers it, unless it is one-way.
 *
 * @param object that is called; null if the peer named one that it does not have.
 * @return whether the connection stays open: the call was well-formed, and its reply was sent.
 */
bool serve(Channel& channel, Message& call, const sp<BHwBinder>& object);

/**
 * Channel of a call of `peer` that this thread is serving, or null: nested calls go that way. For a
 * call that is answered, or was one-way, the peer does not wait there.
 */
Channel* servedChannel(const Peer& peer);

}  // namespace android::hardware
