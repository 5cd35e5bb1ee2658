#pragma once

#include <chrono>
#include <cstddef>

/*
 * How much of this process another one may use. The bounds on messages are the platform's; all
 * others are the workstation's own: a set bounds neither the time nor the connections of a peer.
 */
namespace android::hardware::limits {

using namespace std::chrono_literals;
using Duration = std::chrono::steady_clock::duration;

/** Room for the calls being handled by a process, as the binder driver counts: 1 MiB less two
 *  pages of 4096 bytes. One-way calls may take half of it. */
constexpr size_t kTransactionSpace = (1 << 20) - 2 * 4096;
/** Largest message on the wire, header included, in bytes. */
constexpr size_t kMaxMessageSize = 1 << 20;
/** Most descriptors in a message; objects passed along count as one each. */
constexpr size_t kMaxMessageFds = 64;

/** Most connections of a peer. */
constexpr size_t kMaxConnections = 2048;
/** Most links to the death of one object. */
constexpr size_t kMaxDeathLinks = 4096;
/** Calls that one thread serves inside each other; each takes some of its stack. */
constexpr int kMaxNesting = 32;
/** Memory, in bytes, for messages that are not yet complete. */
constexpr size_t kMaxPeerMemory = 4 << 20, kMaxMemory = 256 << 20;
/** What a descriptor of such a message counts as, in bytes. */
constexpr size_t kDescriptorCost = 64 << 10;

/** Time to take and answer a call of a thread that serves nobody: at start, and of a worker. */
constexpr Duration kAnswerTimeout = 5s;
/** The same for a platform HAL while calls are served. It is given up then: this happens once. */
constexpr Duration kHalTimeout = 3s;
/**
 * Time that a thread that serves calls waits for clients in all, nested calls included, so that
 * nobody's call is held up for longer. One kServeFraction of the time in which it does not wait
 * comes back. Not counted: the turn of another thread that is calling the same object.
 */
constexpr Duration kServeTimeout = 2s;
constexpr int kServeFraction = 4;
/** Share of that for one peer in one call. A peer never gets more than half of what is left. */
constexpr Duration kPeerTimeout = 1s;
/** A peer for which less than this is left gets no call that has a reply. */
constexpr Duration kMinTimeout = 50ms;

}  // namespace android::hardware::limits
