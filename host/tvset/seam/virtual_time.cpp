#include "host/tvset/seam/virtual_time.h"

#include <poll.h>

#include <algorithm>
#include <tuple>
#include <utility>

#include "host/tvset/seam/clock.h"

using std::chrono::nanoseconds;

namespace tvset {
namespace {

/** How often events are looked for in real time. */
constexpr std::chrono::milliseconds kStep(5);

constexpr uint64_t kLastTurn = UINT64_MAX;

thread_local uint64_t sOwnClock = 0;

/** Does not take the event: the thread that waits for it does. */
bool hasEvent(int epoll) {
    pollfd question{epoll, POLLIN, 0};
    return epoll != -1 && poll(&question, 1, 0) != 0;
}

}  // namespace

VirtualTime& virtualTime() {
    static auto& time = *new VirtualTime;
    return time;
}

void VirtualTime::begin() {
    const Lock lock(mMutex);
    mIsActive = true;
    mNow = nanoseconds::zero();
    mBusy = 1;
    sOwnClock = ++mClock;
    mMaker = std::this_thread::get_id();
}

void VirtualTime::end() {
    Lock lock(mMutex);
    mIsActive = false;
    for (Waiter* waiter : std::exchange(mWaiters, {})) cutOff(*waiter);
    mChanged.notify_all();
    mChanged.wait(lock, [&] { return mRunning == 0; });
    const auto due = std::exchange(mDue, {});
    const nanoseconds now = mNow;
    lock.unlock();
    for (const auto& [time, what] : due) {
        if (what.isOfTheSet) after(time - now, what.action);
    }
}

bool VirtualTime::isActive() {
    const Lock lock(mMutex);
    return mIsActive;
}

nanoseconds VirtualTime::now() {
    const Lock lock(mMutex);
    return mNow;
}

bool VirtualTime::schedule(nanoseconds delay, Due due) {
    const Lock lock(mMutex);
    if (!mIsActive) return false;
    mDue.emplace(mNow + delay, std::move(due));
    mChanged.notify_all();
    return true;
}

bool VirtualTime::wait(nanoseconds* left, int epoll) {
    Lock lock(mMutex);
    if (!mIsActive) return false;
    const nanoseconds end = *left == kForever ? kForever : mNow + *left;
    if (participates()) {
        const bool isMaker = std::this_thread::get_id() == mMaker;
        Waiter self{end, isMaker ? kLastTurn : ++mTurns, epoll};
        waitInTurn(lock, self);
        *left = self.left;
        return participates();
    }
    if (epoll != -1) return false;
    while (mIsActive && moveOn(lock, end, nullptr)) continue;
    mNow = std::max(mNow, end);
    return true;
}

uint64_t VirtualTime::addParticipant() {
    const Lock lock(mMutex);
    if (!mIsActive) return 0;
    ++mBusy;
    return mClock;
}

void VirtualTime::enter(uint64_t clock) {
    sOwnClock = clock;
}

void VirtualTime::leave(uint64_t clock) {
    const Lock lock(mMutex);
    if (mIsActive && clock == mClock) --mBusy;
    mChanged.notify_all();
}

bool VirtualTime::participates() const {
    return mIsActive && sOwnClock == mClock;
}

void VirtualTime::waitInTurn(Lock& lock, Waiter& self) {
    enlist(self);
    while (!self.isOver) {
        if (mBusy > 0) {
            mChanged.wait(lock);
        } else if (Waiter* ready = findReady()) {
            release(*ready);
        } else if (!moveOn(lock, kForever, &self)) {
            mChanged.wait_for(lock, kStep);
        }
    }
}

void VirtualTime::enlist(Waiter& waiter) {
    mWaiters.push_back(&waiter);
    --mBusy;
    mChanged.notify_all();
}

void VirtualTime::withdraw(Waiter& waiter) {
    mWaiters.erase(std::find(mWaiters.begin(), mWaiters.end(), &waiter));
    ++mBusy;
}

void VirtualTime::release(Waiter& waiter) {
    withdraw(waiter);
    waiter.isOver = true;
    mChanged.notify_all();
}

/** The clock has ended. */
void VirtualTime::cutOff(Waiter& waiter) {
    waiter.left = waiter.end == kForever ? kForever : std::max(waiter.end - mNow, nanoseconds(0));
    waiter.isOver = true;
}

VirtualTime::Waiter* VirtualTime::findReady() const {
    const auto found = std::find_if(mWaiters.begin(), mWaiters.end(),
                                    [](const Waiter* w) { return hasEvent(w->epoll); });
    return found == mWaiters.end() ? nullptr : *found;
}

/** @return whether anything was due up to the limit; the earliest has happened then. */
bool VirtualTime::moveOn(Lock& lock, nanoseconds limit, Waiter* self) {
    const auto first = std::min_element(
            mWaiters.begin(), mWaiters.end(), [](const Waiter* a, const Waiter* b) {
                return std::tie(a->end, a->turn) < std::tie(b->end, b->turn);
            });
    const nanoseconds end = first == mWaiters.end() ? kForever : (*first)->end;
    if (!mDue.empty() && mDue.begin()->first <= std::min(end, limit)) {
        runNext(lock, self);
        return true;
    }
    if (end == kForever || end > limit) return false;
    mNow = std::max(mNow, end);
    release(**first);
    return true;
}

/**
 * Lets go of the lock meanwhile: an action may take locks of its own, set others up, and sleep; the
 * thread's own wait must not end within such a sleep.
 */
void VirtualTime::runNext(Lock& lock, Waiter* self) {
    const auto next = mDue.extract(mDue.begin());
    mNow = std::max(mNow, next.key());
    if (self != nullptr) withdraw(*self);
    ++mRunning;
    lock.unlock();
    next.mapped().action();
    lock.lock();
    --mRunning;
    mChanged.notify_all();
    if (self == nullptr) return;
    if (participates()) {
        enlist(*self);
    } else {
        cutOff(*self);
    }
}

VirtualClock::VirtualClock() {
    virtualTime().begin();
}

VirtualClock::~VirtualClock() {
    virtualTime().end();
}

nanoseconds VirtualClock::now() const {
    return virtualTime().now();
}

void VirtualClock::at(nanoseconds delay, std::function<void()> action) {
    virtualTime().schedule(delay, {std::move(action), /* isOfTheSet */ false});
}

}  // namespace tvset
