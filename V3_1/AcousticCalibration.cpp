#define LOG_TAG "AudioAC"

#include "V3_1/AcousticCalibration.h"

#include <string>

#include <log/log.h>

#include "V3_1/calibration_output.h"
#include "V3_1/calibration_parameters.h"
#include "V3_1/calibration_store.h"
#include "platform/PrimaryHalAccessor.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::AutoMutex;
using ::android::sp;
using ::android::hardware::Void;
using platform::IPrimaryDevice;
using platform::PrimaryHalAccessor;

namespace {

/** What the audio driver's way adds to the published offset, in dB. */
constexpr float kDriverHeadroom = 12.0f;

/** Empty if the device could not be opened when the service was built. */
sp<IPrimaryDevice> sPrimaryDevice;

void publishOffset(const char* caller, float offset) {
    if (u4BE_model == 0) offset += kDriverHeadroom;
    ALOGD("[%s] auto_calib_offset=%4.1fdB", caller, offset);
    platform::setHalParameter(sPrimaryDevice, "ac_offset", std::to_string(offset));
}

}  // namespace

AcousticCalibration::AcousticCalibration() {
    ALOGD("[%s] start", __func__);
    if (checkDtvSvcBoot() == 0) u4BE_model = isBeModel() ? 1 : 0;
    if (u4BE_model == 1) checkBeCtrlBoot();

    sPrimaryDevice = PrimaryHalAccessor().getHalPrimaryDevice();
    if (sPrimaryDevice == nullptr) {
        ALOGE("load audio interface failed");
        return;
    }
    float offset = 0.0f;
    std::vector<aud_ac_data_Table> table;
    if (getEnabledOnBoot() == 1 && readCalibratedData(table) == 0) {
        exeEnableCalibrate[u4BE_model](table);
        offset = getAutoCalibOffset(table);
    } else {
        exeDisableCalibrate[u4BE_model]();
    }
    publishOffset(__func__, offset);
    ALOGD("[%s] end", __func__);
}

Return<int32_t> AcousticCalibration::setEnabled(bool enable) {
    ALOGD("[%s] start enable:%d", __func__, enable);
    int32_t result = -1;
    float offset = 0.0f;
    std::vector<aud_ac_data_Table> table;
    if (!enable) {
        result = exeDisableCalibrate[u4BE_model]();
    } else if (readCalibratedData(table) == 0) {
        result = exeEnableCalibrate[u4BE_model](table);
        offset = getAutoCalibOffset(table);
    } else {
        ALOGE("[%s] end readCalibratedData failed", __func__);
    }
    // The next start restores what is kept: only what the set has taken whole.
    if (result == 0) {
        result = setEnabledData(enable);
    } else {
        ALOGE("[%s] Skip to write enabled data, because calibration was fail.", __func__);
    }
    publishOffset(__func__, offset);
    ALOGD("[%s] end Return: %d", __func__, result);
    return result;
}

Return<bool> AcousticCalibration::getEnabled() {
    const AutoMutex lock(mEnabledLock);
    return store::getEnabled();
}

Return<int32_t> AcousticCalibration::setCalibratedData(const hidl_vec<calibratedData>& data) {
    ALOGD("[%s] start", __func__);
    if (const int32_t result = checkCalibratedData(data); result != 0) return result;
    const AutoMutex lock(mDataLock);
    const int32_t result = store::setCalibratedData(data);
    ALOGD("[%s] end", __func__);
    return result;
}

Return<void> AcousticCalibration::getCalibratedData(getCalibratedData_cb callback) {
    ALOGD("[%s] start", __func__);
    std::vector<aud_ac_data_Table> table;
    if (readCalibratedData(table) != 0) {
        ALOGE("[%s] end readCalibratedData failed", __func__);
        callback({});
        return Void();
    }
    callback(toCalibratedData(table));
    ALOGD("[%s] end", __func__);
    return Void();
}

Return<void> AcousticCalibration::getCalibrationParameters(getCalibrationParameters_cb callback) {
    ALOGD("[%s] start", __func__);
    calibrationParameters params{};
    const bool areRead = readCalibrationParameters(&params);
    callback(params);
    if (areRead) ALOGD("[%s] end", __func__);
    return Void();
}

int32_t AcousticCalibration::readCalibratedData(std::vector<aud_ac_data_Table>& table) {
    const AutoMutex lock(mDataLock);
    return store::readCalibratedData(table);
}

int32_t AcousticCalibration::getEnabledOnBoot() {
    const AutoMutex lock(mEnabledLock);
    return store::getEnabledOnBoot();
}

int32_t AcousticCalibration::setEnabledData(bool enabled) {
    const AutoMutex lock(mEnabledLock);
    return store::setEnabledData(enabled);
}

float AcousticCalibration::getAutoCalibOffset(const std::vector<aud_ac_data_Table>& table) {
    const aud_ac_data_Table* left = findRecord(table, "FL");
    const float offset = left == nullptr ? 0.0f : left->volume;
    ALOGD("[%s] offsetLevel:%4.1fdB", __func__, offset);
    return offset;
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
