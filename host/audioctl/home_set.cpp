/* On a set the runtime's own thread serves callbacks; the main thread looks what has come. */

#include <poll.h>
#include <sys/eventfd.h>

#include <hidl/HidlTransportSupport.h>

#include "host/audioctl/home.h"

namespace audioctl::home {

namespace {

/** Callbacks end no wait: the longest time until what they brought is seen. */
constexpr std::chrono::milliseconds kLookInterval(50);

int gWakeUp = -1;

}  // namespace

void prepare() {
    gWakeUp = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

void requireTvSet() {}

void configureCallbacks() {
    android::hardware::configureRpcThreadpool(1, /* callerWillJoin */ false);
}

void serve(std::chrono::milliseconds wait) {
    if (wait.count() < 0 || wait > kLookInterval) wait = kLookInterval;
    pollfd woken{gWakeUp, POLLIN, 0};
    eventfd_t ignored;
    if (poll(&woken, 1, static_cast<int>(wait.count())) == 1) eventfd_read(gWakeUp, &ignored);
}

void wake() {
    eventfd_write(gWakeUp, 1);
}

}  // namespace audioctl::home
