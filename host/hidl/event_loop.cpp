#define LOG_TAG "hidl"

#include "host/hidl/event_loop.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <thread>

#include <log/log.h>

namespace android::hardware {

namespace {

/** Limit of events, and of due functions, in one round, so that neither starves the other. */
constexpr int kBatch = 16;

/** Every connection takes a descriptor: raises their limit as far as the system allows. */
void raiseDescriptorLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

EventLoop& EventLoop::instance() {
    static auto* loop = new EventLoop;  // outlives generated clean-up and background threads
    return *loop;
}

EventLoop::EventLoop() : mEpoll(epoll_create1(EPOLL_CLOEXEC)) {
    raiseDescriptorLimit();
    LOG_ALWAYS_FATAL_IF(mEpoll < 0, "no event loop, errno %d", errno);
}

bool EventLoop::add(int fd, uint32_t events, std::shared_ptr<EventSource> source, Key* key) {
    epoll_event event{};
    event.events = events;
    {
        std::lock_guard<std::mutex> lock(mLock);
        event.data.u64 = *key = mNextKey++;
        mSources[*key] = std::move(source);
    }
    if (epoll_ctl(mEpoll, EPOLL_CTL_ADD, fd, &event) == 0) return true;
    const int error = errno;
    remove(*key, fd);
    errno = error;
    return false;
}

void EventLoop::modify(Key key, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = key;
    epoll_ctl(mEpoll, EPOLL_CTL_MOD, fd, &event);
}

void EventLoop::remove(Key key, int fd) {
    decltype(mSources)::node_type removed;  // ends after the lock is released
    epoll_ctl(mEpoll, EPOLL_CTL_DEL, fd, nullptr);
    std::lock_guard<std::mutex> lock(mLock);
    removed = mSources.extract(key);
}

void EventLoop::runAt(Clock::time_point when, std::function<void()> function) {
    mDue.emplace(when, std::move(function));
}

std::shared_ptr<EventSource> EventLoop::find(Key key) {
    std::lock_guard<std::mutex> lock(mLock);
    auto it = mSources.find(key);
    return it == mSources.end() ? nullptr : it->second;
}

int EventLoop::timeToNext() const {
    if (mDue.empty()) return -1;
    // Rounded up, so that nothing runs early.
    const auto wait =
            std::chrono::ceil<std::chrono::milliseconds>(mDue.begin()->first - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(wait.count(), 0, INT_MAX));
}

void EventLoop::runDue() {
    for (int i = 0; i < kBatch && !mDue.empty() && mDue.begin()->first <= Clock::now(); i++) {
        const auto next = mDue.extract(mDue.begin());
        next.mapped()();
    }
}

void EventLoop::runOnce(std::chrono::milliseconds wait) {
    epoll_event events[kBatch];
    const int due = timeToNext();
    int limit = static_cast<int>(wait.count());
    if (due >= 0 && (limit < 0 || due < limit)) limit = due;
    const int count = epoll_wait(mEpoll, events, kBatch, limit);
    for (int i = 0; i < count; i++) {
        // An event handled before may have ended this source.
        if (const auto source = find(events[i].data.u64); source != nullptr) {
            source->onEvents(events[i].events);
        }
    }
    if (!mDue.empty()) runDue();
}

void EventLoop::run() {
    if (mIsRunning.exchange(true)) {
        while (true) pause();
    }
    serve();
}

void EventLoop::runInBackground() {
    if (!mIsRunning.exchange(true)) std::thread([this] { serve(); }).detach();
}

void EventLoop::serve() {
    while (true) runOnce(std::chrono::milliseconds(-1));
}

}  // namespace android::hardware
