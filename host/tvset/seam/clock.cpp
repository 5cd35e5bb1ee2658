#include "host/tvset/seam/clock.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <android-base/parseint.h>

#include "host/tvset/seam/log_sink.h"
#include "host/tvset/seam/real.h"

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace tvset {
namespace {

nanoseconds shortened(nanoseconds duration) {
    static const int speed = parseSpeed(getenv("TVSET_SPEED"));
    return duration / speed;
}

timespec timespecOf(nanoseconds duration) {
    return {time_t(duration / seconds(1)), long((duration % seconds(1)).count())};
}

/** Zero disarms a timer, so a short time must not become zero. */
timespec shortenedForTimer(const timespec& time) {
    const nanoseconds duration = durationOf(time);
    if (duration == nanoseconds::zero()) return time;
    return timespecOf(std::max(shortened(duration), nanoseconds(1)));
}

/** Actions that are due later, run one after the other on a thread of their own. */
class TimerQueue {
  public:
    /** @throws std::system_error  if there can be no thread */
    void add(nanoseconds delay, std::function<void()> action) {
        const std::lock_guard lock(mMutex);
        if (!mHasThread) std::thread([this] { run(); }).detach();
        mHasThread = true;
        mActions.emplace(SteadyClock::now() + delay, std::move(action));
        mChanged.notify_one();
    }

  private:
    using SteadyClock = std::chrono::steady_clock;

    void run() {
        std::unique_lock lock(mMutex);
        while (true) {
            if (mActions.empty()) {
                mChanged.wait(lock);
            } else if (const auto due = mActions.begin()->first; due > SteadyClock::now()) {
                mChanged.wait_until(lock, due);
            } else {
                const auto next = mActions.extract(mActions.begin());
                lock.unlock();
                next.mapped()();
                lock.lock();
            }
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mHasThread = false;
    std::multimap<SteadyClock::time_point, std::function<void()>> mActions;  // by their due time
};

class RealClock : public Clock {
  public:
    int sleepFor(nanoseconds duration, timespec* remaining) override {
        const timespec request = timespecOf(shortened(duration));
        return __real_nanosleep(&request, remaining);
    }

    int waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs) override {
        const auto timeout =
                std::chrono::ceil<milliseconds>(shortened(milliseconds(timeoutMs))).count();
        return __real_epoll_wait(epoll, events, maxEvents,
                                 timeoutMs < 0 ? -1 : static_cast<int>(timeout));
    }

    int setTimer(int timer, int flags, const itimerspec* value, itimerspec* old) override {
        // An absolute time cannot be shortened.
        if (flags != 0) return __real_timerfd_settime(timer, flags, value, old);
        const itimerspec setting{shortenedForTimer(value->it_interval),
                                 shortenedForTimer(value->it_value)};
        return __real_timerfd_settime(timer, flags, &setting, old);
    }

    int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                     void* argument) override {
        return __real_pthread_create(thread, attributes, function, argument);
    }

    void after(nanoseconds delay, std::function<void()> action) override {
        mQueue.add(shortened(delay), std::move(action));
    }

  private:
    TimerQueue mQueue;
};

/** A pointer and not a weak symbol: one test may use the real clock and virtual ones in turn. */
std::atomic<Clock*> sInstalled{nullptr};

}  // namespace

Clock& currentClock() {
    static auto& real = *new RealClock;  // outlives threads still running at exit
    Clock* const installed = sInstalled;
    return installed != nullptr ? *installed : real;
}

void installClock(Clock* clock) {
    sInstalled = clock;
}

int parseSpeed(const char* text) {
    int speed = 1;
    if (text != nullptr && !android::base::ParseInt(text, &speed, 1)) {
        writeToStderr("tvset: TVSET_SPEED is a whole number from 1, not '" + std::string(text) +
                      "'; 1 is used");
        return 1;
    }
    return speed;
}

}  // namespace tvset
