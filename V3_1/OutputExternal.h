#pragma once

#include <com/zavo/dtv/hardware/audio/3.1/IOutputExternal.h>

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

/**
 * Forced encoding of the external (bitstream) audio output. The setting lives in the TV
 * configuration store; a file keeps a copy of it, which is put back into the store at every start.
 * The encoding format is always "auto", so listeners are accepted and not kept.
 */
struct OutputExternal : public V3_1::IOutputExternal {
    /** Waits for the TV middleware, 20 seconds at most, and restores the setting. */
    OutputExternal();

    Return<int32_t> setForceEncodingEnabled(bool enable) override;
    Return<bool> getForceEncodingEnabled() override;
    Return<int32_t> setEncodingFormat(const hidl_string& format) override;
    Return<void> getEncodingFormat(getEncodingFormat_cb callback) override;
    Return<void> getAvailableEncodingFormats(getAvailableEncodingFormats_cb callback) override;
    Return<int32_t> registerEncodingFormatListener(
            const sp<V2_0::IOutputEncodingStatusListener>& listener) override;
    Return<int32_t> unregisterEncodingFormatListener(
            const sp<V2_0::IOutputEncodingStatusListener>& listener) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;
};

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
