#pragma once

#include <com/zavo/dtv/hardware/audio/1.1/IHdmiAudio.h>

namespace audioctl {

/**
 * Prints each change of the HDMI capabilities on standard output, the names on one line, until
 * SIGINT or SIGTERM. Should the service die, it is waited for.
 */
void watch(android::sp<com::zavo::dtv::hardware::audio::V1_1::IHdmiAudio> service);

}  // namespace audioctl
