#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "host/tvset/seam/clock.h"

namespace tvset {

/**
 * Replaces real time while it exists, for tests, fuzzers and benchmarks: a wait is exact and takes
 * no time. Its threads are the one that made it and those that code behind the seam creates
 * meanwhile; no other thread may wait.
 *
 * Time stands still while any of its threads runs. Once all of them wait, in a sleep or for events,
 * one thread that has an event goes on; without one, the earliest thing that is due happens, an
 * action or the end of a wait. Of things due at the same time, actions come first, in the order in
 * which they were added, and the thread that made the clock comes last. If nothing is due, the
 * process aborts with a message.
 *
 * At most one object at a time. Functions may be called on any thread, and by actions, which must
 * not wait.
 */
class VirtualClock : public Clock {
  public:
    VirtualClock();
    /**
     * Lets time pass until the threads that it has created have ended. Actions that are not due by
     * then are dropped. Called on the thread that made the object.
     */
    ~VirtualClock() override;
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /** Time since the object was made. */
    std::chrono::nanoseconds now() const;

    int sleepFor(std::chrono::nanoseconds duration, timespec* remaining = nullptr) override;
    int waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs) override;
    /** Only for timers that fire once after a delay and are set once; aborts for any other. */
    int setTimer(int timer, int flags, const itimerspec* value, itimerspec* old) override;
    int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                     void* argument) override;
    void after(std::chrono::nanoseconds delay, std::function<void()> action) override;

  private:
    struct Waiter {
        int epoll;
        bool isOver = false;
    };
    /** Of two waits that end at the same time, the one with the lower number ends first. */
    using WaiterKey = std::pair<std::chrono::nanoseconds, uint64_t>;
    using Waiters = std::map<WaiterKey, Waiter*>;
    using Lock = std::unique_lock<std::mutex>;

    void wait(std::chrono::nanoseconds duration, int epoll);
    void advance(Lock& lock);
    void runNextAction(Lock& lock);
    void resume(Waiters::iterator waiter);
    void removeThread();
    static void* runThread(void* argument);

    mutable std::mutex mMutex;
    std::condition_variable mChanged;
    const std::thread::id mOwner = std::this_thread::get_id();
    std::chrono::nanoseconds mNow{};
    std::multimap<std::chrono::nanoseconds, std::function<void()>> mActions;  // by their due time
    Waiters mWaiters;  // by the end of their wait
    uint64_t mLastNumber = 0;
    int mRunning = 1;  // threads of the clock that do not wait
};

}  // namespace tvset
