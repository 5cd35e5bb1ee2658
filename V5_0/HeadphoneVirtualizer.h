#pragma once

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;

/**
 * Switches the headphone virtualizer of the back-end controller, and uploads its parameters. On a
 * set without the controller the setters fail, the getters return false, and uploads fail at the
 * driver. All state
 * belongs to the process: the threads that transfer parameters use it, too.
 */
struct HeadphoneVirtualizer : public V5_0::IHeadphoneVirtualizer {
    /** Waits for the TV middleware, then for the controller: 20 and 15 seconds at most. */
    HeadphoneVirtualizer();

    Return<int32_t> setVirtualizerEnabled(bool enable) override;
    Return<bool> getVirtualizerEnabled() override;
    Return<int32_t> setVirtualizerType(const hidl_string& type) override;
    Return<void> getVirtualizerType(getVirtualizerType_cb callback) override;
    Return<void> getAvailableVirtualizerTypes(getAvailableVirtualizerTypes_cb callback) override;
    Return<int32_t> setUpmixEnabled(bool enable) override;
    Return<bool> getUpmixEnabled() override;
    Return<int32_t> allocateParameterBuffer(ParamType type, int32_t size) override;
    Return<int32_t> discardParameterBuffer(int32_t handle) override;
    Return<int32_t> getMaxAppendSize() override;
    Return<int32_t> append(int32_t handle, const hidl_vec<uint8_t>& data) override;
    Return<int32_t> apply(int32_t handle,
                          const sp<IHeadphoneVirtualizerCallback>& callback) override;
    Return<int32_t> cancel(int32_t handle) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;
};

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
