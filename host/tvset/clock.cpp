#include "host/tvset/clock.h"

#include <android-base/parseint.h>

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>

#include "host/tvset/real.h"

using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace tvset {
namespace {

/** Apart from the object, since a thread may go to sleep just when the object ends. */
struct VirtualTime {
    std::mutex mutex;
    std::condition_variable actionEnded;
    bool active = false;
    int running = 0;
    nanoseconds now{};
    std::multimap<nanoseconds, std::function<void()>> due;

    bool sleep(nanoseconds duration) {
        std::unique_lock lock(mutex);
        if (!active) return false;
        const nanoseconds end = now + duration;
        while (active && !due.empty() && due.begin()->first <= end) runNext(lock);
        now = std::max(now, end);
        return true;
    }

  private:
    /** Lets go of the lock meanwhile: an action may take locks of its own, and set others up. */
    void runNext(std::unique_lock<std::mutex>& lock) {
        const auto next = due.extract(due.begin());
        now = std::max(now, next.key());
        ++running;
        lock.unlock();
        next.mapped()();
        lock.lock();
        --running;
        actionEnded.notify_all();
    }
};

VirtualTime& virtualTime() {
    static auto& time = *new VirtualTime;  // outlives threads that are still running at exit
    return time;
}

}  // namespace

int parseSpeed(const char* text) {
    int speed = 1;
    if (text != nullptr && !android::base::ParseInt(text, &speed, 1)) {
        fprintf(stderr, "tvset: TVSET_SPEED is a whole number from 1, not '%s'; 1 is used\n", text);
        return 1;
    }
    return speed;
}

nanoseconds shortened(nanoseconds duration) {
    static const int speed = parseSpeed(getenv("TVSET_SPEED"));
    return duration / speed;
}

int sleepFor(nanoseconds duration, timespec* remaining) {
    if (virtualTime().sleep(duration)) return 0;
    const nanoseconds real = shortened(duration);
    const timespec request{real / seconds(1), (real % seconds(1)).count()};
    return __real_nanosleep(&request, remaining);
}

VirtualClock::VirtualClock() {
    VirtualTime& time = virtualTime();
    const std::lock_guard lock(time.mutex);
    time.active = true;
    time.now = nanoseconds::zero();
}

VirtualClock::~VirtualClock() {
    VirtualTime& time = virtualTime();
    std::unique_lock lock(time.mutex);
    time.active = false;
    time.actionEnded.wait(lock, [&] { return time.running == 0; });
    time.due.clear();
}

nanoseconds VirtualClock::now() const {
    const std::lock_guard lock(virtualTime().mutex);
    return virtualTime().now;
}

void VirtualClock::at(nanoseconds delay, std::function<void()> action) {
    VirtualTime& time = virtualTime();
    const std::lock_guard lock(time.mutex);
    time.due.emplace(time.now + delay, std::move(action));
}

}  // namespace tvset
