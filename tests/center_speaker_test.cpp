/* The centre speaker: what a start finds in the sound tuning and the EEPROM, and what it answers.
 */

#include "V4_0/CenterSpeaker.h"
#include "tests/support/tv.h"

using namespace com::zavo::dtv::hardware::audio::V4_0;
using android::hardware::hidl_vec;

namespace {

constexpr char kQuality[] = "fs/data/vendor/tmp/recipe/aqda.bin";
constexpr size_t kRecord = 23924;
const Lines kCalls{"DRV_Init()",
                   "MTAL_Init()",
                   "MTEEPROM_GetProperty()",
                   "MTEEPROM_Init()",
                   "MTEEPROM_Read(0x10089, 1)",
                   "MTEEPROM_Read(0x10116, 1)"};
const Lines kStart{"D -: [CenterSpeaker] start"}, kEnd{"D -: [CenterSpeaker] end"};
const std::string kReady = "I -: <<<<<hidlaudio dtv_svc is ready !>>>>> count:0";

std::string record(uint32_t type, uint32_t latency) {
    std::string file(kRecord + 20, '\0');
    memcpy(file.data() + kRecord, &type, sizeof(type));
    memcpy(file.data() + kRecord + 4, &latency, sizeof(latency));
    return file;
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
    size_t calls;  // how many of kCalls are made
};

class CenterSpeakerStart : public testing::TestWithParam<Case> {};

TEST_P(CenterSpeakerStart, SettlesEveryAnswer) {
    const Case& c = GetParam();
    TempSet set(c.options);
    set.write(kQuality, c.quality);
    if (c.quality == "-") set.remove(kQuality);
    set.write("faults", c.faults);
    LogCapture log;
    tvset::VirtualClock clock;
    const sp<ICenterSpeaker> service = new implementation::CenterSpeaker;
    log.expect(c.log);
    EXPECT_EQ(c.options.isReady ? 0s : 20s, clock.now());

    int answers = 0;
    service->getCenterSpeakerAcousticsType([&](const auto& types) {
        EXPECT_EQ(hidl_vec<int16_t>{c.type}, types);
        answers++;
    });
    service->getCenterSpeakerLatency([&](const auto& latency) {
        EXPECT_EQ((SampleLatency{48000, c.samples}), latency);
        answers++;
    });
    EXPECT_EQ(2, answers);
    Lines journal = set.takeJournal();
    for (std::string& line : journal) line.resize(line.find(" = "));
    EXPECT_EQ(Lines(kCalls.begin(), kCalls.begin() + c.calls), journal);
    EXPECT_EQ(c.isAvailable, service->isCenterSpeakerInputAvailable());
    EXPECT_EQ(c.isSynchronized, service->isSynchronizedCenterSpeakerInputAvailable());

    const bool isRead = c.log.back().find("readMmCecFromAqdata") == std::string::npos;
    const auto warning = [&](const std::string& name) {
        return isRead ? Lines{} : Lines{"W -: [" + name + "] Exist problem in AQData access."};
    };
    const std::string type = "getCenterSpeakerAcousticsType", latency = "getCenterSpeakerLatency";
    const auto line = [](const std::string& name, const std::string& text) {
        return Lines{"D -: [" + name + "] " + text};
    };
    log.expect(line(type, "start") + warning(type) +
               line(type, "Return: TvSpeakerType=" + to_string(c.type)) + line(latency, "start") +
               warning(latency) +
               line(latency, "Return: samplingRate=48000, samples=" + to_string(c.samples)) +
               line("isCenterSpeakerInputAvailable", "Return: " + to_string(c.isAvailable)) +
               line("isSynchronizedCenterSpeakerInputAvailable",
                    "Return: " + to_string(c.isSynchronized)));
}

tvset::SetOptions bytes(uint8_t segment, uint8_t mode, bool isReady = true) {
    return {.segment = segment, .centerMode = mode, .isReady = isReady};
}

/** The log of a start whose reading of the tuning fails. */
Lines unread(const std::string& what) {
    return kStart + Lines{"E -: [readMmCecFromAqdata] " + what};
}

/** The log of a start that gets as far as the EEPROM. */
Lines read(const Lines& failures = {}) {
    return kStart + Lines{kReady} + failures + kEnd;
}

const std::string kGood = record(2, 3), kEeprom = "E -: [CenterSpeaker] Eeprom ";
const auto kBoth = bytes(0x53, 1);

// clang-format off
INSTANTIATE_TEST_SUITE_P(Set, CenterSpeakerStart, testing::Values(
        Case{"S", record(2, 1024), kBoth, "", read(), 2, 1024, true, true, 6},
        Case{"T", record(255, 0), bytes(0x54, 0xFF), "", read(), 255, 0, true, true, 6},
        Case{"R", record(256, -1), bytes(0x52, 0), "", read(), 0, -1, false, false, 6},
        Case{"U", record(0, 1 << 31), bytes(0x55, 1), "", read(), 0, INT32_MIN, false, true, 6},
        Case{"NoFile", "-", kBoth, "", unread("fopen failed, errno 2"), 0, 576, false, false, 0},
        Case{"ShortFile", kGood.substr(0, kRecord + 19), kBoth, "",
             unread("fread failed, errno 0"), 0, 576, false, false, 0},
        Case{"NoSeek", kGood, kBoth, "fseek(aqda.bin) EIO",
             unread("fseek failed, errno 5"), 0, 576, false, false, 0},
        Case{"NotReady", kGood, bytes(0x53, 1, false), "",
             kStart + waiting("D -: <<<<<hidlaudio", 2000) + Lines{"E -: [CenterSpeaker] dtv_svc rpc server failed [TimeOut]."},
             2, 3, false, false, 0},
        Case{"NoMtal", kGood, kBoth, "MTAL_Init 1",
             read({"E -: [CenterSpeaker] MTAL_Init fail."}), 2, 3, false, false, 2},
        Case{"NoEeprom", kGood, kBoth, "MTEEPROM_Init 1",
             read({kEeprom + "init fail."}), 2, 3, false, false, 4},
        Case{"NoSegment", kGood, kBoth, "MTEEPROM_Read(0x10089) 1",
             read({kEeprom + "read fail.(segment)"}), 2, 3, false, true, 6},
        Case{"NoMode", kGood, kBoth, "MTEEPROM_Read(0x10116) 1",
             read({kEeprom + "read fail.(center_speaker_mode)"}), 2, 3, true, false, 6}),
        [](const auto& info) { return info.param.name; });
// clang-format on

}  // namespace
