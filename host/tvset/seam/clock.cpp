#include "host/tvset/seam/clock.h"

#include <android-base/parseint.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "host/tvset/seam/log_sink.h"
#include "host/tvset/seam/real.h"
#include "host/tvset/seam/virtual_time.h"

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace tvset {
namespace {

nanoseconds durationOf(const timespec& time) {
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec timespecOf(nanoseconds duration) {
    return {time_t(duration / seconds(1)), long((duration % seconds(1)).count())};
}

int sleepForReal(nanoseconds duration, timespec* remaining) {
    const timespec request = timespecOf(shortened(duration));
    return __real_nanosleep(&request, remaining);
}

/** Zero disarms a timer, so a short time must not become zero. */
timespec shortenedForTimer(const timespec& time) {
    const nanoseconds duration = durationOf(time);
    if (duration == nanoseconds::zero()) return time;
    return timespecOf(std::max(shortened(duration), nanoseconds(1)));
}

/** Has a timer fire, and waits until it has, which the kernel does not promise to do at once. */
void fire(int timer) {
    constexpr int kLimitMs = 1000;  // someone may set or read it just now
    const itimerspec atOnce{{}, {0, 1}};
    __real_timerfd_settime(timer, 0, &atOnce, nullptr);
    pollfd fired{timer, POLLIN, 0};
    poll(&fired, 1, kLimitMs);
}

/**
 * The timer itself is set far off, with its interval as a mark: by it the action knows whether the
 * timer has been set anew meanwhile. It has a descriptor of its own, since the caller's may be
 * closed by then and stand for something else.
 */
int setVirtualTimer(int timer, nanoseconds delay, itimerspec* old) {
    constexpr time_t kFarOff = 1'000'000'000;
    static std::atomic<uint32_t> sMarks{0};
    const timespec mark{0, 1 + long(++sMarks % 999'999'999)};
    const itimerspec farOff{mark, {kFarOff, 0}};
    if (__real_timerfd_settime(timer, 0, &farOff, old) != 0) return -1;
    after(delay, [=, own = std::make_shared<unique_fd>(fcntl(timer, F_DUPFD_CLOEXEC, 0))] {
        itimerspec current{};
        timerfd_gettime(*own, &current);
        if (current.it_interval.tv_nsec == mark.tv_nsec) fire(*own);
    });
    return 0;
}

/** What is to happen in real time, one after the other, on a thread of its own. */
class TimerQueue {
  public:
    void add(nanoseconds delay, std::function<void()> action) {
        const std::lock_guard lock(mMutex);
        if (!mIsServed) std::thread([this] { serve(); }).detach();
        mIsServed = true;
        mDue.emplace(Clock::now() + shortened(delay), std::move(action));
        mChanged.notify_one();
    }

  private:
    using Clock = std::chrono::steady_clock;

    void serve() {
        std::unique_lock lock(mMutex);
        while (true) {
            if (mDue.empty()) {
                mChanged.wait(lock);
            } else if (const auto first = mDue.begin()->first; first > Clock::now()) {
                mChanged.wait_until(lock, first);
            } else {
                const auto next = mDue.extract(mDue.begin());
                lock.unlock();
                next.mapped()();
                lock.lock();
            }
        }
    }

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsServed = false;
    std::multimap<Clock::time_point, std::function<void()>> mDue;
};

/** A thread of a virtual clock, before it starts. */
struct Start {
    void* (*function)(void*);
    void* argument;
    uint64_t clock;
};

struct ClockScope {
    explicit ClockScope(uint64_t number) : clock(number) { virtualTime().enter(clock); }
    ~ClockScope() { virtualTime().leave(clock); }
    const uint64_t clock;
};

void* runParticipant(void* argument) {
    const std::unique_ptr<Start> start(static_cast<Start*>(argument));
    const ClockScope scope(start->clock);
    return start->function(start->argument);
}

}  // namespace

int parseSpeed(const char* text) {
    int speed = 1;
    if (text != nullptr && !android::base::ParseInt(text, &speed, 1)) {
        writeToStderr("tvset: TVSET_SPEED is a whole number from 1, not '" + std::string(text) +
                      "'; 1 is used");
        return 1;
    }
    return speed;
}

nanoseconds shortened(nanoseconds duration) {
    static const int speed = parseSpeed(getenv("TVSET_SPEED"));
    return duration / speed;
}

int sleepFor(nanoseconds duration, timespec* remaining) {
    return virtualTime().wait(&duration) ? 0 : sleepForReal(duration, remaining);
}

void after(nanoseconds delay, std::function<void()> action) {
    static auto& queue = *new TimerQueue;  // outlives everything
    if (virtualTime().schedule(delay, {action, /* isOfTheSet */ true})) return;
    queue.add(delay, std::move(action));
}

int waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs) {
    nanoseconds left = timeoutMs < 0 ? kForever : milliseconds(timeoutMs);
    if (virtualTime().wait(&left, epoll)) return __real_epoll_wait(epoll, events, maxEvents, 0);
    const auto timeout = std::chrono::ceil<milliseconds>(shortened(left)).count();
    return __real_epoll_wait(epoll, events, maxEvents,
                             left == kForever ? -1 : static_cast<int>(timeout));
}

int setTimer(int timer, int flags, const itimerspec* value, itimerspec* old) {
    const nanoseconds delay = durationOf(value->it_value);
    const bool isOnce = durationOf(value->it_interval) == nanoseconds::zero();
    if (flags != 0) return __real_timerfd_settime(timer, flags, value, old);
    if (isOnce && delay > nanoseconds::zero() && virtualTime().isActive()) {
        return setVirtualTimer(timer, delay, old);
    }
    const itimerspec real{shortenedForTimer(value->it_interval),
                          shortenedForTimer(value->it_value)};
    return __real_timerfd_settime(timer, flags, &real, old);
}

int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*function)(void*),
                 void* argument) {
    const uint64_t clock = virtualTime().addParticipant();
    if (clock == 0) return __real_pthread_create(thread, attributes, function, argument);
    auto start = std::make_unique<Start>(Start{function, argument, clock});
    const int error = __real_pthread_create(thread, attributes, runParticipant, start.get());
    if (error == 0) {
        start.release();
    } else {
        virtualTime().leave(clock);
    }
    return error;
}

}  // namespace tvset
