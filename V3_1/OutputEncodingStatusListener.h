#pragma once

#include <com/zavo/dtv/hardware/audio/3.1/IOutputEncodingStatusListener.h>

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

/** A listener that clients can look up. It only logs: nothing in the system notifies it. */
struct OutputEncodingStatusListener : public V3_1::IOutputEncodingStatusListener {
    Return<void> onForceEncodingChanged(bool enabled) override;
    Return<void> onEncodingFormatChanged(const hidl_string& format) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;
};

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
