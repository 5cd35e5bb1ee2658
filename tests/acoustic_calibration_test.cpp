/* The room calibration as the platform meets it: starts, switching, and every failure. */

#include "tests/support/calibration_set.h"

using namespace calibration_set;

namespace {

std::string ready(int count = 0) {
    return "I AudioAC: <<<<<hidlaudio dtv_svc is ready !>>>>> count:" + to_string(count);
}
const std::string kTimeOut = E("[checkDtvSvcBoot] dtv_svc rpc server failed [TimeOut].");
const std::string kSkipped =
        E("[setEnabled] Skip to write enabled data, because calibration was fail.");
const Lines kNoHal{"E -: load audio interface failed", E("load audio interface failed")};

const Lines kDrivers{"DRV_Init() = 0", "MTAL_Init() = 0"};
const Lines kModel{kDrivers, "MTEEPROM_GetProperty() = 0", "MTEEPROM_Init() = 0",
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

const std::string kBoot = "[getEnabledOnBoot] ", kNoFlag = E(kBoot + "fopen error");
const std::string kNone = "-";  // no file
std::string bootEnd(int result) {
    return D(kBoot + "end Return: " + to_string(result));
}

// clang-format off
const struct {
    const char* name;
    std::string flag, table, faults;
    Lines log;  // of looking at the flag and the table
    std::string flagAfterwards;
    bool isOn;
} kRestores[] = {
        {"on", kOn, kGood, "", {bootEnd(1)}, kOn, true},
        {"off", kOff, kGood, "", {bootEnd(0)}, kOff, false},
        {"flag of 2", "\2", kGood, "", {bootEnd(2)}, "\2", false},
        {"no flag", kNone, kGood, "", {kNoFlag, bootEnd(0)}, kOff, false},
        {"no table", kOn, kNone, "",
         {bootEnd(1), E("[readCalibratedData] fopen failed, errno 2")}, kOn, false},
        {"empty flag", "", kGood, "", {E(kBoot + kNoRead + "0"), bootEnd(-1)}, "", false},
        {"flag unreadable", kOn, kGood, "fread(enabled) EIO",
         {E(kBoot + kNoRead + "5"), bootEnd(-1)}, kOn, false},
        {"full disk", kNone, kNone, "fwrite(enabled) ENOSPC",
         {kNoFlag, E(kBoot + kNoWrite + "28"), bootEnd(-1)}, "", false},
        {"read-only disk", kNone, kNone, "fopen(enabled) EROFS",
         {kNoFlag, E(kBoot + "fopen filed, /data/vendor/zavo/hidlaudio/aud_ac_enabled.data "
                     "failed, errno 30")}, kNone, false},
};
// clang-format on

TEST(Start, RestoresWhatIsKeptOnBothModels) {
    for (const int model : {0, 1}) {
        for (const auto& c : kRestores) {
            SCOPED_TRACE(c.name + to_string(model));
            Tv tv(model);
            if (c.flag != kNone) tv.set.write(kFlag, c.flag);
            if (c.table != kNone) tv.set.write(kTable, c.table);
            tv.start(c.faults);
            const Lines offset(c.isOn, D("[getAutoCalibOffset] offsetLevel:-2.5dB"));
            tv.log.expect({D("[AcousticCalibration] start"), ready(), D(kBoot + "start"), c.log,
                           ready(), offset,
                           D("[AcousticCalibration] auto_calib_offset=" +
                             kShownOffset[model][c.isOn] + "dB"),
                           D("[AcousticCalibration] end")});
            tv.set.expectJournal({kModel, model == 1 ? Lines{connect(), launch(1)} : Lines{},
                                  (c.isOn ? kSent : kFlat)[model],
                                  publish(kOffset[model][c.isOn])});
            EXPECT_EQ(c.flagAfterwards, tv.set.has(kFlag) ? tv.set.read(kFlag) : kNone);
        }
    }
}

TEST(Start, WithoutAHalSendsNothingAndLooksAtNoFile) {
    Tv tv(true, /* hasHal */ false);
    tv.set.write(kTable, kGood);
    tv.start();
    tv.log.expect({D("[AcousticCalibration] start"), ready(), kNoHal});
    tv.set.expectJournal({kModel, connect(), launch(1)});
    EXPECT_FALSE(tv.set.has(kFlag));

    // What is asked for later is sent all the same, and published to nobody.
    EXPECT_EQ(0, tv.service->setEnabled(true));
    tv.set.expectJournal(kSent[1]);
}

TEST(Start, PublishesTheOffsetAndKeepsTheFlagWhenTheSetRefusesTheCalibration) {
    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write(kTable, kGood);
    tv.start("MTDRVCUST_dcustom_cust_spec_set 7");
    tv.set.expectJournal({kModel, connect(), launch(1), connect(), block("8f", "66e0017800", 7),
                          publish("-2.500000")});
    EXPECT_TRUE(tv.service->getEnabled());
}

TEST(Start, FindsOutTheModelAndWaitsForTheBackEndController) {
    const std::string eeprom = "[isBeModel] Eeprom ", boot = "[checkBeCtrlBoot] ";
    const Lines launched{connect(), launch(1)}, property{kDrivers, "MTEEPROM_GetProperty() = 0"};
    // clang-format off
    const struct {
        const char* name;
        std::string model;  // the last byte of the EEPROM, if it is there
        const char *launchAfter, *faults;
        Lines log, journal;
        std::chrono::milliseconds waited;
    } cases[] = {
            {"plain", kOff, "-1", "", {}, kModel, 0s},
            {"back end", kOn, "0", "", {}, {kModel, launched}, 0s},
            {"late controller", "\xFF", "2", "", {},
             {kModel, connect(), Lines(2, launch(0)), launch(1)}, 1s},
            {"controller too late", kOn, "30", "", {E(boot + "wait BeCtrl launch timeout.")},
             {kModel, connect(), Lines(30, launch(0))}, 15s},
            {"no answer", kOn, "0", "MTDRVCUST_dcustom_cust_spec_get -7",
             {E(boot + "MTDRVCUST_dcustom_cust_spec_get failed!!(-7)")},
             {kModel, connect(), launch(0, -7)}, 0s},
            {"no connection", kOn, "0", "MTAL_InitExCb 3",
             {E(boot + "AC MTAL_Init failed, ret = 3 ")}, {kModel, connect(3)}, 0s},
            // A set that does not tell counts as one with a back end.
            {"no drivers", kOff, "0", "MTAL_Init 4", {},
             {"DRV_Init() = 0", "MTAL_Init() = 4", launched}, 0s},
            {"no EEPROM", kOff, "0", "MTEEPROM_Init 5", {E(eeprom + "init fail.")},
             {property, "MTEEPROM_Init() = 5", launched}, 0s},
            {"no model byte", "", "0", "", {E(eeprom + "read fail.")},
             {property, "MTEEPROM_Init() = 0", "MTEEPROM_Read(0x1001A, 1) = 1", launched}, 0s},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false, /* hasHal */ false);
        tv.set.write("eeprom.bin", std::string(0x1001A, '\xEE') + c.model);
        tv.set.write("bectrl/launch_after", c.launchAfter);
        tv.start(c.faults);
        tv.log.expect({D("[AcousticCalibration] start"), ready(), c.log, kNoHal});
        tv.set.expectJournal(c.journal);
        EXPECT_EQ(c.waited, tv.clock.now());
    }
}

TEST(Start, WaitsTwentySecondsForTheMiddlewareAndTakesTheSetForOneWithABackEnd) {
    Tv tv(false, /* hasHal */ true, /* isReady */ false);
    tv.set.write(kFlag, kOff);
    tv.start();
    tv.log.expect({D("[AcousticCalibration] start"), kTimeOut, D(kBoot + "start"), bootEnd(0),
                   kTimeOut, E("[setCalibratedDataToBeCtrl] BECtrl Boot failed [TimeOut]."),
                   D("[AcousticCalibration] auto_calib_offset= 0.0dB"),
                   D("[AcousticCalibration] end")});
    tv.set.expectJournal({connect(), launch(1), publish("0.000000")});
    EXPECT_EQ(40s, tv.clock.now());

    tv.clock.at(1495ms, [&] { tv.set.write(kMarker, ""); });
    tv.start();
    EXPECT_EQ((Lines{ready(150), ready()}), tv.log.take().only("is ready"));
}

const std::string kDriver = "[setCalibratedDataToAudioDriver] ", kFlagData = "[setEnabledData] ";
const std::string kBeCtrl = "[setCalibratedDataToBeCtrl] ";
const std::string kOffsetLine = D("[getAutoCalibOffset] offsetLevel:-2.5dB");

// clang-format off
const struct {
    const char* name;
    int model;
    bool enable;
    const char* faults;
    Lines log, journal;  // of the sending
    int32_t result;
    bool isFlagLost = false;
} kSwitches[] = {
        {"plain, on", 0, true, "", {kOffsetLine}, kSent[0], 0},
        {"back end, on", 1, true, "", {kOffsetLine}, kSent[1], 0},
        {"plain, off", 0, false, "", {}, kFlat[0], 0},
        {"back end, off", 1, false, "", {}, kFlat[1], 0},
        {"no post-processor", 0, true, "MTAUDPOST_GetParameters -3",
         {E("[checkCpupostReady] MTAUDPOST_GetParameters failed!!(-3)"), kOffsetLine},
         {post(0, -3), equalizer("1.5"), volume(-25)}, 0},
        {"equalizer refused", 0, true, "MTAUDDEC_Set32EqualizerBandConfig 4",
         {E(kDriver + "MTAUDDEC_Set32EqualizerBandConfig failed. ret:4"), kOffsetLine, kSkipped},
         {post(1), equalizer("1.5", 4)}, 4},
        {"volume refused", 0, true, "MTAUDDEC_SetAcVolumeOffset 5",
         {E(kDriver + "MTAUDDEC_SetAcVolumeOffset failed. ret:5"), kOffsetLine, kSkipped},
         {post(1), equalizer("1.5"), volume(-25, 5), equalizer("0")}, 5},
        {"no connection", 1, true, "MTAL_InitExCb 6",
         {E(kBeCtrl + "AC MTAL_Init failed, ret = 6 "), kOffsetLine},
         {connect(6), block("8f", "66e0017800")}, 0},
        {"block refused", 1, false, "MTDRVCUST_dcustom_cust_spec_set({id=28) 7",
         {E(kBeCtrl + "MTDRVCUST_dcustom_cust_spec_set failed!!(7)"), kSkipped},
         {connect(), block("80", "8000000000", 7)}, 7},
        {"read-only disk", 1, true, "fopen(enabled) EROFS",
         {kOffsetLine, E(kFlagData + "fopen error")}, kSent[1], -1},
        {"full disk", 0, false, "fwrite(enabled) ENOSPC", {E(kFlagData + kNoWrite + "28")},
         kFlat[0], -1, true},
};
// clang-format on

TEST(SetEnabled, KeepsOnlyWhatTheSetHasTakenWhole) {
    for (const auto& c : kSwitches) {
        SCOPED_TRACE(c.name);
        Tv tv(c.model);
        tv.startWith(kGood, c.faults);
        const std::string kept = c.enable ? kOff : kOn, wanted = c.enable ? kOn : kOff;
        tv.set.write(kFlag, kept);
        EXPECT_EQ(c.result, tv.service->setEnabled(c.enable));
        tv.log.expect(
                {D("[setEnabled] start enable:" + to_string(c.enable)), ready(), c.log,
                 D("[setEnabled] auto_calib_offset=" + kShownOffset[c.model][c.enable] + "dB"),
                 D("[setEnabled] end Return: " + to_string(c.result))});
        tv.set.expectJournal({c.journal, publish(kOffset[c.model][c.enable])});
        EXPECT_EQ(c.isFlagLost ? "" : c.result == 0 ? wanted : kept, tv.set.read(kFlag));
    }
}

TEST(SetEnabled, WithoutATablePublishesTheOffsetAlone) {
    Tv tv(true);
    tv.startWith("");
    tv.set.remove(kTable);
    EXPECT_EQ(-1, tv.service->setEnabled(true));
    tv.log.expect({D("[setEnabled] start enable:1"),
                   E("[readCalibratedData] fopen failed, errno 2"),
                   E("[setEnabled] end readCalibratedData failed"), kSkipped,
                   D("[setEnabled] auto_calib_offset= 0.0dB"), D("[setEnabled] end Return: -1")});
    tv.set.expectJournal({publish("0.000000")});
    EXPECT_EQ(kOff, tv.set.read(kFlag));
}

TEST(SetEnabled, WithoutTheMiddlewarePublishesTheOffsetAlone) {
    Tv tv(false);
    tv.startWith(kGood);
    tv.set.remove(kMarker);
    EXPECT_EQ(-1, tv.service->setEnabled(true));
    tv.log.expect({D("[setEnabled] start enable:1"), kTimeOut,
                   E(kDriver + "AQCtrl Boot failed [TimeOut]."), kOffsetLine, kSkipped,
                   D("[setEnabled] auto_calib_offset= 9.5dB"), D("[setEnabled] end Return: -1")});
    tv.set.expectJournal({publish("9.500000")});
    EXPECT_EQ(kOff, tv.set.read(kFlag));
}

TEST(SetEnabled, SendsEvenIfThePostProcessorIsNotReadyAfterTenSeconds) {
    for (const auto& [limit, asked, waited] : {std::tuple("3", 3, 600ms), {"-1", 50, 10000ms}}) {
        SCOPED_TRACE(limit);
        Tv tv(false);
        tv.startWith("");
        tv.set.write("audio/cpupost_ready_after", limit);
        EXPECT_EQ(0, tv.service->setEnabled(false));
        EXPECT_EQ(waited, tv.clock.now());
        const bool isReady = waited < 10s;
        tv.set.expectJournal({Lines(asked, post(0)), Lines(isReady, post(1)), equalizer("0"),
                              volume(0), publish("12.000000")});
        tv.log.expect({D("[setEnabled] start enable:0"), ready(),
                       Lines(!isReady, E("[checkCpupostReady] wait cpupost Ready timeout.")),
                       D("[setEnabled] auto_calib_offset=12.0dB"),
                       D("[setEnabled] end Return: 0")});
    }
}

std::string nineOthers() {
    std::string all;
    for (int i = 0; i < 9; i++) all += record("C" + to_string(i), 1, 1, 1);
    return all;
}
const Lines kNoChange{equalizer("0"), volume(0)};

// clang-format off
const struct {
    const char* name;
    std::string records, gain, tail;  // the back-end controller's gains, volume and delays
    Lines driver;
} kEncodings[] = {
        {"empty table", "", "80", "8000000000", kNoChange},
        {"volume and delay", record("FL", -3.25, 2.5), "80", "5f78000000",
         {equalizer("0"), volume(-33)}},
        {"quarters", record("FL", 0.25, 0, -0.25), "7d", "8300000000",
         {equalizer("-0.25"), volume(3)}},
        {"one end", record("FL", -9, 10, 9), "da", "25e0010000", {equalizer("9"), volume(-90)}},
        {"the other end", record("FL", 9, 0.01f, -9), "25", "da00000000",
         {equalizer("-9"), volume(90)}},
        {"rounding", record("FL", -0.f, 2.5f / 48, 0.35f), "84", "8003000000",
         {equalizer("0.35"), volume(0)}},
        {"right channel", record("FR", -9, 10, 9), "80", "800000e001", kNoChange},
        {"other names", record("FLX", 1) + record("fl", 1) + record("F", 1), "80", "8000000000",
         kNoChange},
        {"twice: first for the driver, last for the controller",
         record("FL", 1, 1, 1) + record("FR") + record("FL", 2, 0, 2) + record("FR", 0, 3),
         "94", "9400009000", {equalizer("1"), volume(10)}},
        {"the ninth", nineOthers().substr(140) + record("FL", 2, 0, 1), "8a", "9400000000",
         {equalizer("1"), volume(20)}},
        {"the tenth", nineOthers() + record("FL", 2, 0, 1), "80", "8000000000", kNoChange},
        {"not a number: no correction", record("FL", kNan, kNan, kNan), "80", "8000000000",
         {equalizer("nan"), volume(0)}},
        {"beyond what fits: the low bits", record("FL", 100, 1000, -20), "b8", "6880bb0000",
         {equalizer("-20"), volume(-24)}},
        {"infinity", record("FL", kInfinity, -kInfinity, 3e38f), "ff", "ff00000000",
         {equalizer("3e+38"), volume(-1)}},
};
// clang-format on

TEST(SetEnabled, EncodesTheValuesForEitherWay) {
    for (const auto& c : kEncodings) {
        for (const int model : {0, 1}) {
            SCOPED_TRACE(c.name + to_string(model));
            Tv tv(model);
            EXPECT_EQ(0, tv.startWith(c.records + kDelays + kEnd).setEnabled(true));
            const Lines sent[]{{post(1), c.driver}, {connect(), block(c.gain, c.tail)}};
            EXPECT_EQ(sent[model], tv.set.takeJournal().only("^MT"));
        }
    }
}

}  // namespace
