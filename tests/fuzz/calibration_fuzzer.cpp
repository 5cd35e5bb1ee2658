/*
 * Arbitrary bytes in the files of the calibration: the table, the flag and the audio-quality data.
 * They are read, applied, and returned to a client.
 */

#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>

#include "tests/support/calibration_set.h"

using namespace calibration_set;
using android::hardware::audio::V5_0::ParameterValue;
using platform::Result;

namespace {

/** The primary audio device of the set: what it is told must be a number. */
struct NumberDevice : public platform::IPrimaryDevice {
    Return<Result> setParameters(const hidl_vec<ParameterValue>&,
                                 const hidl_vec<ParameterValue>& parameters) override {
        char* end = nullptr;
        strtod(parameters[0].value.c_str(), &end);
        if (*end != '\0') abort();
        return Result::OK;
    }
};

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
    platform::openDeviceCallback(Result::OK, new NumberDevice);

    FuzzedDataProvider input(data, size);
    constexpr std::streamoff kModel = 0x1001A;
    std::fstream(set.path("eeprom.bin")).seekp(kModel).put(input.ConsumeBool());
    const auto write = [](const char* name, const std::string& bytes) {
        std::ofstream(set.path(name), std::ios::binary) << bytes;
    };
    write(kFlag, input.ConsumeRandomLengthString(2));
    write(kQuality, qualityFile(input.ConsumeRandomLengthString()));
    write(kTable, input.ConsumeRemainingBytesAsString());

    const sp<AcousticCalibration> service = new AcousticCalibration;
    service->getCalibrationParameters([](const V3_0::calibrationParameters& parameters) {
        for (const auto& curve : parameters.channelCurves) {
            if (curve.bands.size() != 31) abort();
        }
    });
    service->setEnabled(true);
    service->getCalibratedData([&](const auto& list) {
        if (list.size() > 9) abort();
        // Data that were read can be stored and read again, unless out of range.
        if (service->setCalibratedData(list) != 0) return;
        service->getCalibratedData([&](const auto& again) {
            if (again.size() != list.size()) abort();
        });
    });
    service->getEnabled();
    truncate(set.path("journal").c_str(), 0);
    return 0;
}
