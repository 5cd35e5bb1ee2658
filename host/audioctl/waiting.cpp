#include "host/audioctl/waiting.h"

#include <signal.h>

#include <atomic>
#include <utility>

#include "host/audioctl/errors.h"
#include "host/audioctl/home.h"

namespace audioctl {

using android::sp;
using android::wp;

namespace {

volatile sig_atomic_t gIsStopRequested = 0;

void noteStop(int) {
    gIsStopRequested = 1;
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    // A signal that comes just before the loop begins to wait would not end that.
    home::wake();
}

struct DeathNotice : public android::hardware::hidl_death_recipient {
    void serviceDied(uint64_t, const wp<IBase>&) override { hasCome = true; }
    std::atomic<bool> hasCome{false};
};

}  // namespace

void catchStopSignals() {
    static bool areCaught = false;
    if (std::exchange(areCaught, true)) return;
    struct sigaction action {};
    action.sa_handler = noteStop;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool isStopRequested() {
    return gIsStopRequested != 0;
}

void serveUntil(IBase& service, const std::function<bool()>& isDone,
                std::chrono::milliseconds pause) {
    const sp<DeathNotice> death = new DeathNotice;
    const bool isAlive = service.linkToDeath(death, 0).withDefault(false);
    serveUntil(
            [&] {
                if (isDone()) return true;
                if (!isAlive || death->hasCome) throw ServiceError("the service has died");
                return false;
            },
            pause);
}

void serveUntil(const std::function<bool()>& isDone, std::chrono::milliseconds pause) {
    while (!isDone()) home::serve(pause);
}

}  // namespace audioctl
