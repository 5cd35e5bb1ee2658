#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include <android-base/unique_fd.h>

namespace android::hardware {

/** Something that waits for a descriptor. Called on the thread that runs the loop. */
class EventSource {
  public:
    virtual ~EventSource() = default;
    /** @param events as in epoll_event. */
    virtual void onEvents(uint32_t events) = 0;
};

/**
 * The process's one loop over its connections. The thread that runs it is the RPC thread: it serves
 * the process's objects and delivers notices. While nothing happens it does not wake up.
 */
class EventLoop {
  public:
    using Key = uint64_t;
    using Clock = std::chrono::steady_clock;

    static EventLoop& instance();

    /**
     * Waits for events of a descriptor, level-triggered; the loop shares in the source.
     *
     * @param key set before the first event can arrive on any thread.
     * @return false, with errno, if the system watches no more descriptors; the source is not kept.
     */
    [[nodiscard]] bool add(int fd, uint32_t events, std::shared_ptr<EventSource> source, Key* key);
    void modify(Key key, int fd, uint32_t events);
    /** To be called before the descriptor is closed. Unknown keys do no harm. */
    void remove(Key key, int fd);
    /** Calls a function at a time, on the loop's thread. To be called on that thread. */
    void runAt(Clock::time_point when, std::function<void()> function);

    /** Runs for ever. A loop that runs already is not run again: the caller then just waits. */
    [[noreturn]] void run();
    /** Runs on a thread of its own, unless it runs already. */
    void runInBackground();

    /** Waits at most `wait` for events, less than 0: without limit, and handles them. */
    void runOnce(std::chrono::milliseconds wait);

  private:
    EventLoop();
    [[noreturn]] void serve();
    int timeToNext() const;
    void runDue();
    std::shared_ptr<EventSource> find(Key key);

    const base::unique_fd mEpoll;
    std::mutex mLock;
    Key mNextKey = 1;                                                // guarded by mLock
    std::unordered_map<Key, std::shared_ptr<EventSource>> mSources;  // guarded by mLock
    std::multimap<Clock::time_point, std::function<void()>> mDue;  // used on the loop's thread only
    std::atomic<bool> mIsRunning{false};
};

}  // namespace android::hardware
