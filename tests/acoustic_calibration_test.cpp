/* The room calibration on the platform: starts, switching, and every failure. */

#include "tests/support/calibration_set.h"
#include "tests/support/exclusion.h"
#include "tests/support/transcript.h"

using namespace calibration_set;

namespace {

const std::string kNone = "-";  // no file
const std::string kModels[]{", plain", ", back end"};
const std::string kGood = record("FL", -2.5, 10, 1.5) + record("FR", 0, 2.5) + kDelays + kEnd;
const Transcript kTranscript("acoustic_calibration.txt");

TEST(Start, RestoresWhatIsKeptOnBothModels) {
    const struct {
        std::string name, flag, table, faults, flagAfterwards;
    } cases[] = {
            {"start, on", kOn, kGood, "", kOn},
            {"start, off", kOff, kGood, "", kOff},
            {"start, flag of 2", "\2", kGood, "", "\2"},
            {"start, no flag", kNone, kGood, "", kOff},
            {"start, no table", kOn, kNone, "", kOn},
            {"start, empty flag", "", kGood, "", ""},
            {"start, flag unreadable", kOn, kGood, "fread(enabled) EIO", kOn},
            {"start, full disk", kNone, kNone, "fwrite(enabled) ENOSPC", ""},
            {"start, read-only disk", kNone, kNone, "fopen(enabled) EROFS", kNone},
    };
    for (const int model : {0, 1}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(c.name);
            Tv tv(model);
            if (c.flag != kNone) tv.set.write(kFlag, c.flag);
            if (c.table != kNone) tv.set.write(kTable, c.table);
            tv.start(c.faults);
            kTranscript.expect(c.name + kModels[model], tv);
            EXPECT_EQ(c.flagAfterwards, tv.set.has(kFlag) ? tv.set.read(kFlag) : kNone);
        }
    }
}

TEST(Start, WithoutAHalSendsNothingAndReadsNoFile) {
    Tv tv(true, /* hasHal */ false);
    tv.set.write(kTable, kGood);
    tv.start();
    kTranscript.expect("start, no HAL", tv);
    EXPECT_FALSE(tv.set.has(kFlag));

    // Later settings are still sent, but not published.
    EXPECT_EQ(0, tv.service->setEnabled(true));
    kTranscript.expect("on, no HAL", tv);
}

TEST(Start, PublishesTheOffsetAndKeepsTheFlagWhenTheSetRefusesTheCalibration) {
    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write(kTable, kGood);
    tv.start("MTDRVCUST_dcustom_cust_spec_set 7");
    kTranscript.expect("start, calibration refused", tv);
    EXPECT_TRUE(tv.service->getEnabled());
}

TEST(Start, DetectsTheModelAndWaitsForTheBackEndController) {
    const struct {
        const char* name;
        std::string model;  // the last byte of the EEPROM, if it is there
        const char *launchAfter, *faults;
        std::chrono::milliseconds waited;
    } cases[] = {
            {"model, plain", kOff, "-1", "", 0s},
            {"model, back end", kOn, "0", "", 0s},
            {"model, late controller", "\xFF", "2", "", 1s},
            {"model, controller too late", kOn, "30", "", 15s},
            {"model, no answer", kOn, "0", "MTDRVCUST_dcustom_cust_spec_get -7", 0s},
            {"model, no connection", kOn, "0", "MTAL_InitExCb 3", 0s},
            // A set that does not tell counts as one with a back end.
            {"model, no drivers", kOff, "0", "MTAL_Init 4", 0s},
            {"model, no EEPROM", kOff, "0", "MTEEPROM_Init 5", 0s},
            {"model, no byte", "", "0", "", 0s},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false, /* hasHal */ false);
        tv.set.write("eeprom.bin", std::string(0x1001A, '\xEE') + c.model);
        tv.set.write("bectrl/launch_after", c.launchAfter);
        tv.start(c.faults);
        kTranscript.expect(c.name, tv);
        EXPECT_EQ(c.waited, tv.clock.now());
    }
}

TEST(Start, WaitsTwentySecondsForTheMiddlewareAndTakesTheSetForOneWithABackEnd) {
    Tv tv(false, /* hasHal */ true, /* isReady */ false);
    tv.set.write(kFlag, kOff);
    tv.start();
    kTranscript.expect("start, no middleware", tv);
    EXPECT_EQ(40s, tv.clock.now());

    tv.clock.after(1495ms, [&] { tv.set.write(kMarker, ""); });
    tv.start();
    kTranscript.expect("start, middleware comes", tv);
    EXPECT_EQ(41500ms, tv.clock.now());
}

TEST(SetEnabled, KeepsOnlyWhatTheSetHasTakenWhole) {
    const struct {
        const char* name;
        int model;
        bool enable;
        const char* faults;
        int32_t result;
        bool isFlagLost = false;
    } cases[] = {
            {"on, plain", 0, true, "", 0},
            {"on, back end", 1, true, "", 0},
            {"off, plain", 0, false, "", 0},
            {"off, back end", 1, false, "", 0},
            {"no post-processor", 0, true, "MTAUDPOST_GetParameters -3", 0},
            {"equalizer refused", 0, true, "MTAUDDEC_Set32EqualizerBandConfig 4", 4},
            {"volume refused", 0, true, "MTAUDDEC_SetAcVolumeOffset 5", 5},
            {"no connection", 1, true, "MTAL_InitExCb 6", 0},
            {"block refused", 1, false, "MTDRVCUST_dcustom_cust_spec_set({id=28) 7", 7},
            {"read-only disk", 1, true, "fopen(enabled) EROFS", -1},
            {"full disk", 0, false, "fwrite(enabled) ENOSPC", -1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(c.model);
        tv.startWith(kGood, c.faults);
        const std::string kept = c.enable ? kOff : kOn, wanted = c.enable ? kOn : kOff;
        tv.set.write(kFlag, kept);
        EXPECT_EQ(c.result, tv.service->setEnabled(c.enable));
        kTranscript.expect(c.name, tv);
        EXPECT_EQ(c.isFlagLost ? "" : c.result == 0 ? wanted : kept, tv.set.read(kFlag));
    }
}

TEST(SetEnabled, WithoutATableOrTheMiddlewarePublishesTheOffsetAlone) {
    for (const auto& [name, model, missing] :
         {std::tuple("on, no table", true, kTable), {"on, no middleware", false, kMarker}}) {
        SCOPED_TRACE(name);
        Tv tv(model);
        tv.startWith(kGood);
        tv.set.remove(missing);
        EXPECT_EQ(-1, tv.service->setEnabled(true));
        kTranscript.expect(name, tv);
        EXPECT_EQ(kOff, tv.set.read(kFlag));
    }
}

TEST(SetEnabled, SendsEvenIfThePostProcessorIsNotReadyAfterTenSeconds) {
    for (const auto& [name, limit, waited] : {std::tuple("post-processor is late", "3", 600ms),
                                              {"post-processor is never ready", "-1", 10000ms}}) {
        SCOPED_TRACE(name);
        Tv tv(false);
        tv.startWith("");
        tv.set.write("audio/cpupost_ready_after", limit);
        EXPECT_EQ(0, tv.service->setEnabled(false));
        EXPECT_EQ(waited, tv.clock.now());
        kTranscript.expect(name, tv);
    }
}

TEST(SetEnabled, EncodesTheValuesForEitherWay) {
    std::string nine;
    for (int i = 0; i < 9; i++) nine += record("C" + to_string(i), 1, 1, 1);
    const std::string other = record("FLX", 1) + record("fl", 1) + record("F", 1);
    const std::string twice =
            record("FL", 1, 1, 1) + record("FR") + record("FL", 2, 0, 2) + record("FR", 0, 3);
    const std::pair<std::string, std::string> cases[] = {
            {"empty table", ""},
            {"volume and delay", record("FL", -3.25, 2.5)},
            {"quarters", record("FL", 0.25, 0, -0.25)},
            {"one end", record("FL", -9, 10, 9)},
            {"the other end", record("FL", 9, 0.01f, -9)},
            {"rounding", record("FL", -0.f, 2.5f / 48, 0.35f)},
            {"right channel", record("FR", -9, 10, 9)},
            {"other names", other},
            {"first for the driver, last for the controller", twice},
            {"the ninth", nine.substr(140) + record("FL", 2, 0, 1)},
            {"the tenth is not looked at", nine + record("FL", 2, 0, 1)},
            {"not a number: no correction", record("FL", kNan, kNan, kNan)},
            {"beyond what fits: the low bits", record("FL", 100, 1000, -20)},
            {"infinity", record("FL", kInfinity, -kInfinity, 3e38f)},
    };
    for (const auto& [name, records] : cases) {
        SCOPED_TRACE(name);
        Lines sent;
        for (const int model : {0, 1}) {
            Tv tv(model);
            EXPECT_EQ(0, tv.startWith(records + kDelays + kEnd).setEnabled(true));
            sent = {sent, tv.set.takeJournal().only("^(MT|setP)")};
        }
        kTranscript.expectLines(name, sent);
    }
}

TEST(Locks, LetOneCallAtATimeUseAFile) {
    using Call = void (*)(AcousticCalibration&);
    const Call readFlag = [](auto& service) { service.getEnabled(); };
    const Call writeFlag = [](auto& service) { service.setEnabled(false); };
    const Call readTable = [](auto& service) { service.getCalibratedData([](const auto&) {}); };
    const Call writeTable = [](auto& service) { service.setCalibratedData({}); };
    const struct {
        const char *name, *faults, *line;  // of the first call, which then waits for the second
        Call first, second;
    } cases[] = {
            {"two reads of the flag", "", "[getEnabled] start", readFlag, readFlag},
            {"flag read and written", "", "[getEnabled] start", readFlag, writeFlag},
            {"flag written and read", "fopen(enabled) EROFS", "fopen error", writeFlag, readFlag},
            {"table read and written", "fopen(aud_ac.data) EIO", "fopen", readTable, writeTable},
            {"table written and read", "fopen(aud_ac.data) EIO", "fopen", writeTable, readTable},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv(false);
        tv.startWith("", c.faults);
        expectExclusion(
                c.line, [&] { c.first(*tv.service); }, [&] { c.second(*tv.service); });
    }
}

}  // namespace
