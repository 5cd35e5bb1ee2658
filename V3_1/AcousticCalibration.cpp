#define LOG_TAG "AudioAC"

#include "V3_1/AcousticCalibration.h"

#include <string.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include <log/log.h>

#include "V3_1/calibration_output.h"
#include "V3_1/calibration_parameters.h"
#include "V3_1/calibration_store.h"
#include "platform/PrimaryHalAccessor.h"
#include "platform/back_end.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::AutoMutex;
using ::android::sp;
using ::android::hardware::Void;
using platform::IPrimaryDevice;
using platform::PrimaryHalAccessor;

namespace {

/** Added to the published offset on sets without a back-end controller, in dB. */
constexpr float kDriverHeadroom = 12.0f;

/** Empty if the device could not be opened when the service was built. */
sp<IPrimaryDevice> sPrimaryDevice;

/** For debug() only. */
struct {
    platform::BackEndStart start;
    std::optional<int32_t> sendStatus;  // of the last calibration that was sent; empty: none was
} sNotes;

float addHeadroom(float offset) {
    return u4BE_model == 0 ? offset + kDriverHeadroom : offset;
}

void publishOffset(const char* caller, float offset) {
    offset = addHeadroom(offset);
    ALOGD("[%s] auto_calib_offset=%4.1fdB", caller, offset);
    platform::setHalParameter(sPrimaryDevice, "ac_offset", std::to_string(offset));
}

/** @return volume of "FL" in dB; 0 without such a channel. */
float offsetOf(const std::vector<aud_ac_data_Table>& table) {
    const aud_ac_data_Table* left = findRecord(table, "FL");
    return left == nullptr ? 0.0f : left->volume;
}

void describe(const aud_ac_data_Table& record, platform::DebugText* text) {
    const auto [least, most] = std::minmax_element(std::begin(record.gain), std::end(record.gain));
    const std::string name(record.channel, strnlen(record.channel, sizeof(record.channel)));
    text->add("channel " + name, "%+g dB, %g ms, gains %+g dB to %+g dB", record.volume,
              record.delay, *least, *most);
}

void describe(const char* file, const store::Failure& failure, platform::DebugText* text) {
    if (failure.operation) text->add(file, "%s failed, errno %d", failure.operation, failure.error);
}

const char* describeModel(uint8_t model) {
    return model == 0 ? "0, audio driver" : "1, back-end controller";
}

}  // namespace

AcousticCalibration::AcousticCalibration() {
    ALOGD("[%s] start", __func__);
    sNotes = {};
    sNotes.start.isReady = checkDtvSvcBoot() == 0;
    if (sNotes.start.isReady) u4BE_model = isBeModel(&sNotes.start.isModelRead) ? 1 : 0;
    if (u4BE_model == 1) sNotes.start.launched = checkBeCtrlBoot();

    sPrimaryDevice = PrimaryHalAccessor().getHalPrimaryDevice();
    if (sPrimaryDevice == nullptr) {
        ALOGE("load audio interface failed");
        return;
    }
    float offset = 0.0f;
    std::vector<aud_ac_data_Table> table;
    if (getEnabledOnBoot() == 1 && readCalibratedData(table) == 0) {
        sNotes.sendStatus = exeEnableCalibrate[u4BE_model](table);
        offset = getAutoCalibOffset(table);
    } else {
        sNotes.sendStatus = exeDisableCalibrate[u4BE_model]();
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
        sNotes.sendStatus = result = exeDisableCalibrate[u4BE_model]();
    } else if (readCalibratedData(table) == 0) {
        sNotes.sendStatus = result = exeEnableCalibrate[u4BE_model](table);
        offset = getAutoCalibOffset(table);
    } else {
        ALOGE("[%s] end readCalibratedData failed", __func__);
    }
    // The next start restores the stored flag, so it is stored only if all has been sent.
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

Return<void> AcousticCalibration::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    const AutoMutex flagLock(mEnabledLock);
    const AutoMutex tableLock(mDataLock);
    uint8_t flag;
    const store::Failure noFlag = store::inspectFlag(&flag);
    std::vector<aud_ac_data_Table> table;
    const store::Failure noTable = store::inspectTable(table);
    const bool isOn = !noFlag.operation && flag == 0x01;
    const bool isInUse = isOn && !noTable.operation;

    platform::DebugText text;
    platform::describeBackEnd(sNotes.start, &text);
    text.add("model", "%s", describeModel(u4BE_model));
    text.add("default model", "%s", describeModel(kDefaultModel));
    platform::describeHal(sPrimaryDevice, &text);
    text.add("calibration", "%s", isOn ? "on" : "off");
    describe("flag file", noFlag, &text);
    describe("table file", noTable, &text);
    if (noTable.operation) table.clear();
    text.add("stored channels", "%zu", recordsInUse(table));
    for (size_t i = 0; i < recordsInUse(table); i++) describe(table[i], &text);
    text.add("would be sent", "%s", isInUse ? "what is stored" : "no correction");
    describeOutput(u4BE_model, isInUse ? &table : nullptr, &text);
    text.add("ac_offset, dB", "%g", addHeadroom(isInUse ? offsetOf(table) : 0.0f));
    if (sNotes.sendStatus) text.add("status of what was sent last", "%d", *sNotes.sendStatus);
    text.writeTo(fd);
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
    const float offset = offsetOf(table);
    ALOGD("[%s] offsetLevel:%4.1fdB", __func__, offset);
    return offset;
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
