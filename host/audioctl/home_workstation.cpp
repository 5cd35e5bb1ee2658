/* On a workstation the main thread serves callbacks: each is answered before audioctl ends. */

#include <errno.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cstdio>
#include <memory>

#include <android/log.h>
#include <hidl/HidlTransportSupport.h>
#include <log/log.h>

#include "host/audioctl/home.h"
#include "host/hidl/event_loop.h"
#include "host/tvset/set.h"

namespace audioctl::home {

using android::hardware::EventLoop;

namespace {

struct WakeUp : public android::hardware::EventSource {
    void onEvents(uint32_t) override {}
    const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    EventLoop::Key key = 0;
};

std::shared_ptr<WakeUp> gWakeUp;

}  // namespace

void prepare() {
    tvset::fillStandardDescriptors("audioctl");
    __android_log_set_logger([](const __android_logger_data*, const char* text) {
        fprintf(stderr, "audioctl: %s\n", text);
    });
    gWakeUp = std::make_shared<WakeUp>();
    const bool isWatched =
            EventLoop::instance().add(gWakeUp->fd, EPOLLIN | EPOLLET, gWakeUp, &gWakeUp->key);
    LOG_ALWAYS_FATAL_IF(!isWatched, "no events for callbacks, errno %d", errno);
}

void requireTvSet() {
    tvset::requireSet("audioctl");
}

void configureCallbacks() {
    android::hardware::configureRpcThreadpool(1, /* callerWillJoin */ true);
}

void serve(std::chrono::milliseconds wait) {
    EventLoop::instance().runOnce(wait);
}

void wake() {
    eventfd_write(gWakeUp->fd, 1);
}

}  // namespace audioctl::home
