#include "host/tvset/virtual_clock/virtual_clock.h"

#include <fcntl.h>
#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include <android-base/unique_fd.h>

#include "host/tvset/seam/log_sink.h"
#include "host/tvset/seam/real.h"

using android::base::unique_fd;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace tvset {
namespace {

constexpr nanoseconds kForever = nanoseconds::max();

struct Start {
    VirtualClock* clock;
    void* (*function)(void*);
    void* argument;
};

[[noreturn]] void abortBecause(const std::string& reason) {
    writeToStderr("tvset: virtual clock: " + reason);
    abort();
}

/** Leaves the event to the thread that waits for it. */
bool hasEvent(int epoll) {
    pollfd question{epoll, POLLIN, 0};
    return epoll != -1 && poll(&question, 1, 0) != 0;
}

/** Returns once the timer has fired, which the kernel does not promise to do at once. */
void fire(int timer) {
    const itimerspec atOnce{{}, {0, 1}};
    __real_timerfd_settime(timer, 0, &atOnce, nullptr);
    pollfd fired{timer, POLLIN, 0};
    poll(&fired, 1, -1);
}

}  // namespace

VirtualClock::VirtualClock() {
    installClock(this);
}

VirtualClock::~VirtualClock() {
    Lock lock(mMutex);
    --mRunning;
    while (mRunning > 0 || !mWaiters.empty()) advance(lock);
    installClock(nullptr);
}

nanoseconds VirtualClock::now() const {
    const Lock lock(mMutex);
    return mNow;
}

int VirtualClock::sleepFor(nanoseconds duration, timespec*) {
    wait(duration, /* epoll */ -1);
    return 0;
}

int VirtualClock::waitForEvents(int epoll, epoll_event* events, int maxEvents, int timeoutMs) {
    wait(timeoutMs < 0 ? kForever : milliseconds(timeoutMs), epoll);
    return __real_epoll_wait(epoll, events, maxEvents, 0);
}

int VirtualClock::setTimer(int timer, int flags, const itimerspec* value, itimerspec* old) {
    constexpr itimerspec kFarOff{{}, {1'000'000'000, 0}};  // shows that the timer is set
    const nanoseconds delay = durationOf(value->it_value);
    itimerspec before{};
    if (__real_timerfd_settime(timer, 0, &kFarOff, &before) != 0) return -1;
    if (flags != 0 || old != nullptr || delay == nanoseconds::zero() ||
        durationOf(value->it_interval) != nanoseconds::zero() ||
        durationOf(before.it_value) != nanoseconds::zero()) {
        abortBecause("a timer that is not set once, to fire once after a delay");
    }
    // A descriptor of its own: by then the caller's may be closed, and its number used again.
    auto own = std::make_shared<unique_fd>(fcntl(timer, F_DUPFD_CLOEXEC, 0));
    if (*own == -1) return -1;
    after(delay, [own] { fire(*own); });
    return 0;
}

int VirtualClock::createThread(pthread_t* thread, const pthread_attr_t* attributes,
                               void* (*function)(void*), void* argument) {
    auto start = std::make_unique<Start>(Start{this, function, argument});
    {
        const Lock lock(mMutex);
        ++mRunning;  // before it runs, so that time does not pass until then
    }
    const int error = __real_pthread_create(thread, attributes, runThread, start.get());
    if (error == 0) {
        static_cast<void>(start.release());
    } else {
        removeThread();
    }
    return error;
}

void VirtualClock::after(nanoseconds delay, std::function<void()> action) {
    const Lock lock(mMutex);
    mActions.emplace(mNow + delay, std::move(action));
}

/** @param epoll  an event of this instance ends the wait, too; -1: none does */
void VirtualClock::wait(nanoseconds duration, int epoll) {
    Lock lock(mMutex);
    const bool isOwner = std::this_thread::get_id() == mOwner;
    const nanoseconds end = duration == kForever ? kForever : mNow + duration;
    Waiter self{epoll};
    mWaiters.emplace(WaiterKey(end, isOwner ? UINT64_MAX : ++mLastNumber), &self);
    --mRunning;
    while (!self.isOver) advance(lock);
}

/** Called by threads that wait: one of them has the next thing happen once none runs. */
void VirtualClock::advance(Lock& lock) {
    if (mRunning > 0) return mChanged.wait(lock);
    const auto ready = std::find_if(mWaiters.begin(), mWaiters.end(),
                                    [](const auto& each) { return hasEvent(each.second->epoll); });
    if (ready != mWaiters.end()) return resume(ready);
    const auto first = mWaiters.begin();
    const nanoseconds end = first == mWaiters.end() ? kForever : first->first.first;
    if (!mActions.empty() && mActions.begin()->first <= end) return runNextAction(lock);
    if (end == kForever) abortBecause("all threads wait for events, and nothing is due");
    mNow = end;
    resume(first);
}

/** Without the lock: the action may take others, which are held while actions are added. */
void VirtualClock::runNextAction(Lock& lock) {
    const auto next = mActions.extract(mActions.begin());
    mNow = next.key();
    ++mRunning;  // on behalf of the action
    lock.unlock();
    next.mapped()();
    lock.lock();
    --mRunning;
}

void VirtualClock::resume(Waiters::iterator waiter) {
    waiter->second->isOver = true;
    mWaiters.erase(waiter);
    ++mRunning;
    mChanged.notify_all();
}

void VirtualClock::removeThread() {
    const Lock lock(mMutex);
    --mRunning;
    mChanged.notify_all();
}

void* VirtualClock::runThread(void* argument) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(argument));
    void* const result = start.function(start.argument);
    start.clock->removeThread();
    return result;
}

}  // namespace tvset
