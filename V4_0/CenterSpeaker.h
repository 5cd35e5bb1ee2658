#pragma once

#include <com/zavo/dtv/hardware/audio/4.0/ICenterSpeaker.h>

namespace com::zavo::dtv::hardware::audio::V4_0::implementation {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

/**
 * Whether and how the TV can be the centre speaker of an external sound system. The answers are
 * read once, while the object is built, from the set's sound tuning and its EEPROM. Data that
 * becomes readable later takes effect at the next start.
 */
struct CenterSpeaker : public V4_0::ICenterSpeaker {
    /** Waits for the TV middleware, 20 seconds at most, unless the tuning cannot be read. */
    CenterSpeaker();

    Return<void> getCenterSpeakerAcousticsType(getCenterSpeakerAcousticsType_cb callback) override;
    Return<void> getCenterSpeakerLatency(getCenterSpeakerLatency_cb callback) override;
    Return<bool> isCenterSpeakerInputAvailable() override;
    Return<bool> isSynchronizedCenterSpeakerInputAvailable() override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;
};

}  // namespace com::zavo::dtv::hardware::audio::V4_0::implementation
