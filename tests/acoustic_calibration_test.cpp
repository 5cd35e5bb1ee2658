/* The room calibration as the platform meets it: starts, switching, and every failure. */

#include <gtest/gtest.h>

#include "host/tvset/virtual_clock/virtual_clock.h"
#include "tests/support/calibration_set.h"

using namespace calibration_set;
using namespace std::chrono_literals;

namespace {

std::string ready(int count = 0) {
    return "I AudioAC: <<<<<hidlaudio dtv_svc is ready !>>>>> count:" + to_string(count);
}
const std::string kTimeOut = E("[checkDtvSvcBoot] dtv_svc rpc server failed [TimeOut].");
const std::string kSkipped =
        E("[setEnabled] Skip to write enabled data, because calibration was fail.");
const Lines kNoHal{"E -: load audio interface failed", E("load audio interface failed")};

const Lines kDrivers{"DRV_Init() = 0", "MTAL_Init() = 0"};
const Lines kModel = kDrivers + Lines{"MTEEPROM_GetProperty() = 0", "MTEEPROM_Init() = 0",
                                      "MTEEPROM_Read(0x1001A, 1) = 0"};
std::string connect(int status = 0) {
    return "MTAL_InitExCb(0) = " + to_string(status);
}
std::string launch(int state, int status = 0) {
    return "MTDRVCUST_dcustom_cust_spec_get(0x20186, {id=21 len=1 data=0" + to_string(state) +
           "}, 264) = " + to_string(status);
}
std::string post(int answer, int status = 0) {
    return "MTAUDPOST_GetParameters(66, 1, " + to_string(answer) + ") = " + to_string(status);
}
std::string equalizer(const std::string& gain, int status = 0) {
    std::string all = "MTAUDDEC_Set32EqualizerBandConfig([";
    for (int i = 0; i < 31; i++) all += gain + ", ";
    return all + "0]) = " + to_string(status);
}
std::string volume(int offset, int status = 0) {
    return "MTAUDDEC_SetAcVolumeOffset(" + to_string(offset) + ") = " + to_string(status);
}
/** @param tail volume and delays. */
std::string block(const std::string& gain, const std::string& tail, int status = 0) {
    std::string all = "MTDRVCUST_dcustom_cust_spec_set(0x20185, {id=28 len=36 data=";
    for (int i = 0; i < 31; i++) all += gain;
    return all + tail + "}, 264, 0) = " + to_string(status);
}
std::string publish(const std::string& offset) {
    return "setParameters([0]{}, [1]{{.key = \"ac_offset\", .value = \"" + offset + "\"}}) = 0";
}

/** One calibration, and by model what is sent for it, and what for none. */
const std::string kGood = record("FL", -2.5, 10, 1.5) + record("FR", 0, 2.5) + kDelays + kEnd;
const Lines kSent[]{{post(1), equalizer("1.5"), volume(-25)},
                    {connect(), block("8f", "66e0017800")}};
const Lines kFlat[]{{post(1), equalizer("0"), volume(0)}, {connect(), block("80", "8000000000")}};
const Lines kOffset[]{{"12.000000", "9.500000"}, {"0.000000", "-2.500000"}};
const Lines kShownOffset[]{{"12.0", " 9.5"}, {" 0.0", "-2.5"}};

TEST(Start, RestoresWhatIsKeptOnBothModels) {
    const std::string name = "[getEnabledOnBoot] ", noFile = E(name + "fopen error");
    const auto end = [&](int result) { return D(name + "end Return: " + to_string(result)); };
    const std::string none = "-", path = "/data/vendor/zavo/hidlaudio/aud_ac_enabled.data";
    // clang-format off
    const struct {
        std::string flag, table, faults;
        Lines log;  // of looking at the flag and the table
        std::string flagAfterwards;
        bool isOn;
    } cases[] = {
            {kOn, kGood, "", {end(1)}, kOn, true},
            {kOff, kGood, "", {end(0)}, kOff, false},
            {"\2", kGood, "", {end(2)}, "\2", false},
            {none, kGood, "", {noFile, end(0)}, kOff, false},
            {kOn, none, "", {end(1), E("[readCalibratedData] fopen failed, errno 2")}, kOn, false},
            {"", kGood, "", {E(name + kNoRead + "0"), end(-1)}, "", false},
            {kOn, kGood, "fread(enabled) EIO", {E(name + kNoRead + "5"), end(-1)}, kOn, false},
            {none, none, "fwrite(enabled) ENOSPC",
             {noFile, E(name + kNoWrite + "28"), end(-1)}, "", false},
            {none, none, "fopen(enabled) EROFS",
             {noFile, E(name + "fopen filed, " + path + " failed, errno 30")}, none, false},
    };
    // clang-format on
    for (const int model : {0, 1}) {
        for (const auto& c : cases) {
            Tv tv(model);
            if (c.flag != none) tv.set.write(kFlag, c.flag);
            if (c.table != none) tv.set.write(kTable, c.table);
            tv.set.write("faults", c.faults);
            tv.service = new AcousticCalibration;

            const Lines before{D("[AcousticCalibration] start"), ready(), D(name + "start")};
            const Lines offset{D("[getAutoCalibOffset] offsetLevel:-2.5dB")};
            const Lines after{D("[AcousticCalibration] auto_calib_offset=" +
                                kShownOffset[model][c.isOn] + "dB"),
                              D("[AcousticCalibration] end")};
            tv.log.expect(before + c.log + Lines{ready()} + (c.isOn ? offset : Lines{}) + after);
            const Lines launched = model == 1 ? Lines{connect(), launch(1)} : Lines{};
            tv.set.expectJournal(kModel + launched + (c.isOn ? kSent : kFlat)[model] +
                                 Lines{publish(kOffset[model][c.isOn])});
            EXPECT_EQ(c.flagAfterwards, tv.set.has(kFlag) ? tv.set.read(kFlag) : none);
        }
    }
}

TEST(Start, WithoutAHalSendsNothingAndLooksAtNoFile) {
    Tv tv(true, /* hasHal */ false);
    tv.set.write(kTable, kGood);
    tv.service = new AcousticCalibration;
    tv.log.expect(Lines{D("[AcousticCalibration] start"), ready()} + kNoHal);
    tv.set.expectJournal(kModel + Lines{connect(), launch(1)});
    EXPECT_FALSE(tv.set.has(kFlag));

    // What is asked for later is sent all the same, and published to nobody.
    EXPECT_EQ(0, tv.service->setEnabled(true));
    tv.set.expectJournal(kSent[1]);
}

TEST(Start, PublishesTheOffsetAndKeepsTheFlagWhenTheSetRefusesTheCalibration) {
    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write(kTable, kGood);
    tv.set.write("faults", "MTDRVCUST_dcustom_cust_spec_set 7");
    tv.service = new AcousticCalibration;
    EXPECT_EQ(publish("-2.500000"), tv.set.takeJournal().back());
    EXPECT_TRUE(tv.service->getEnabled());
}

TEST(Start, FindsOutTheModelAndWaitsForTheBackEndController) {
    const std::string eeprom = "[isBeModel] Eeprom ", boot = "[checkBeCtrlBoot] ";
    const Lines launched{connect(), launch(1)}, property{"MTEEPROM_GetProperty() = 0"};
    // clang-format off
    const struct {
        std::string model;  // the last byte of the EEPROM, if it is there
        const char *launchAfter, *faults;
        Lines log, journal;
        std::chrono::milliseconds waited;
    } cases[] = {
            {kOff, "-1", "", {}, kModel, 0s},
            {kOn, "0", "", {}, kModel + launched, 0s},
            {"\xFF", "2", "", {},
             kModel + Lines{connect()} + Lines(2, launch(0)) + Lines{launch(1)}, 1s},
            {kOn, "30", "", {E(boot + "wait BeCtrl launch timeout.")},
             kModel + Lines{connect()} + Lines(30, launch(0)), 15s},
            {kOn, "0", "MTDRVCUST_dcustom_cust_spec_get -7",
             {E(boot + "MTDRVCUST_dcustom_cust_spec_get failed!!(-7)")},
             kModel + Lines{connect(), launch(0, -7)}, 0s},
            {kOn, "0", "MTAL_InitExCb 3", {E(boot + "AC MTAL_Init failed, ret = 3 ")},
             kModel + Lines{connect(3)}, 0s},
            // A set that does not tell counts as one with a back end.
            {kOff, "0", "MTAL_Init 4", {},
             Lines{"DRV_Init() = 0", "MTAL_Init() = 4"} + launched, 0s},
            {kOff, "0", "MTEEPROM_Init 5", {E(eeprom + "init fail.")},
             kDrivers + property + Lines{"MTEEPROM_Init() = 5"} + launched, 0s},
            {"", "0", "", {E(eeprom + "read fail.")},
             kDrivers + property + Lines{"MTEEPROM_Init() = 0", "MTEEPROM_Read(0x1001A, 1) = 1"} +
             launched, 0s},
    };
    // clang-format on
    for (const auto& c : cases) {
        Tv tv(false, /* hasHal */ false);
        tv.set.write("eeprom.bin", std::string(0x1001A, '\xEE') + c.model);
        tv.set.write("bectrl/launch_after", c.launchAfter);
        tv.set.write("faults", c.faults);
        const tvset::VirtualClock clock;
        tv.service = new AcousticCalibration;
        tv.log.expect(Lines{D("[AcousticCalibration] start"), ready()} + c.log + kNoHal);
        tv.set.expectJournal(c.journal);
        EXPECT_EQ(c.waited, clock.now());
    }
}

TEST(Start, WaitsTwentySecondsForTheMiddlewareAndTakesTheSetForOneWithABackEnd) {
    Tv tv(false, /* hasHal */ true, /* isReady */ false);
    tv.set.write(kFlag, kOff);
    tvset::VirtualClock clock;
    tv.service = new AcousticCalibration;
    tv.log.expect({D("[AcousticCalibration] start"), kTimeOut, D("[getEnabledOnBoot] start"),
                   D("[getEnabledOnBoot] end Return: 0"), kTimeOut,
                   E("[setCalibratedDataToBeCtrl] BECtrl Boot failed [TimeOut]."),
                   D("[AcousticCalibration] auto_calib_offset= 0.0dB"),
                   D("[AcousticCalibration] end")});
    tv.set.expectJournal({connect(), launch(1), publish("0.000000")});
    EXPECT_EQ(40s, clock.now());

    clock.after(1495ms, [&] { tv.set.write(kMarker, ""); });
    tv.service = new AcousticCalibration;
    EXPECT_EQ(ready(150), tv.log.take()[1]);
}

TEST(SetEnabled, KeepsOnlyWhatTheSetHasTakenWhole) {
    const std::string driver = "[setCalibratedDataToAudioDriver] ", flag = "[setEnabledData] ";
    const std::string be = "[setCalibratedDataToBeCtrl] ", post66 = "[checkCpupostReady] ";
    const Lines offset{D("[getAutoCalibOffset] offsetLevel:-2.5dB")}, skipped{kSkipped};
    // clang-format off
    const struct {
        int model;
        bool enable;
        const char* faults;
        Lines log, journal;  // of the sending
        int32_t result;
        bool isFlagLost = false;
    } cases[] = {
            {0, true, "", offset, kSent[0], 0},
            {1, true, "", offset, kSent[1], 0},
            {0, false, "", {}, kFlat[0], 0},
            {1, false, "", {}, kFlat[1], 0},
            {0, true, "MTAUDPOST_GetParameters -3",
             Lines{E(post66 + "MTAUDPOST_GetParameters failed!!(-3)")} + offset,
             {post(0, -3), equalizer("1.5"), volume(-25)}, 0},
            {0, true, "MTAUDDEC_Set32EqualizerBandConfig 4",
             Lines{E(driver + "MTAUDDEC_Set32EqualizerBandConfig failed. ret:4")} + offset +
             skipped,
             {post(1), equalizer("1.5", 4)}, 4},
            {0, true, "MTAUDDEC_SetAcVolumeOffset 5",
             Lines{E(driver + "MTAUDDEC_SetAcVolumeOffset failed. ret:5")} + offset + skipped,
             {post(1), equalizer("1.5"), volume(-25, 5), equalizer("0")}, 5},
            {1, true, "MTAL_InitExCb 6", Lines{E(be + "AC MTAL_Init failed, ret = 6 ")} + offset,
             {connect(6), block("8f", "66e0017800")}, 0},
            {1, false, "MTDRVCUST_dcustom_cust_spec_set({id=28) 7",
             Lines{E(be + "MTDRVCUST_dcustom_cust_spec_set failed!!(7)")} + skipped,
             {connect(), block("80", "8000000000", 7)}, 7},
            {1, true, "fopen(enabled) EROFS", offset + Lines{E(flag + "fopen error")}, kSent[1],
             -1},
            {0, false, "fwrite(enabled) ENOSPC", {E(flag + kNoWrite + "28")}, kFlat[0], -1, true},
    };
    // clang-format on
    for (const auto& c : cases) {
        Tv tv(c.model);
        tv.start(kGood, c.faults);
        const std::string kept = c.enable ? kOff : kOn, wanted = c.enable ? kOn : kOff;
        tv.set.write(kFlag, kept);
        EXPECT_EQ(c.result, tv.service->setEnabled(c.enable));
        const Lines before{D("[setEnabled] start enable:" + to_string(c.enable)), ready()};
        const Lines after{
                D("[setEnabled] auto_calib_offset=" + kShownOffset[c.model][c.enable] + "dB"),
                D("[setEnabled] end Return: " + to_string(c.result))};
        tv.log.expect(before + c.log + after);
        tv.set.expectJournal(c.journal + Lines{publish(kOffset[c.model][c.enable])});
        EXPECT_EQ(c.isFlagLost ? "" : c.result == 0 ? wanted : kept, tv.set.read(kFlag));
    }
}

TEST(SetEnabled, WithoutATableOrAMiddlewarePublishesTheOffsetAlone) {
    Tv tv(true);
    tv.start();
    tv.set.remove(kTable);
    EXPECT_EQ(-1, tv.service->setEnabled(true));
    tv.log.expect({D("[setEnabled] start enable:1"),
                   E("[readCalibratedData] fopen failed, errno 2"),
                   E("[setEnabled] end readCalibratedData failed"), kSkipped,
                   D("[setEnabled] auto_calib_offset= 0.0dB"), D("[setEnabled] end Return: -1")});
    tv.set.expectJournal({publish("0.000000")});
    EXPECT_EQ(kOff, tv.set.read(kFlag));

    Tv plain(false);
    plain.start(kGood);
    plain.set.remove(kMarker);
    const tvset::VirtualClock clock;
    EXPECT_EQ(-1, plain.service->setEnabled(true));
    EXPECT_EQ(E("[setCalibratedDataToAudioDriver] AQCtrl Boot failed [TimeOut]."),
              plain.log.take()[2]);
    plain.set.expectJournal({publish("9.500000")});
    EXPECT_EQ(kOff, plain.set.read(kFlag));
}

TEST(SetEnabled, SendsEvenIfThePostProcessorIsNotReadyAfterTenSeconds) {
    for (const auto& [limit, asked, waited] : {std::tuple("3", 3, 600ms), {"-1", 50, 10000ms}}) {
        Tv tv(false);
        tv.start();
        tv.set.write("audio/cpupost_ready_after", limit);
        const tvset::VirtualClock clock;
        EXPECT_EQ(0, tv.service->setEnabled(false));
        EXPECT_EQ(waited, clock.now());
        const bool isReady = waited < 10s;
        tv.set.expectJournal(Lines(asked, post(0)) + Lines(isReady, post(1)) +
                             Lines({equalizer("0"), volume(0), publish("12.000000")}));
        EXPECT_EQ(isReady,
                  tv.log.take()[2] != E("[checkCpupostReady] wait cpupost Ready timeout."));
    }
}

TEST(SetEnabled, EncodesTheValuesForEitherWay) {
    const Lines flat = {equalizer("0"), volume(0)};
    std::string nine;
    for (int i = 0; i < 9; i++) nine += record("C" + to_string(i), 1, 1, 1);
    // clang-format off
    const struct {
        std::string records, gain, tail;  // the back-end controller's gains, volume and delays
        Lines driver;
    } cases[] = {
            {"", "80", "8000000000", flat},
            {record("FL", -3.25, 2.5), "80", "5f78000000", {equalizer("0"), volume(-33)}},
            {record("FL", 0.25, 0, -0.25), "7d", "8300000000", {equalizer("-0.25"), volume(3)}},
            {record("FL", -9, 10, 9), "da", "25e0010000", {equalizer("9"), volume(-90)}},
            {record("FL", 9, 0.01f, -9), "25", "da00000000", {equalizer("-9"), volume(90)}},
            {record("FL", -0.f, 2.5f / 48, 0.35f), "84", "8003000000",
             {equalizer("0.35"), volume(0)}},
            {record("FR", -9, 10, 9), "80", "800000e001", flat},
            {record("FLX", 1) + record("fl", 1) + record("F", 1), "80", "8000000000", flat},
            // The first counts on one way, the last on the other.
            {record("FL", 1, 1, 1) + record("FR") + record("FL", 2, 0, 2) + record("FR", 0, 3),
             "94", "9400009000", {equalizer("1"), volume(10)}},
            {nine.substr(140) + record("FL", 2, 0, 1), "8a", "9400000000",
             {equalizer("1"), volume(20)}},
            {nine + record("FL", 2, 0, 1), "80", "8000000000", flat},
            // Not a number: no correction. Beyond what fits: the low bits.
            {record("FL", kNan, kNan, kNan), "80", "8000000000", {equalizer("nan"), volume(0)}},
            {record("FL", 100, 1000, -20), "b8", "6880bb0000", {equalizer("-20"), volume(-24)}},
            {record("FL", kInfinity, -kInfinity, 3e38f), "ff", "ff00000000",
             {equalizer("3e+38"), volume(-1)}},
    };
    // clang-format on
    for (const auto& c : cases) {
        for (const int model : {0, 1}) {
            Tv tv(model);
            EXPECT_EQ(0, tv.start(c.records + kDelays + kEnd).setEnabled(true));
            Lines journal = tv.set.takeJournal();
            journal.pop_back();  // the offset
            const Lines be{connect(), block(c.gain, c.tail)};
            EXPECT_EQ(model == 0 ? Lines{post(1)} + c.driver : be, journal);
        }
    }
}

}  // namespace
