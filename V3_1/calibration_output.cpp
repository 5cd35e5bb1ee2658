#define LOG_TAG "AudioAC"

#include "V3_1/calibration_output.h"

#include <string.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

#include <android-base/stringprintf.h>
#include <log/log.h>

#include "platform/back_end.h"
#include "platform/dtv_svc.h"
#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

namespace {

constexpr platform::BackEndVariant kBackEnd{
        .tag = LOG_TAG,
        .readyPrefix = "",
        .notReady = -1,
        .isBeModelByDefault = kDefaultModel == 1,
        .eepromFailed = "fail",
        .mtalFailed = "AC MTAL_Init failed, ret = ",
};

constexpr size_t kDriverBandCount = 32;

/** The back-end controller's form: steps of 0.1 dB around 128, and samples at 48 kHz. */
struct BeCtrlBlock {
    uint8_t gain[kBandCount]; /**< of "FL" */
    uint8_t volume;           /**< of "FL" */
    int16_t delayLeft;        /**< of "FL" */
    int16_t delayRight;       /**< of "FR" */
};
static_assert(sizeof(BeCtrlBlock) == 36);
static_assert(offsetof(BeCtrlBlock, volume) == 31);
static_assert(offsetof(BeCtrlBlock, delayLeft) == 32);
static_assert(offsetof(BeCtrlBlock, delayRight) == 34);

constexpr uint8_t kBeCtrlZeroDb = 128;

constexpr uint32_t kIsCpupostReady = 66;
constexpr int64_t kCpupostSleepMs = 200;
constexpr int kCpupostLimit = 50;

const int8_t sDefaultVolumeOffset = 0;

/** The low bits of the whole part; only a table file that was tampered with holds more of them. */
template <typename Integer>
Integer toWhole(double value) {
    using Limits = std::numeric_limits<int32_t>;
    const double whole = std::clamp<double>(value, Limits::min(), Limits::max());
    return static_cast<Integer>(static_cast<int32_t>(whole));
}

/** A NaN passes the range check, but has no encoding: it counts as no correction. */
float withoutNan(float value) {
    return std::isnan(value) ? 0.0f : value;
}

// Values are scaled as floats: 0.35f * 10 is 3.5 exactly. As a double it would be a little less.

/**
 * dB in steps of 0.1 dB, half a step away from zero. For the driver the whole part is the nearest
 * step. For the controller it is taken after an offset is added, so levels below zero come out one
 * step lower: -1.0 dB as -1.1 dB.
 */
double toSteps(float decibels) {
    const float steps = withoutNan(decibels) * 10.0f;
    return steps >= 0.0f ? steps + 0.5 : steps - 0.5;
}

int8_t toDriverVolume(float decibels) {
    return toWhole<int8_t>(toSteps(decibels));
}

uint8_t toBeCtrlLevel(float decibels) {
    return toWhole<uint8_t>(toSteps(decibels) + kBeCtrlZeroDb);
}

int16_t toSamples(float milliseconds) {
    const float samples = withoutNan(milliseconds) / 1000.0f * 48000.0f;
    return toWhole<int16_t>(samples + 0.5);
}

void makeCalibratedDataForAudioDriver(const std::vector<aud_ac_data_Table>& table,
                                      float (&gains)[kDriverBandCount], int8_t* offset) {
    const aud_ac_data_Table* left = findRecord(table, "FL");
    if (left == nullptr) return;
    std::copy(std::begin(left->gain), std::end(left->gain), gains);
    *offset = toDriverVolume(left->volume);
}

void makeDefaultDataForAudioDriver(float (&gains)[kDriverBandCount], int8_t* offset) {
    std::fill(std::begin(gains), std::end(gains), 0.0f);
    *offset = sDefaultVolumeOffset;
}

int32_t checkCpupostReady() {
    for (int i = 0; i < kCpupostLimit; i++) {
        uint32_t answer = 0;
        MTAUDPOST_Query query{};
        query.parameter = kIsCpupostReady;
        query.count = 1;
        query.answer = &answer;
        if (const int32_t status = MTAUDPOST_GetParameters(query); status != 0) {
            ALOGE("[%s] MTAUDPOST_GetParameters failed!!(%d)", __func__, status);
            return -1;
        }
        if (answer != 0) return 0;
        platform::sleepMs(kCpupostSleepMs);
    }
    ALOGE("[%s] wait cpupost Ready timeout.", __func__);
    return 1;
}

int32_t setCalibratedDataToAudioDriver(float (&gains)[kDriverBandCount], int8_t offset) {
    if (const int32_t status = checkDtvSvcBoot(); status != 0) {
        ALOGE("[%s] AQCtrl Boot failed [TimeOut].", __func__);
        return status;
    }
    checkCpupostReady();
    if (const int32_t status = MTAUDDEC_Set32EqualizerBandConfig(gains); status != 0) {
        ALOGE("[%s] MTAUDDEC_Set32EqualizerBandConfig failed. ret:%d", __func__, status);
        return status;
    }
    if (const int32_t status = MTAUDDEC_SetAcVolumeOffset(offset); status != 0) {
        ALOGE("[%s] MTAUDDEC_SetAcVolumeOffset failed. ret:%d", __func__, status);
        std::fill(std::begin(gains), std::end(gains), 0.0f);
        MTAUDDEC_Set32EqualizerBandConfig(gains);
        return status;
    }
    return 0;
}

int32_t enableCalibrationAudioDriver(const std::vector<aud_ac_data_Table>& table) {
    float gains[kDriverBandCount] = {};
    int8_t offset = 0;
    makeCalibratedDataForAudioDriver(table, gains, &offset);
    return setCalibratedDataToAudioDriver(gains, offset);
}

int32_t disableCalibrationAudioDriver() {
    float gains[kDriverBandCount];
    int8_t offset;
    makeDefaultDataForAudioDriver(gains, &offset);
    return setCalibratedDataToAudioDriver(gains, offset);
}

void makeDefaultDataForBeCtrl(BeCtrlBlock* block) {
    std::fill(std::begin(block->gain), std::end(block->gain), kBeCtrlZeroDb);
    block->volume = kBeCtrlZeroDb;
    block->delayLeft = 0;
    block->delayRight = 0;
}

/** Of several records with the same name the last one counts. */
void makeCalibratedDataForBeCtrl(const std::vector<aud_ac_data_Table>& table, BeCtrlBlock* block) {
    makeDefaultDataForBeCtrl(block);  // for what no record has
    for (size_t i = 0; i < recordsInUse(table); i++) {
        const aud_ac_data_Table& record = table[i];
        if (isNamed(record, "FL")) {
            std::transform(std::begin(record.gain), std::end(record.gain), block->gain,
                           toBeCtrlLevel);
            block->volume = toBeCtrlLevel(record.volume);
            block->delayLeft = toSamples(record.delay);
        } else if (isNamed(record, "FR")) {
            block->delayRight = toSamples(record.delay);
        }
    }
}

int32_t setCalibratedDataToBeCtrl(const BeCtrlBlock& block) {
    if (const int32_t status = checkDtvSvcBoot(); status != 0) {
        ALOGE("[%s] BECtrl Boot failed [TimeOut].", __func__);
        return status;
    }
    MTDRVCUST_ItemRecord item{};
    item.identifier = MTDRVCUST_ITEM_CALIBRATION;
    item.dataLength = sizeof(block);
    memcpy(item.data, &block, sizeof(block));
    platform::connectToBeCtrl(kBackEnd, __func__);
    const int32_t status =
            MTDRVCUST_dcustom_cust_spec_set(MTDRVCUST_SET_ITEM, &item, sizeof(item), 0);
    if (status != 0) ALOGE("[%s] MTDRVCUST_dcustom_cust_spec_set failed!!(%d)", __func__, status);
    return status;
}

int32_t enableCalibrationBeCtrl(const std::vector<aud_ac_data_Table>& table) {
    BeCtrlBlock block;
    makeCalibratedDataForBeCtrl(table, &block);
    return setCalibratedDataToBeCtrl(block);
}

int32_t disableCalibrationBeCtrl() {
    BeCtrlBlock block;
    makeDefaultDataForBeCtrl(&block);
    return setCalibratedDataToBeCtrl(block);
}

template <typename Value, size_t count>
std::string list(const Value (&values)[count]) {
    std::string text;
    for (const Value value : values) {
        ::android::base::StringAppendF(&text, text.empty() ? "%g" : " %g",
                                       static_cast<double>(value));
    }
    return text;
}

void describeAudioDriverOutput(const std::vector<aud_ac_data_Table>* table,
                               platform::DebugText* text) {
    float gains[kDriverBandCount];
    int8_t offset;
    makeDefaultDataForAudioDriver(gains, &offset);
    if (table != nullptr) makeCalibratedDataForAudioDriver(*table, gains, &offset);
    text->add("equaliser, dB", "%s", list(gains).c_str());
    text->add("volume offset, 0.1 dB", "%d", offset);
}

void describeBeCtrlOutput(const std::vector<aud_ac_data_Table>* table, platform::DebugText* text) {
    BeCtrlBlock block;
    makeDefaultDataForBeCtrl(&block);
    if (table != nullptr) makeCalibratedDataForBeCtrl(*table, &block);
    text->add("gains, 0.1 dB from 128", "%s", list(block.gain).c_str());
    text->add("volume, 0.1 dB from 128", "%d", block.volume);
    text->add("delays, samples", "FL %d, FR %d", block.delayLeft, block.delayRight);
}

}  // namespace

uint8_t u4BE_model = kDefaultModel;

int32_t (*const exeEnableCalibrate[2])(const std::vector<aud_ac_data_Table>& table){
        enableCalibrationAudioDriver, enableCalibrationBeCtrl};
int32_t (*const exeDisableCalibrate[2])(){disableCalibrationAudioDriver, disableCalibrationBeCtrl};

void describeOutput(uint8_t way, const std::vector<aud_ac_data_Table>* table,
                    platform::DebugText* text) {
    (way == 0 ? describeAudioDriverOutput : describeBeCtrlOutput)(table, text);
}

int32_t checkDtvSvcBoot() {
    return platform::checkDtvSvcBoot(kBackEnd);
}

bool isBeModel(bool* isRead) {
    return platform::isBeModel(kBackEnd, isRead);
}

int32_t checkBeCtrlBoot() {
    return platform::checkBeCtrlBoot(kBackEnd);
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
