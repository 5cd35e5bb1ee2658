#pragma once

#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using V2_0::SurroundType;

/**
 * The TV's own speakers: their surround type, and whether the TV stands or hangs. The position
 * lives in the TV configuration store; the primary audio HAL is told at every start and change.
 */
struct OutputSpeaker : public V3_1::IOutputSpeaker {
    /**
     * Waits for the TV middleware, 20 seconds at most, opens the primary audio device and passes
     * the position to it.
     */
    OutputSpeaker();

    Return<SurroundType> getSurroundType() override;
    Return<TvPositionType> getTvPosition() override;
    Return<int32_t> setTvPosition(int32_t type) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;
};

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
