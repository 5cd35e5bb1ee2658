#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace tvset {

constexpr auto kForever = std::chrono::nanoseconds::max();

/** The time that a VirtualClock rules over; all functions may be called on any thread. */
class VirtualTime {
  public:
    /** What is to happen, and whether it still does, in real time, when the clock has ended. */
    struct Due {
        std::function<void()> action;
        bool isOfTheSet;
    };

    void begin();
    void end();

    bool isActive();
    std::chrono::nanoseconds now();

    /** @return whether there is a clock that the action has been left to. */
    bool schedule(std::chrono::nanoseconds delay, Due due);

    /**
     * Waits for a time and, if an epoll instance is given, at most until that has an event. Threads
     * that do not take part in the clock are not kept for events.
     *
     * @param left  how long, or kForever; what is left of it for real time if the answer is false
     * @return whether this wait is over.
     */
    bool wait(std::chrono::nanoseconds* left, int epoll = -1);

    /** Counts in a thread that is about to start. @return the clock's number, 0 without one. */
    uint64_t addParticipant();
    /** The calling thread is the one that was counted in. */
    void enter(uint64_t clock);
    /** A thread that was counted in has ended, or could not be started. */
    void leave(uint64_t clock);

  private:
    /** A participant that waits. */
    struct Waiter {
        std::chrono::nanoseconds end;
        uint64_t turn;  // at the same time, the lowest goes first
        int epoll;
        std::chrono::nanoseconds left{};
        bool isOver = false;
    };
    using Lock = std::unique_lock<std::mutex>;

    bool participates() const;
    void waitInTurn(Lock& lock, Waiter& self);
    void enlist(Waiter& waiter);
    void withdraw(Waiter& waiter);
    void release(Waiter& waiter);
    void cutOff(Waiter& waiter);
    Waiter* findReady() const;
    bool moveOn(Lock& lock, std::chrono::nanoseconds limit, Waiter* self);
    void runNext(Lock& lock, Waiter* self);

    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsActive = false;
    uint64_t mClock = 0;  // counts the clocks, so that nobody takes one for another
    std::thread::id mMaker;
    std::chrono::nanoseconds mNow{};
    std::multimap<std::chrono::nanoseconds, Due> mDue;
    std::vector<Waiter*> mWaiters;
    uint64_t mTurns = 0;
    int mBusy = 0;     // participants that do not wait
    int mRunning = 0;  // actions
};

/** Outlives threads that are still running at exit. */
VirtualTime& virtualTime();

}  // namespace tvset
