/* What a completion file may hold, before a transfer and while it waits for its outcome. */

#include <android/log.h>

#include "V5_0/HeadphoneVirtualizer.h"
#include "host/tvset/virtual_clock/virtual_clock.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio::V5_0;
using namespace std::chrono_literals;
using android::sp;
using implementation::HeadphoneVirtualizer;

namespace {

struct Callback : IHeadphoneVirtualizerCallback {
    android::hardware::Return<void> onTransferResult(int32_t) override {
        outcomes++;
        return android::hardware::Void();
    }
    int outcomes = 0;
};

void logNothing(const __android_logger_data*, const char*) {}

/** In place, which wakes the transfer up. */
void put(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

/** The first byte is the size of each content; they follow each other in time. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    __android_log_set_logger(logNothing);
    static const TempSet set({.hasBackEnd = true});
    set.write("bectrl/reaction", "");
    const std::string path = set.path("fs/proc/driver/zavo_bectrl/audio/hrtf_parameter_complete");
    tvset::VirtualClock clock;
    const sp<HeadphoneVirtualizer> service = new HeadphoneVirtualizer;
    const sp<Callback> callback = new Callback;

    const size_t each = 1 + data[0] % 4;
    const std::string bytes(data + 1, data + size);
    put(path, bytes.substr(0, each));
    const int32_t handle = service->allocateParameterBuffer(ParamType::HRTF_PARAMETER, 0);
    const bool isStarted = service->apply(handle, callback) == 0;
    for (size_t at = each; at < bytes.size(); at += each) {
        clock.sleepFor(1ms);
        put(path, bytes.substr(at, each));
    }
    clock.sleepFor(21s);
    if (callback->outcomes != (isStarted ? 1 : 0)) abort();
    return 0;
}
