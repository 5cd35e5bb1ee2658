/*
 * Any bytes in the files of the calibration: the table, the flag and the audio-quality data. Each
 * is read, sent on either way and told to the client as it would be in service.
 */

#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>

#include <fstream>

#include "V3_1/AcousticCalibration.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio;
using V3_1::implementation::AcousticCalibration;

namespace {

/** The primary audio device of the set: what it is told must be a number. */
struct Device : public platform::IPrimaryDevice {
    android::hardware::Return<platform::Result> setParameters(
            const android::hardware::hidl_vec<android::hardware::audio::V5_0::ParameterValue>&,
            const android::hardware::hidl_vec<android::hardware::audio::V5_0::ParameterValue>&
                    parameters) override {
        char* end = nullptr;
        strtod(parameters[0].value.c_str(), &end);
        if (*end != '\0') abort();
        return platform::Result::OK;
    }
};

void write(const TempSet& set, const char* name, const std::string& bytes) {
    std::ofstream(set.path(name), std::ios::binary) << bytes;
}

/** The regions of the audio-quality data are far behind its start: only they are worth filling. */
std::string qualityFile(std::string regions) {
    constexpr size_t kScalars = 19412, kScalarsSize = 196, kCurves = 22340;
    if (regions.size() <= kScalarsSize) return std::string(kScalars, '\0') + regions;
    return std::string(kScalars, '\0') + regions.substr(0, kScalarsSize) +
           std::string(kCurves - kScalars - kScalarsSize, '\0') + regions.substr(kScalarsSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const TempSet set;
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    platform::openDeviceCallback(platform::Result::OK, new Device);

    FuzzedDataProvider input(data, size);
    constexpr std::streamoff kModel = 0x1001A;
    std::fstream(set.path("eeprom.bin")).seekp(kModel).put(input.ConsumeBool());
    const std::string folder = "fs/data/vendor/zavo/hidlaudio/";
    write(set, (folder + "aud_ac_enabled.data").c_str(), input.ConsumeRandomLengthString(2));
    write(set, "fs/data/vendor/tmp/recipe/aqda.bin",
          qualityFile(input.ConsumeRandomLengthString()));
    write(set, (folder + "aud_ac.data").c_str(), input.ConsumeRemainingBytesAsString());

    const android::sp<AcousticCalibration> service = new AcousticCalibration;
    service->getCalibrationParameters([](const V3_0::calibrationParameters& parameters) {
        for (const auto& curve : parameters.channelCurves) {
            if (curve.bands.size() != 31) abort();
        }
    });
    service->setEnabled(true);
    service->getCalibratedData([&](const auto& list) {
        if (list.size() > 9) abort();
        // What has been read can be stored and read again, unless it is out of range.
        if (service->setCalibratedData(list) != 0) return;
        service->getCalibratedData([&](const auto& again) {
            if (again.size() != list.size()) abort();
        });
    });
    service->getEnabled();
    truncate(set.path("journal").c_str(), 0);
    return 0;
}
