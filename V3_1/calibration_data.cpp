#define LOG_TAG "AudioAC"

#include "V3_1/calibration_data.h"

#include <string.h>

#include <algorithm>
#include <iterator>

#include <log/log.h>

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::hidl_string;

namespace {

constexpr size_t kMostRecordsInUse = 9;

struct Range {
    const char* name;
    double least;
    double most;
};
constexpr Range kVolume{"Volume", -9.0, 9.0};
constexpr Range kDelay{"Delay", 0.0, 10.0};
constexpr Range kGain{"GEQ Gain", -9.0, 9.0};

bool isGood(const Range& range, double value) {
    if (!(value < range.least || value > range.most)) return true;
    ALOGE("[checkCalibratedData] [%s] is NG.  ffsetLevel: %10.5f ", range.name, value);
    return false;
}

bool isGood(const calibratedData& data) {
    return isGood(kVolume, data.volume) && isGood(kDelay, data.delay) &&
           std::all_of(data.bands.begin(), data.bands.end(),
                       [](const bandEqualizer& band) { return isGood(kGain, band.gain); });
}

calibratedData toCalibratedData(const aud_ac_data_Table& record) {
    calibratedData data;
    data.channel = hidl_string(record.channel, strnlen(record.channel, sizeof(record.channel)));
    data.bands.resize(kBandCount);
    std::transform(std::begin(record.gain), std::end(record.gain), data.bands.begin(), toBand);
    data.volume = record.volume;
    data.delay = record.delay;
    return data;
}

}  // namespace

size_t recordsInUse(const std::vector<aud_ac_data_Table>& table) {
    return std::min(table.size(), kMostRecordsInUse);
}

bool isNamed(const aud_ac_data_Table& record, const char* name) {
    return strncmp(record.channel, name, sizeof(record.channel)) == 0;
}

const aud_ac_data_Table* findRecord(const std::vector<aud_ac_data_Table>& table, const char* name) {
    for (size_t i = 0; i < recordsInUse(table); i++) {
        if (isNamed(table[i], name)) return &table[i];
    }
    return nullptr;
}

int32_t checkCalibratedData(const hidl_vec<calibratedData>& list) {
    const bool areGood = std::all_of(list.begin(), list.end(),
                                     [](const calibratedData& data) { return isGood(data); });
    return areGood ? 0 : -1;
}

aud_ac_data_Table toRecord(const calibratedData& data) {
    aud_ac_data_Table record{};  // missing bands are flat: 0 dB
    const char* name = data.channel.c_str();
    memcpy(record.channel, name, strnlen(name, sizeof(record.channel)));
    record.volume = data.volume;
    record.delay = data.delay;
    const size_t bands = std::min(data.bands.size(), kBandCount);
    std::transform(data.bands.begin(), data.bands.begin() + bands, record.gain,
                   [](const bandEqualizer& band) { return band.gain; });
    return record;
}

hidl_vec<calibratedData> toCalibratedData(const std::vector<aud_ac_data_Table>& table) {
    hidl_vec<calibratedData> list;
    list.resize(recordsInUse(table));
    for (size_t i = 0; i < list.size(); i++) list[i] = toCalibratedData(table[i]);
    return list;
}

bandEqualizer toBand(float gain) {
    return {"Parametric", 0.0f, 0.0f, gain};
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
