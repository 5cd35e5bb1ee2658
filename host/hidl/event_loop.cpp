#define LOG_TAG "hidl"

#include "host/hidl/event_loop.h"

#include <errno.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <thread>
#include <vector>

#include <log/log.h>

#include "host/hidl/rpc.h"

namespace android::hardware {

namespace {

constexpr EventLoop::Key kWakeUpKey = 0;

/** Every connection is a descriptor: be content with no fewer than the system allows. */
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

EventLoop::EventLoop()
    : mEpoll(epoll_create1(EPOLL_CLOEXEC)), mWakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    raiseDescriptorLimit();
    LOG_ALWAYS_FATAL_IF(mEpoll < 0 || mWakeUp < 0, "no event loop, errno %d", errno);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = kWakeUpKey;
    epoll_ctl(mEpoll, EPOLL_CTL_ADD, mWakeUp, &event);
}

void EventLoop::add(int fd, uint32_t events, std::shared_ptr<EventSource> source, Key* key) {
    epoll_event event{};
    event.events = events;
    {
        std::lock_guard<std::mutex> lock(mLock);
        event.data.u64 = *key = mNextKey++;
        mSources[*key] = std::move(source);
    }
    epoll_ctl(mEpoll, EPOLL_CTL_ADD, fd, &event);
}

void EventLoop::modify(Key key, int fd, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.u64 = key;
    epoll_ctl(mEpoll, EPOLL_CTL_MOD, fd, &event);
}

void EventLoop::remove(Key key, int fd) {
    std::shared_ptr<EventSource> removed;  // ends after the lock is released
    epoll_ctl(mEpoll, EPOLL_CTL_DEL, fd, nullptr);
    std::lock_guard<std::mutex> lock(mLock);
    mTimeouts.erase(key);
    auto it = mSources.find(key);
    if (it == mSources.end()) return;
    removed = std::move(it->second);
    mSources.erase(it);
}

void EventLoop::setTimeout(Key key, Clock::time_point when) {
    {
        std::lock_guard<std::mutex> lock(mLock);
        if (when == Clock::time_point::max()) {
            mTimeouts.erase(key);
            return;
        }
        mTimeouts[key] = when;
        mHasTimeouts = true;
    }
    uint64_t one = 1;
    TEMP_FAILURE_RETRY(write(mWakeUp, &one, sizeof(one)));
}

std::shared_ptr<EventSource> EventLoop::find(Key key) {
    std::lock_guard<std::mutex> lock(mLock);
    auto it = mSources.find(key);
    return it == mSources.end() ? nullptr : it->second;
}

int EventLoop::timeToNext() {
    if (!mHasTimeouts) return -1;
    std::lock_guard<std::mutex> lock(mLock);
    if (mTimeouts.empty()) return -1;
    auto next = std::min_element(mTimeouts.begin(), mTimeouts.end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; });
    auto left = std::chrono::ceil<std::chrono::milliseconds>(next->second - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}

void EventLoop::fireTimeouts() {
    if (!mHasTimeouts) return;
    std::vector<std::shared_ptr<EventSource>> due;
    {
        std::lock_guard<std::mutex> lock(mLock);
        for (auto it = mTimeouts.begin(); it != mTimeouts.end();) {
            if (it->second > Clock::now()) {
                ++it;
                continue;
            }
            due.push_back(mSources[it->first]);
            it = mTimeouts.erase(it);
        }
        mHasTimeouts = !mTimeouts.empty();
    }
    for (const auto& source : due) source->onTimeout();
}

void EventLoop::runOnce(std::chrono::milliseconds wait) {
    epoll_event events[16];
    int count = epoll_wait(mEpoll, events, static_cast<int>(std::size(events)),
                           static_cast<int>(wait.count()));
    for (int i = 0; i < count; i++) {
        if (events[i].data.u64 == kWakeUpKey) {
            uint64_t ignored;
            TEMP_FAILURE_RETRY(read(mWakeUp, &ignored, sizeof(ignored)));
            continue;
        }
        // An event handled before may have ended this source.
        std::shared_ptr<EventSource> source = find(events[i].data.u64);
        if (source == nullptr) continue;
        Turn turn;
        source->onEvents(events[i].events);
    }
    fireTimeouts();
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
    while (true) runOnce(std::chrono::milliseconds(timeToNext()));
}

}  // namespace android::hardware
