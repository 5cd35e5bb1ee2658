/* The centre speaker: what a start finds in the sound tuning and the EEPROM, and what it answers.
 */

#include "V4_0/CenterSpeaker.h"
#include "tests/support/process.h"
#include "tests/support/tv.h"

using namespace V4_0;

namespace {

constexpr char kQuality[] = "fs/data/vendor/tmp/recipe/aqda.bin";
const std::string kNoFile = "-";
constexpr size_t kRecord = 23924;
const Lines kCalls{"DRV_Init()",
                   "MTAL_Init()",
                   "MTEEPROM_GetProperty()",
                   "MTEEPROM_Init()",
                   "MTEEPROM_Read(0x10089, 1)",
                   "MTEEPROM_Read(0x10116, 1)"};

std::string record(uint32_t type, uint32_t latency) {
    std::string file(kRecord + 20, '\0');
    memcpy(file.data() + kRecord, &type, sizeof(type));
    memcpy(file.data() + kRecord + 4, &latency, sizeof(latency));
    return file;
}

tvset::SetOptions bytes(uint8_t segment, uint8_t mode, bool isReady = true) {
    return {.segment = segment, .centerMode = mode, .isReady = isReady};
}

/** The log of a start that gets as far as the EEPROM. */
Lines read(const Lines& failures = {}) {
    return {"I -: <<<<<hidlaudio dtv_svc is ready !>>>>> count:0", failures,
            "D -: [CenterSpeaker] end"};
}
Lines unread(const std::string& what) {
    return {"E -: [readMmCecFromAqdata] " + what};
}

const std::string kGood = record(2, 3), kEeprom = "E -: [CenterSpeaker] Eeprom ";
const auto kBoth = bytes(0x53, 1);

// clang-format off
const struct Case {
    const char* name;
    std::string quality;
    tvset::SetOptions options;
    const char* faults;
    Lines log;  // of the start, after its first line
    int16_t type;
    int32_t samples;
    bool isAvailable, isSynchronized;
    size_t calls;  // how many of kCalls are made
} kCases[] = {
        {"segment S", record(2, 1024), kBoth, "", read(), 2, 1024, true, true, 6},
        {"segment T", record(255, 0), bytes(0x54, 0xFF), "", read(), 255, 0, true, true, 6},
        {"segment R", record(256, -1), bytes(0x52, 0), "", read(), 0, -1, false, false, 6},
        {"segment U", record(0, 1 << 31), bytes(0x55, 1), "", read(), 0, INT32_MIN, false, true, 6},
        {"no file", kNoFile, kBoth, "", unread("fopen failed, errno 2"), 0, 576, false, false, 0},
        {"short file", kGood.substr(0, kRecord + 19), kBoth, "", unread("fread failed, errno 0"),
         0, 576, false, false, 0},
        {"no seek", kGood, kBoth, "fseek(aqda.bin) EIO", unread("fseek failed, errno 5"),
         0, 576, false, false, 0},
        {"not ready", kGood, bytes(0x53, 1, false), "",
         {waiting("D -: <<<<<hidlaudio", 2000),
          "E -: [CenterSpeaker] dtv_svc rpc server failed [TimeOut]."}, 2, 3, false, false, 0},
        {"no drivers", kGood, kBoth, "MTAL_Init 1", read({"E -: [CenterSpeaker] MTAL_Init fail."}),
         2, 3, false, false, 2},
        {"no EEPROM", kGood, kBoth, "MTEEPROM_Init 1", read({kEeprom + "init fail."}),
         2, 3, false, false, 4},
        {"no segment", kGood, kBoth, "MTEEPROM_Read(0x10089) 1",
         read({kEeprom + "read fail.(segment)"}), 2, 3, false, true, 6},
        {"no mode", kGood, kBoth, "MTEEPROM_Read(0x10116) 1",
         read({kEeprom + "read fail.(center_speaker_mode)"}), 2, 3, true, false, 6},
};
// clang-format on

Lines logOfAnswers(const Case& c) {
    const std::string type = "[getCenterSpeakerAcousticsType] ";
    const std::string latency = "[getCenterSpeakerLatency] ";
    const bool isRead = c.samples != 576;
    const auto warning = [&](const std::string& name) {
        return Lines(!isRead, "W -: " + name + "Exist problem in AQData access.");
    };
    return {"D -: " + type + "start",
            warning(type),
            "D -: " + type + "Return: TvSpeakerType=" + to_string(c.type),
            "D -: " + latency + "start",
            warning(latency),
            "D -: " + latency + "Return: samplingRate=48000, samples=" + to_string(c.samples),
            "D -: [isCenterSpeakerInputAvailable] Return: " + to_string(c.isAvailable),
            "D -: [isSynchronizedCenterSpeakerInputAvailable] Return: " +
                    to_string(c.isSynchronized)};
}

void expectStartAndAnswers(const Case& c) {
    TvWith<implementation::CenterSpeaker> tv(c.options);
    tv.set.write(kQuality, c.quality);
    if (c.quality == kNoFile) tv.set.remove(kQuality);
    tv.start(c.faults);
    tv.log.expect({"D -: [CenterSpeaker] start", c.log});
    EXPECT_EQ(c.options.isReady ? 0s : 20s, tv.clock.now());
    int answers = 0;
    tv.service->getCenterSpeakerAcousticsType([&](const auto& types) {
        EXPECT_EQ(hidl_vec<int16_t>{c.type}, types);
        answers++;
    });
    tv.service->getCenterSpeakerLatency([&](const auto& latency) {
        EXPECT_EQ((SampleLatency{48000, c.samples}), latency);
        answers++;
    });
    EXPECT_EQ(2, answers);
    EXPECT_EQ(c.isAvailable, tv.service->isCenterSpeakerInputAvailable());
    EXPECT_EQ(c.isSynchronized, tv.service->isSynchronizedCenterSpeakerInputAvailable());
    tv.log.expect(logOfAnswers(c));
    EXPECT_EQ(Lines(kCalls.begin(), kCalls.begin() + c.calls),
              tv.set.takeJournal().replaced(" = .*", ""));
}

TEST(CenterSpeaker, StartSettlesEveryAnswer) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Process process([&] { expectStartAndAnswers(c); });  // what it finds stays for its life
        EXPECT_EQ(0, process.wait());
    }
}

}  // namespace
