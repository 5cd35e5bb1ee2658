#include "host/audioctl/waiting.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <memory>

#include "host/audioctl/errors.h"
#include "host/hidl/event_loop.h"

namespace audioctl {

using android::sp;
using android::wp;
using android::hardware::EventLoop;

namespace {

volatile sig_atomic_t gIsStopRequested = 0;
int gWakeUp = -1;

void noteStop(int) {
    gIsStopRequested = 1;
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    // A signal that comes just before the loop begins to wait would not interrupt it.
    eventfd_write(gWakeUp, 1);
}

struct WakeUp : public android::hardware::EventSource {
    void onEvents(uint32_t) override {}
    EventLoop::Key key = 0;
};

struct DeathNotice : public android::hardware::hidl_death_recipient {
    void serviceDied(uint64_t, const wp<IBase>&) override { hasCome = true; }
    bool hasCome = false;
};

}  // namespace

void catchStopSignals() {
    if (gWakeUp >= 0) return;
    gWakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const auto source = std::make_shared<WakeUp>();
    EventLoop::instance().add(gWakeUp, EPOLLIN | EPOLLET, source, &source->key);
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
    while (!isDone()) EventLoop::instance().runOnce(pause);
}

}  // namespace audioctl
