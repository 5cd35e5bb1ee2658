/* The centre speaker: what a start finds in the sound tuning and the EEPROM, and what it answers.
 */

#include <gtest/gtest.h>

#include "V4_0/CenterSpeaker.h"
#include "host/tvset/clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio::V4_0;
using namespace std::chrono_literals;
using android::sp;
using android::hardware::hidl_vec;
using Lines = std::vector<std::string>;

namespace {

constexpr char kQuality[] = "fs/data/vendor/tmp/recipe/aqda.bin";
constexpr size_t kRecord = 23924;
const Lines kStart{"D -: [CenterSpeaker] start"}, kEnd{"D -: [CenterSpeaker] end"};
const std::string kReady = "I -: <<<<<hidlaudio dtv_svc is ready !>>>>> count:0";

Lines operator+(Lines all, const Lines& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
}

std::string record(uint32_t type, uint32_t latency) {
    std::string file(kRecord + 20, '\0');
    memcpy(file.data() + kRecord, &type, sizeof(type));
    memcpy(file.data() + kRecord + 4, &latency, sizeof(latency));
    return file;
}

struct Answers {
    hidl_vec<int16_t> types;
    SampleLatency latency;
    bool isAvailable, isSynchronized;
};

/** Asks for everything; each answer has to come once. */
Answers ask(const sp<ICenterSpeaker>& service) {
    Answers answers{};
    int count = 0;
    EXPECT_TRUE(service->getCenterSpeakerAcousticsType([&](const auto& types) {
                           answers.types = types;
                           count++;
                       })
                        .isOk());
    EXPECT_TRUE(service->getCenterSpeakerLatency([&](const auto& latency) {
                           answers.latency = latency;
                           count++;
                       })
                        .isOk());
    EXPECT_EQ(2, count);
    answers.isAvailable = service->isCenterSpeakerInputAvailable();
    answers.isSynchronized = service->isSynchronizedCenterSpeakerInputAvailable();
    return answers;
}

// Each case is a process of its own: what a start finds stays for the life of the process.
struct Case {
    const char* name;
    std::string quality;  // "-": no file
    tvset::SetOptions options;
    const char* faults;
    Lines log;  // of the start
    int16_t type;
    int32_t samples;
    bool isAvailable, isSynchronized;
};

class CenterSpeakerStart : public testing::TestWithParam<Case> {};

TEST_P(CenterSpeakerStart, SettlesEveryAnswer) {
    const Case& c = GetParam();
    TempSet set(c.options);
    if (c.quality == "-") {
        set.remove(kQuality);
    } else {
        set.write(kQuality, c.quality);
    }
    set.write("faults", c.faults);
    LogCapture log;
    tvset::VirtualClock clock;
    const sp<ICenterSpeaker> service = new implementation::CenterSpeaker;
    Lines started = log.take();
    if (!c.options.isReady) started.erase(started.begin() + 1, started.begin() + 2001);
    EXPECT_EQ(c.log, started);
    EXPECT_EQ(c.options.isReady ? 0s : 20s, clock.now());

    const Answers answers = ask(service);
    EXPECT_EQ(hidl_vec<int16_t>{c.type}, answers.types);
    EXPECT_EQ((SampleLatency{48000, c.samples}), answers.latency);
    EXPECT_EQ(c.isAvailable, answers.isAvailable);
    EXPECT_EQ(c.isSynchronized, answers.isSynchronized);

    const bool isRead = c.log.back().find("readMmCecFromAqdata") == std::string::npos;
    const auto warning = [&](const std::string& name) {
        return isRead ? Lines{} : Lines{"W -: [" + name + "] Exist problem in AQData access."};
    };
    const std::string type = "getCenterSpeakerAcousticsType", latency = "getCenterSpeakerLatency";
    EXPECT_EQ(
            (Lines{"D -: [" + type + "] start"} + warning(type) +
             Lines{"D -: [" + type + "] Return: TvSpeakerType=" + std::to_string(c.type),
                   "D -: [" + latency + "] start"} +
             warning(latency) +
             Lines{"D -: [" + latency +
                           "] Return: samplingRate=48000, samples=" + std::to_string(c.samples),
                   "D -: [isCenterSpeakerInputAvailable] Return: " + std::to_string(c.isAvailable),
                   "D -: [isSynchronizedCenterSpeakerInputAvailable] Return: " +
                           std::to_string(c.isSynchronized)}),
            log.take());
}

tvset::SetOptions bytes(uint8_t segment, uint8_t mode) {
    tvset::SetOptions options;
    options.segment = segment;
    options.centerMode = mode;
    return options;
}

tvset::SetOptions notReady() {
    tvset::SetOptions options = bytes(0x53, 1);
    options.isReady = false;
    return options;
}

Lines readFailed(const std::string& what) {
    return kStart + Lines{"E -: [readMmCecFromAqdata] " + what};
}

Lines eepromFailed(const Lines& lines) {
    return kStart + Lines{kReady} + lines + kEnd;
}

const Lines kGood = eepromFailed({});

INSTANTIATE_TEST_SUITE_P(
        Set, CenterSpeakerStart,
        testing::Values(
                Case{"S", record(2, 1024), bytes(0x53, 1), "", kGood, 2, 1024, true, true},
                Case{"T", record(255, 0), bytes(0x54, 0xFF), "", kGood, 255, 0, true, true},
                Case{"R", record(256, -1), bytes(0x52, 0), "", kGood, 0, -1, false, false},
                Case{"U", record(0, 1 << 31), bytes(0x55, 1), "", kGood, 0, INT32_MIN, false, true},
                Case{"NoFile", "-", bytes(0x53, 1), "", readFailed("fopen failed, errno 2"), 0, 576,
                     false, false},
                Case{"ShortFile", record(2, 3).substr(0, kRecord + 19), bytes(0x53, 1), "",
                     readFailed("fread failed, errno 0"), 0, 576, false, false},
                Case{"NoSeek", record(2, 3), bytes(0x53, 1), "fseek(aqda.bin) EIO",
                     readFailed("fseek failed, errno 5"), 0, 576, false, false},
                Case{"NotReady", record(2, 3), notReady(), "",
                     kStart + Lines{"E -: [CenterSpeaker] dtv_svc rpc server failed [TimeOut]."}, 2,
                     3, false, false},
                Case{"NoMtal", record(2, 3), bytes(0x53, 1), "MTAL_Init 1",
                     eepromFailed({"E -: [CenterSpeaker] MTAL_Init fail."}), 2, 3, false, false},
                Case{"NoEeprom", record(2, 3), bytes(0x53, 1), "MTEEPROM_Init 1",
                     eepromFailed({"E -: [CenterSpeaker] Eeprom init fail."}), 2, 3, false, false},
                Case{"NoSegment", record(2, 3), bytes(0x53, 1), "MTEEPROM_Read(0x10089) 1",
                     eepromFailed({"E -: [CenterSpeaker] Eeprom read fail.(segment)"}), 2, 3, false,
                     true},
                Case{"NoMode", record(2, 3), bytes(0x53, 1), "MTEEPROM_Read(0x10116) 1",
                     eepromFailed({"E -: [CenterSpeaker] Eeprom read fail.(center_speaker_mode)"}),
                     2, 3, true, false}),
        [](const auto& info) { return info.param.name; });

}  // namespace
