#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include <android-base/unique_fd.h>

namespace android::hardware {

/** Something that waits for a descriptor. Called on the thread that runs the loop. */
class EventSource {
  public:
    virtual ~EventSource() = default;
    /** @param events as epoll tells them. */
    virtual void onEvents(uint32_t events) = 0;
    /** The time set with EventLoop::setTimeout() has passed. */
    virtual void onTimeout() {}
};

/**
 * The process's one loop over its connections. Whoever runs it serves the process's objects and
 * delivers death notices. While nothing happens on a connection it does not wake up.
 */
class EventLoop {
  public:
    using Key = uint64_t;
    using Clock = std::chrono::steady_clock;

    static EventLoop& instance();

    /**
     * Waits for events of a descriptor, level-triggered; the loop shares in the source.
     *
     * @param key set before the first event can arrive, on whatever thread.
     */
    void add(int fd, uint32_t events, std::shared_ptr<EventSource> source, Key* key);
    void modify(Key key, int fd, uint32_t events);
    /** To be called before the descriptor is closed. Unknown keys do no harm. */
    void remove(Key key, int fd);
    /** Calls onTimeout() once at a time; a later call replaces the time, max() removes it. */
    void setTimeout(Key key, Clock::time_point when);

    /** Runs for ever. A loop that runs already is not run again: the caller then just waits. */
    [[noreturn]] void run();
    /** Runs on a thread of its own, unless it runs already. */
    void runInBackground();

    /** Waits at most `wait` for events and handles them. For run() and for tests. */
    void runOnce(std::chrono::milliseconds wait);

  private:
    EventLoop();
    [[noreturn]] void serve();
    int timeToNext();
    void fireTimeouts();
    std::shared_ptr<EventSource> find(Key key);

    const base::unique_fd mEpoll;
    const base::unique_fd mWakeUp;  // for a timeout that another thread sets
    std::mutex mLock;
    Key mNextKey = 1;                                      // guarded by mLock
    std::map<Key, std::shared_ptr<EventSource>> mSources;  // guarded by mLock
    std::map<Key, Clock::time_point> mTimeouts;            // guarded by mLock
    std::atomic<bool> mHasTimeouts{false};  // hint: nothing needs to be locked in the usual case
    std::atomic<bool> mIsRunning{false};
};

}  // namespace android::hardware
