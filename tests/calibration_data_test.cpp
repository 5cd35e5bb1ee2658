/* The calibration data: how they are stored, read from any file, and the parameters. */

#include <log/log.h>

#include "tests/support/calibration_set.h"

using namespace calibration_set;
using V3_0::bandEqualizer;
using V3_0::calibratedData;
using V3_0::calibrationParameters;
using List = std::vector<calibratedData>;

namespace {

calibratedData channel(const std::string& name, float volume = 0, float delay = 0, float gain = 0,
                       size_t bands = 31) {
    const std::vector<bandEqualizer> all(bands, {"", 1, 2, gain});
    return {name, all, volume, delay};
}

/** Names and delays of the stored channels. */
Lines stored(AcousticCalibration& service) {
    Lines found;
    service.getCalibratedData([&](const hidl_vec<calibratedData>& list) {
        ALOG(LOG_DEBUG, "AudioAC", "delivered");
        for (const auto& c : list) found.push_back(c.channel.c_str() + to_string(c.delay));
    });
    return found;
}

TEST(SetCalibratedData, TakesOnlyWhatIsInRange) {
    constexpr float kOver9 = 0x1.200002p3f, kOver10 = 0x1.400002p3f;  // the next larger floats
    const auto isNg = [](const std::string& name, const std::string& value) {
        return Lines{E("[checkCalibratedData] [" + name + "] is NG.  ffsetLevel: " + value + " ")};
    };
    calibratedData lastBand = channel("FR");
    lastBand.bands[30].gain = kOver9;
    const struct {
        const char* name;
        List list;
        Lines log;
    } cases[] = {
            {"at the limits", {channel("FL", 9, 10, -9), channel("FR", -9, 0, 9)}, {}},
            {"not a number", {channel("FL", kNan, kNan, kNan)}, {}},
            {"volume above", {channel("FL", kOver9)}, isNg("Volume", "   9.00000")},
            {"volume below", {channel("FL", -kOver9)}, isNg("Volume", "  -9.00000")},
            {"delay below", {channel("FL", 0, -1e-45f, 20)}, isNg("Delay", "  -0.00000")},
            {"delay above", {channel("FL", 0, kOver10)}, isNg("Delay", "  10.00000")},
            {"gain below", {channel("FL", 0, 0, -kOver9)}, isNg("GEQ Gain", "  -9.00000")},
            {"infinite", {channel("FL", -kInfinity)}, isNg("Volume", "      -inf")},
            {"many bands", {channel("FL", 0, 0, 10, 10000)}, isNg("GEQ Gain", "  10.00000")},
            {"second channel",
             {channel("FL"), channel("FR", -20, 20, 20)},
             isNg("Volume", " -20.00000")},
            {"last band", {channel("FL"), lastBand}, isNg("GEQ Gain", "   9.00000")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false);
        EXPECT_EQ(c.log.empty() ? 0 : -1, tv.startWith("kept").setCalibratedData(c.list));
        tv.log.expect({D("[setCalibratedData] start"),
                       c.log.empty() ? Lines{D("[setCalibratedData] end")} : c.log});
        EXPECT_EQ(!c.log.empty(), tv.set.read(kTable) == "kept");
        tv.set.expectJournal({});
    }
}

TEST(SetCalibratedData, KeepsListsOfEveryShape) {
    const std::string many(100000, 'y'), withNul("F\0L", 3);
    // clang-format off
    const struct {
        const char* name;
        List list;
        std::string records;
        Lines back;
    } cases[] = {
            {"empty", {}, "", {}},
            {"names of many lengths", {channel("FL", -9, 10, 9), channel("FLX1", 1), channel("FLX12", 0, 1.5)},
             record("FL", -9, 10, 9) + record("FLX1", 1) + record("FLX1", 0, 1.5),
             {"FL10.000000", "FLX10.000000", "FLX11.500000"}},
            {"bands of any number", {channel("few", 1, 2, 3, 30), channel(many, 0, 1, 2, 10000),
              channel(withNul, 1, 0, 0, 0)},
             record("few", 1, 2, 3).replace(136, 4, 4, '\0') + record("yyyy", 0, 1, 2) +
             record("F", 1),
             {"few2.000000", "yyyy1.000000", "F0.000000"}},
            // A record without a name reads as the end, and the delay marker is behind it.
            {"no name", {channel("FL", 0, 5), channel("", 0, 5)}, record("FL", 0, 5) + record("", 0, 5),
             {"FL0.000000"}},
    };
    // clang-format on
    Tv tv(false);
    tv.startWith("");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(0, tv.service->setCalibratedData(c.list));
        EXPECT_EQ(c.records + kDelays + kEnd, tv.set.read(kTable));
        EXPECT_EQ(c.back, stored(*tv.service));
    }
    for (const size_t count : {9, 10, 12, 500}) {
        SCOPED_TRACE(count);
        EXPECT_EQ(0, tv.service->setCalibratedData(List(count, channel("FL", 0, 5))));
        EXPECT_EQ(140 * count + 8, tv.set.read(kTable).size());
        EXPECT_EQ(Lines(9, count == 9 ? "FL5.000000" : "FL0.000000"), stored(*tv.service));
    }
    EXPECT_EQ(0, tv.startWith("", "fwrite(aud_ac.data) ENOSPC").setCalibratedData({}));
}

TEST(SetCalibratedData, LeavesNoFileWhenARecordCannotBeWritten) {
    const std::string noRemove = "remove AcousticCalibration enabled data failed, errno 13";
    const std::string none = "-", noSpace = "fwrite(aud_ac.data) ENOSPC";
    const struct {
        const char* name;
        std::string faults;
        Lines log;
        std::string left;
    } cases[] = {
            {"read-only disk", "fopen(aud_ac.data) EROFS", {"fopen error"}, "kept"},
            {"no space", noSpace, {kNoWrite + "28"}, none},
            {"short write", "fwrite(aud_ac.data) short", {kNoWrite + "5"}, none},
            {"no space, nor permission",
             noSpace + "\nremove(aud_ac.data) EACCES",
             {kNoWrite + "28", noRemove},
             ""},
            {"full disk", kFullDisk, {kNoWrite + "28"}, none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false);
        tv.startWith("kept", c.faults);
        EXPECT_EQ(-1, tv.service->setCalibratedData({channel("FL"), channel("FR")}));
        tv.log.expect({D("[setCalibratedData] start"),
                       c.log.replaced("^", E("[setCalibratedData] ")),
                       D("[setCalibratedData] end")});
        EXPECT_EQ(c.left, tv.set.has(kTable) ? tv.set.read(kTable) : none);
    }
}

TEST(GetCalibratedData, DeliversTheRecordsOfAnIntactFileOnly) {
    const auto noRead = [](int error) { return "fread failed, errno " + to_string(error); };
    const std::string records = record("FL", 0, 1) + record("\200", 0, 2),
                      noSeek = "fseek failed, errno 29";
    const Lines delayed{"FL1.000000", "\2002.000000"}, undelayed{"FL0.000000", "\2000.000000"};
    // clang-format off
    const struct {
        const char* name;
        std::string file;
        const char* faults;
        std::string failure;  // without one, the list is delivered
        Lines list;
    } cases[] = {
            {"a byte", std::string(1, '\0'), "", "", {}},
            {"with delays", records + kDelays + kEnd, "", "", delayed},
            {"more around them", kDelays + kDelays + records + kEnd + "rest", "", "", delayed},
            {"delays behind the end", records + kEnd + kDelays, "", "", undelayed},
            {"empty", "", "", noRead(0), {}},
            {"no end", records, "", noRead(0), {}},
            {"no end behind the delays", records + kDelays, "", noRead(0), {}},
            {"part of a record", records + "\1", "", noRead(0), {}},
            {"one byte less", record("FL").substr(0, 139), "", noRead(0), {}},
            {"no permission", records + kEnd, "fopen(aud_ac.data) EACCES", "fopen failed, errno 13", {}},
            {"short read", records + kEnd, "fread(aud_ac.data) short", noRead(5), {}},
            {"no seek", records + kEnd, "fseek(aud_ac.data) ESPIPE", noSeek, {}},
            {"no seek from delays", kDelays + kEnd, "fseek(aud_ac.data) ESPIPE", noSeek, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false);
        tv.startWith(c.file, c.faults);
        EXPECT_EQ(c.list, stored(*tv.service));
        const std::string name = "[getCalibratedData] ";
        const Lines failed{E("[readCalibratedData] " + c.failure),
                           E(name + "end readCalibratedData failed"), D("delivered")};
        tv.log.expect({D(name + "start"),
                       c.failure.empty() ? Lines{D("delivered"), D(name + "end")} : failed});
    }
}

TEST(GetCalibratedData, GivesBackWhatWasStored) {
    Tv tv(false);
    calibratedData stored = channel("FL", -1.5, 2.5);
    for (int i = 0; i < 31; i++) stored.bands[i].gain = i * 0.25f - 4;
    EXPECT_EQ(0, tv.startWith("").setCalibratedData({stored}));
    for (auto& band : stored.bands) band = {"Parametric", 0, 0, band.gain};
    tv.log.take();
    tv.service->getCalibratedData([&](const hidl_vec<calibratedData>& list) {
        EXPECT_EQ(hidl_vec<calibratedData>{stored}, list);
        tv.log.expect({D("[getCalibratedData] start")});
    });
}

TEST(GetEnabled, IsTrueForTheOneAndNothingElse) {
    const std::string name = "[getEnabled] ";
    const struct {
        const char* name;
        std::string flag;
        const char* faults;
        bool isOn;
        std::string end;
    } cases[] = {{"on", kOn, "", true, D(name + "end Return: 1")},
                 {"off", kOff, "", false, D(name + "end Return: 0")},
                 {"2", "\2", "", false, D(name + "end Return: 0")},
                 {"255", "\xFF", "", false, D(name + "end Return: 0")},
                 {"empty", "", "", false, E(name + kNoRead + "0")},
                 {"unreadable", kOn, "fread(enabled) EIO", false, E(name + kNoRead + "5")},
                 {"no file", kOn, "fopen(enabled) ENOENT", false, E(name + "fopen error")}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false);
        tv.startWith("", c.faults);
        tv.set.write(kFlag, c.flag);
        EXPECT_EQ(c.isOn, tv.service->getEnabled());
        tv.log.expect({D(name + "start"), c.end});
    }
}

constexpr size_t kScalars = 19412, kFront = 22340, kCenter = 22468, kFrontHeight = 22852;

/** The shortest audio-quality file. Its words count up, except for some. */
std::string qualityFile(const std::vector<std::pair<size_t, uint32_t>>& words = {}) {
    std::string file(kFrontHeight + 128, '\xEE');
    uint32_t next = 0;
    for (size_t at = kScalars; at < kScalars + 196; at += 4) file.replace(at, 4, bytes(next++));
    for (size_t at = kFront; at < file.size(); at += 4) file.replace(at, 4, bytes(next++));
    for (const auto& [at, word] : words) file.replace(at, 4, bytes(word));
    return file;
}

/** The bands of a file whose words count up. */
hidl_vec<bandEqualizer> bandsFrom(uint32_t firstWord, float firstGain) {
    hidl_vec<bandEqualizer> bands;
    bands.resize(31);
    for (auto& band : bands) band = {"Parametric", 0, 0, float(firstWord++ * 0.1)};
    bands[0].gain = firstGain;
    return bands;
}

TEST(GetCalibrationParameters, ShapesTheTuningOfTheSet) {
    Tv tv(false);
    tv.startWith("");
    // clang-format off
    tv.set.write(kQuality, qualityFile({
            {kScalars, 0xFFFFFFFF}, {kScalars + 20, 0xA0000000}, {kScalars + 24, 0x80000000},
            {kScalars + 28, 0x90000000}, {kScalars + 32, uint32_t(-50)},
            {kScalars + 36, uint32_t(-20)}, {kScalars + 48, 0xB0000000},
            {kScalars + 52, uint32_t(-13)},
            {kScalars + 56, 0x02050AFF}, {kScalars + 60, 0xC8C8C8FF},
            {kScalars + 64, 0x00FF01FF}, {kScalars + 68, 0xFF000AFF},
            {kScalars + 72, uint32_t(-35)}, {kFront, 1}, {kFront + 4, uint32_t(-35)},
            {kCenter, 2}, {kFrontHeight, 1}}));
    const calibrationParameters expected{
            -1, 1, 2, 3, 4,
            268435456.0f, 214748364.8f, 241591910.4f, -2.0f, -5.0f, 10, 11, 295279001.6f, -1.3f,
            {{"Front", 20, 20000}, {"Center", 50, 20000}, {"Other", 100, 20000}},
            {{"Front", 0, 25500}, {"Center", 2550, 0}, {"Other", 10, 1000}},
            bandsFrom(18, 429496726.1f),
            {{"Front", true, bandsFrom(50, -3.5f)},
             {"Center", false, bandsFrom(82, 8.2f)},
             {"Surround", false, bandsFrom(114, 11.4f)},
             {"SurroundBack", false, bandsFrom(146, 14.6f)},
             {"FrontHeight", true, bandsFrom(178, 17.8f)}}};
    // clang-format on
    tv.service->getCalibrationParameters([&](const auto& params) {
        EXPECT_EQ(expected, params);
        tv.log.expect({D("[getCalibrationParameters] start")});
    });
    tv.log.expect({D("[getCalibrationParameters] end")});
}

TEST(GetCalibrationParameters, AreZeroWhenTheTuningCannotBeReadWhole) {
    const struct {
        const char* name;
        size_t size;
        const char *faults, *failure;
    } cases[] = {
            {"one byte less", kFrontHeight + 127, "", "fread failed, errno 0"},
            {"empty", 0, "", "fread failed, errno 0"},
            {"no file", kFrontHeight + 128, "fopen(aqda.bin) ENOENT", "fopen failed, errno 2"},
            {"no seek", kFrontHeight + 128, "fseek(aqda.bin) EINVAL", "fseek failed, errno 22"},
            {"short read", kFrontHeight + 128, "fread(aqda.bin) short", "fread failed, errno 5"}};
    Tv tv(false);
    tv.startWith("").getCalibrationParameters(
            [](const auto& params) { EXPECT_NE(0, params.param1); });
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(kQuality, qualityFile().substr(0, c.size));
        tv.set.write("faults", c.faults);
        tv.log.take();
        int answers = 0;
        tv.service->getCalibrationParameters([&](const calibrationParameters& params) {
            answers++;
            EXPECT_EQ(calibrationParameters{}, params);
        });
        EXPECT_EQ(1, answers);
        const std::string name = "[getCalibrationParameters] ";
        tv.log.expect({D(name + "start"), E(name + c.failure)});
    }
}

}  // namespace
