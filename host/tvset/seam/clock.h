#pragma once

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <time.h>

#include <chrono>
#include <functional>

/* The time of the set: TVSET_SPEED makes waits shorter, a virtual clock makes them free. */
namespace tvset {

/** What TVSET_SPEED asks for: null is 1; so is, with a message, all but a whole number from 1. */
int parseSpeed(const char* text);

/** A duration scaled by TVSET_SPEED, which is read once a process. */
std::chrono::nanoseconds shortened(std::chrono::nanoseconds duration);

/**
 * What nanosleep does, in the time of the set, with its result and errno; `remaining` may be null
 * and is in real time. Called on any thread.
 */
int sleepFor(std::chrono::nanoseconds duration, timespec* remaining);

/**
 * Has the action run once, after the delay in the time of the set, on whichever thread. The action
 * must not depend on anything that ends before the process does, nor take long: others wait.
 */
void after(std::chrono::nanoseconds delay, std::function<void()> action);

/** What epoll_wait does, in the time of the set. Called on any thread. */
int waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs);

/**
 * What timerfd_settime does, in the time of the set. A virtual clock moves timers that fire once;
 * those of an absolute time or with an interval wait for the real one.
 */
int setTimer(int timer, int flags, const itimerspec* value, itimerspec* old);

/** What pthread_create does; the thread takes part in the virtual clock that there is, if any. */
int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                 void* argument);

/**
 * While an object of this class lives, time passes by waiting alone. The thread that made it and
 * those that createThread() starts meanwhile take part in it: as soon as all of them wait, in a
 * sleep or for events, one that has an event goes on; without one the earliest of what is due
 * happens at once, be it an action or the end of a wait, and then the next only when all wait
 * again. At the same time, actions come first and the thread that made the clock comes last. If
 * nothing is due, events are waited for in real time.
 *
 * A sleep of any other thread moves the clock on at once and runs what falls due on the way. At
 * most one object at a time; its functions may be called on any thread, also out of an action,
 * which may also sleep.
 */
class VirtualClock {
  public:
    VirtualClock();
    /**
     * Drops the actions that are not due yet; waits for one that is running on another thread.
     * The set's own, and threads that wait, go on in real time.
     */
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /** Time since the object was made; within an action, the time at which the action is due. */
    std::chrono::nanoseconds now() const;

    /** Has the action run once, after the delay; actions due at the same time run in call order. */
    void at(std::chrono::nanoseconds delay, std::function<void()> action);
};

}  // namespace tvset
