/* The centre speaker: what it reads at start from sound tuning and EEPROM, and its answers. */

#include <log/log.h>

#include "V4_0/CenterSpeaker.h"
#include "tests/support/debug.h"
#include "tests/support/transcript.h"
#include "tests/support/tv.h"

using namespace V4_0;

namespace {

constexpr char kQuality[] = "fs/data/vendor/tmp/recipe/aqda.bin";
const std::string kNoFile = "-";
constexpr size_t kRecord = 23924;
std::string record(uint32_t type, uint32_t latency) {
    std::string file(kRecord + 20, '\0');
    memcpy(file.data() + kRecord, &type, sizeof(type));
    memcpy(file.data() + kRecord + 4, &latency, sizeof(latency));
    return file;
}

tvset::SetOptions bytes(uint8_t segment, uint8_t mode) {
    return {.segment = segment, .centerMode = mode};
}

const std::string kGood = record(2, 3);
const auto kBoth = bytes(0x53, 1);
const Transcript kTranscript("center_speaker.txt");

// clang-format off
const struct Case {
    const char* name;
    std::string quality;
    tvset::SetOptions options;
    const char* faults;
    bool isAvailable, isSynchronized;
} kCases[] = {
        {"segment S", record(2, 1024), kBoth, "", true, true},
        {"segment T", record(255, 0), bytes(0x54, 0xFF), "", true, true},
        {"segment R", record(256, -1), bytes(0x52, 0), "", false, false},
        {"segment U", record(0, 1 << 31), bytes(0x55, 1), "", false, true},
        {"late middleware", kGood, {.isReady = false}, "", true, true},
        {"no file", kNoFile, kBoth, "", false, false},
        {"short file", kGood.substr(0, kRecord + 19), kBoth, "", false, false},
        {"no seek", kGood, kBoth, "fseek(aqda.bin) EIO", false, false},
        {"no drivers", kGood, kBoth, "MTAL_Init 1", false, false},
        {"no EEPROM", kGood, kBoth, "MTEEPROM_Init 1", false, false},
        {"no segment", kGood, kBoth, "MTEEPROM_Read(0x10089) 1", false, true},
        {"no mode", kGood, kBoth, "MTEEPROM_Read(0x10116) 1", true, false},
};
// clang-format on

void expectStartAndAnswers(const Case& c) {
    TvWith<implementation::CenterSpeaker> tv(c.options);
    tv.set.write(kQuality, c.quality);
    if (c.quality == kNoFile) tv.set.remove(kQuality);
    tv.clock.after(15ms, [&] { tv.set.write(kMarker, ""); });
    tv.start(c.faults);
    EXPECT_EQ(c.options.isReady ? 0s : 20ms, tv.clock.now());
    const auto answer = [](const auto& text) { ALOGI("%s", toString(text).c_str()); };
    tv.service->getCenterSpeakerAcousticsType(answer);
    tv.service->getCenterSpeakerLatency(answer);
    EXPECT_EQ(c.isAvailable, tv.service->isCenterSpeakerInputAvailable());
    EXPECT_EQ(c.isSynchronized, tv.service->isSynchronizedCenterSpeakerInputAvailable());
    Ends debugged;
    EXPECT_TRUE(debug(*tv.service, debugged.to));
    kTranscript.expectLines(c.name,
                            {tv.log.take(), tv.set.takeJournal(), find(debugged.read(), "(.*)\n")});
}

TEST(CenterSpeaker, StartReadsEveryAnswer) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Process process([&] { expectStartAndAnswers(c); });  // which reads them once
        EXPECT_EQ(0, process.wait());
    }
}

TEST(CenterSpeaker, StartWaitsTwentySecondsForTheMiddlewareThenSkipsTheEeprom) {
    TvWith<implementation::CenterSpeaker> tv({.isReady = false});
    tv.set.write(kQuality, kGood);
    tv.start();
    tv.log.expect({"D -: [CenterSpeaker] start", waiting("D -: <<<<<hidlaudio", 2000),
                   "E -: [CenterSpeaker] dtv_svc rpc server failed [TimeOut]."});
    EXPECT_EQ(20s, tv.clock.now());
    tv.service->getCenterSpeakerAcousticsType([](const auto&) {});
    tv.service->getCenterSpeakerLatency([](const auto&) {});
    EXPECT_FALSE(tv.service->isCenterSpeakerInputAvailable());
    EXPECT_FALSE(tv.service->isSynchronizedCenterSpeakerInputAvailable());
    kTranscript.expect("not ready", tv);
}

}  // namespace
