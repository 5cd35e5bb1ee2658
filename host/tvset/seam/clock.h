#pragma once

#include <pthread.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <time.h>

#include <chrono>
#include <functional>

namespace tvset {

/**
 * The clock that the waits of the services and the delays of the set go by. All functions may be
 * called on any thread.
 */
class Clock {
  public:
    virtual ~Clock() = default;

    /** What nanosleep does; `remaining` may be null and is in real time. */
    virtual int sleepFor(std::chrono::nanoseconds duration, timespec* remaining) = 0;

    /** What epoll_wait does. */
    virtual int waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs) = 0;

    /** What timerfd_settime does. */
    virtual int setTimer(int timer, int flags, const itimerspec* value, itimerspec* old) = 0;

    /** What pthread_create does: a clock may have to know the threads that wait. */
    virtual int createThread(pthread_t* thread, const pthread_attr_t* attributes,
                             void* (*function)(void*), void* argument) = 0;

    /**
     * Runs the action once, after the delay, on some thread. The action must not refer to anything
     * that is destroyed before the process ends, nor wait: it would delay others.
     * @throws std::system_error  if there can be no thread for it
     */
    virtual void after(std::chrono::nanoseconds delay, std::function<void()> action) = 0;
};

/** The installed clock, else the real one, whose time TVSET_SPEED shortens. Any thread. */
Clock& currentClock();

/**
 * Replaces the real clock in the whole process; null restores it. The installed clock must outlive
 * the waits that have begun on it.
 */
void installClock(Clock* clock);

/** The value of TVSET_SPEED: 1 if null, and, with a message, if not a whole number from 1. */
int parseSpeed(const char* text);

constexpr std::chrono::nanoseconds durationOf(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace tvset
