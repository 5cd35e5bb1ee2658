/*
 * The sound processing of the set: the main decoder accepts everything; the post-processor becomes
 * ready as `audio/cpupost_ready_after` says.
 */

#include <string>

#include <android-base/stringprintf.h>

#include "host/tvset/devices/operation.h"
#include "host/tvset/devices/readiness.h"
#include "platform/middleware.h"

using android::base::StringPrintf;
using tvset::perform;

namespace {

constexpr int kEqualizerBands = 32;

std::string text(const float* gains) {
    std::string shown = "[";
    for (int i = 0; i < kEqualizerBands; ++i) {
        shown += StringPrintf(i == 0 ? "%g" : ", %g", gains[i]);
    }
    return shown + ']';
}

}  // namespace

int32_t MTAUDDEC_Set32EqualizerBandConfig(const float* gains) {
    return perform("MTAUDDEC_Set32EqualizerBandConfig", text(gains), [] { return 0; });
}

int32_t MTAUDDEC_SetAcVolumeOffset(int32_t offset) {
    return perform("MTAUDDEC_SetAcVolumeOffset", std::to_string(offset), [] { return 0; });
}

int32_t MTAUDPOST_GetParameters(MTAUDPOST_Query query) {
    return perform(
            "MTAUDPOST_GetParameters", StringPrintf("%u, %u", query.parameter, query.count),
            [&] {
                *query.answer = tvset::isReady("audio/cpupost_ready_after") ? 1 : 0;
                return 0;
            },
            [&] { return ", " + std::to_string(*query.answer); });
}
