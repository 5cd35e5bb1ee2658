#pragma once

#include <limits>
#include <string>

#include "V3_1/AcousticCalibration.h"
#include "host/tvset/devices/operation.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

/* What the tests of the room calibration share. */
namespace calibration_set {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::audio::V5_0::ParameterValue;
using platform::Result;
using std::to_string;
using V3_1::implementation::AcousticCalibration;

constexpr char kTable[] = "fs/data/vendor/zavo/hidlaudio/aud_ac.data";
constexpr char kFlag[] = "fs/data/vendor/zavo/hidlaudio/aud_ac_enabled.data";
constexpr char kQuality[] = "fs/data/vendor/tmp/recipe/aqda.bin";
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
inline const std::string kOn(1, '\1'), kOff(1, '\0');
inline const std::string kDelays("\1\0\0\0", 4), kEnd(4, '\0');

inline const auto D = [](const std::string& text) { return "D AudioAC: " + text; };
inline const auto E = [](const std::string& text) { return "E AudioAC: " + text; };
/** For a start: the files that the service writes from then on are on a full disk. */
constexpr char kFullDisk[] = "full disk";
inline const std::string kNoRead = "fread AcousticCalibration enabled data failed, errno ";
inline const std::string kNoWrite = "fwrite AcousticCalibration enabled data failed, errno ";

template <typename T>
std::string bytes(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

/** A channel as the table file has it. */
inline std::string record(std::string name, float volume = 0, float delay = 0, float gain = 0) {
    name.resize(8);
    std::string all = name + bytes(volume) + bytes(delay);
    for (int i = 0; i < 31; i++) all += bytes(gain);
    return all;
}

/** The primary audio device of the set, in this process. */
struct Device : public platform::IPrimaryDevice {
    Return<Result> setParameters(const hidl_vec<ParameterValue>& context,
                                 const hidl_vec<ParameterValue>& parameters) override {
        const std::string sent = toString(context) + ", " + toString(parameters);
        const int32_t result = tvset::perform("setParameters", sent, [] { return 0; });
        if (result < 0) return android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
        return Result::OK;
    }
};

/** A set, on which services start one after the other. */
struct Tv {
    explicit Tv(bool isBackEnd, bool hasHal = true, bool isReady = true)
        : set({.hasBackEnd = isBackEnd, .isReady = isReady}) {
        platform::openDeviceCallback(Result::OK, hasHal ? new Device : nullptr);
    }
    /** Starts a service, which then finds the table and the faults; forgets what the start did. */
    AcousticCalibration& start(const std::string& table = "", const std::string& faults = "") {
        service = new AcousticCalibration;
        set.write(kTable, table);
        set.write("faults", faults == kFullDisk ? "" : faults);
        for (const char* file : {kTable, kFlag}) {
            if (faults != kFullDisk) break;
            set.remove(file);
            std::filesystem::create_symlink("/dev/full", set.path(file));
        }
        log.take();
        set.takeJournal();
        return *service;
    }
    TempSet set;
    LogCapture log;
    sp<AcousticCalibration> service;
};

}  // namespace calibration_set
