#pragma once

#include <limits>
#include <string>

#include "V3_1/AcousticCalibration.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/tv.h"

/* Shared by the tests of the room calibration. */
namespace calibration_set {

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
/** A fault of startWith(): the files that the service writes are on a full disk. */
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

/** A set with a primary audio device in this process. */
struct Tv : TvWith<AcousticCalibration> {
    explicit Tv(bool isBackEnd, bool hasHal = true, bool isReady = true)
        : TvWith({.hasBackEnd = isBackEnd, .isReady = isReady}) {
        platform::openDeviceCallback(platform::Result::OK,
                                     hasHal ? new fakes::FakeDevice : nullptr);
    }
    /** Starts a service, which from then on has this table and meets these faults. */
    AcousticCalibration& startWith(const std::string& table, const std::string& faults = "") {
        startQuietly();
        set.write(kTable, table);
        set.write("faults", faults == kFullDisk ? "" : faults);
        for (const char* file : {kTable, kFlag}) {
            if (faults != kFullDisk) break;
            set.remove(file);
            std::filesystem::create_symlink("/dev/full", set.path(file));
        }
        return *service;
    }
};

}  // namespace calibration_set
