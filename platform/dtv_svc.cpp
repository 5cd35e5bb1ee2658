#include "platform/dtv_svc.h"

#include <time.h>
#include <unistd.h>

#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::platform {

namespace {

constexpr char kReadyMarker[] = "/data/vendor/tmp/dtv_svc_is_ready";

}  // namespace

bool isDtvSvcReady() {
    return access(kReadyMarker, F_OK) == 0;
}

void sleepMs(int64_t milliseconds) {
    timespec interval{};
    interval.tv_nsec = static_cast<long>(milliseconds * 1'000'000);
    nanosleep(&interval, nullptr);
}

bool waitDtvSvcBoot(const DtvSvcWait& wait) {
    for (int count = 0; count < wait.limit; count++) {
        if (isDtvSvcReady()) {
            if (wait.logsReady) {
                ALOG(LOG_INFO, wait.tag, "<<<<<%s dtv_svc is ready !>>>>> count:%d", wait.waiter,
                     count);
            }
            return true;
        }
        ALOG(LOG_DEBUG, wait.tag, "<<<<<%s waiting dtv_svc>>>>> count:%d", wait.waiter, count);
        sleepMs(wait.sleepMs);
    }
    __android_log_print(wait.timeoutPriority, wait.tag, "%s", wait.timeoutLine);
    return false;
}

int32_t connectToDtvSvc(const char* tag, const char* service) {
    IMtkPb_Ctrl_Init();
    const int32_t result = MTAL_InitExCb(0);
    if (result != 0) {
        ALOG(LOG_ERROR, tag, "ERROR: %s MTAL_Init.... , r = %d \n", service, result);
    } else {
        ALOG(LOG_DEBUG, tag, "%s mtal open success", service);
    }
    return result;
}

void describeDtvSvc(DebugText* text) {
    text->add("middleware", "%s", isDtvSvcReady() ? "ready" : "not ready");
}

void describeDtvSvc(const DtvSvcStart& start, DebugText* text) {
    describeDtvSvc(text);
    text->add("middleware at start", "%s, connection status %d",
              start.isReady ? "ready" : "not ready", start.connectStatus);
}

}  // namespace com::zavo::dtv::hardware::audio::platform
