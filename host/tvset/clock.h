#pragma once

#include <time.h>

#include <chrono>
#include <functional>

/* The time of the set: TVSET_SPEED makes waits shorter, a virtual clock makes them free. */
namespace tvset {

/** What TVSET_SPEED asks for: null is 1; so is, with a message, all but a whole number from 1. */
int parseSpeed(const char* text);

/** A duration as it is waited for in truth. TVSET_SPEED is read once a process. */
std::chrono::nanoseconds shortened(std::chrono::nanoseconds duration);

/**
 * What nanosleep does, in the time of the set, with its result and errno; `remaining` may be null
 * and is in real time. Called on any thread.
 */
int sleepFor(std::chrono::nanoseconds duration, timespec* remaining);

/**
 * While an object of this class lives, no sleep of the process waits: it moves the clock on and
 * runs what falls due on the way, on the thread that sleeps, in the order of time. Threads share
 * the one clock, so what one sleeps has passed for the others too. At most one object at a time;
 * its functions may be called on any thread, also out of an action.
 */
class VirtualClock {
  public:
    VirtualClock();
    /** Drops what is not due yet; waits for an action that is running on another thread. */
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /** Time since the object was made; within an action, the time at which the action is due. */
    std::chrono::nanoseconds now() const;

    /** Has the action run once, after the delay; actions due at the same time run in call order. */
    void at(std::chrono::nanoseconds delay, std::function<void()> action);
};

}  // namespace tvset
