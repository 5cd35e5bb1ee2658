#pragma once

#include <vector>

#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>
#include <utils/Mutex.h>

#include "V3_1/calibration_data.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;

/**
 * The room calibration. The table of channels, and whether it is on, are kept in files alone. What
 * is in use is sent to the sound processing of the set, at each change and at every start, and its
 * volume offset to the primary audio HAL.
 */
class AcousticCalibration : public V3_1::IAcousticCalibration {
  public:
    /**
     * Waits for the TV middleware, 20 seconds at most, and for the back-end controller of a set
     * that has one, 15 seconds at most; then sends what is kept. Without a primary audio HAL
     * nothing is sent.
     */
    AcousticCalibration();

    Return<int32_t> setEnabled(bool enable) override;
    Return<bool> getEnabled() override;
    Return<int32_t> setCalibratedData(const hidl_vec<calibratedData>& data) override;
    Return<void> getCalibratedData(getCalibratedData_cb callback) override;
    Return<void> getCalibrationParameters(getCalibrationParameters_cb callback) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;

  private:
    int32_t readCalibratedData(std::vector<aud_ac_data_Table>& table);
    int32_t getEnabledOnBoot();
    int32_t setEnabledData(bool enabled);

    float getAutoCalibOffset(const std::vector<aud_ac_data_Table>& table);

    ::android::Mutex mDataLock;     // guards the table file
    ::android::Mutex mEnabledLock;  // guards the flag file
};

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
