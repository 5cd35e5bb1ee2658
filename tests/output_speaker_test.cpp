/* The TV's own speakers: surround type, and position with and without a primary audio HAL. */

#include "V3_1/OutputSpeaker.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/program.h"
#include "tests/support/tv.h"

using namespace platform;
using V3_1::implementation::OutputSpeaker;

namespace {

constexpr char kPosition[] = "config/g_audio__tv_position";
const std::string kOpened = "openPrimaryDevice() = 0";
const std::string kTableTop = "setParameters([], [{\"tv_position\", \"table_top\"}]) = ";
const std::string kWallMount = "setParameters([], [{\"tv_position\", \"wall_mount\"}]) = ";

const std::string kStore = "a_mtktvapi_config_set_value(-1, \"g_audio__tv_position\", ";
const std::string kFind = "a_mtktvapi_config_get_value(-1, \"g_audio__tv_position\", ";
const std::string kDebug = "D AudioOutSp: ";
const std::string kError = "E AudioOutSp: ";
const std::string kRead = kDebug + "get tv position:";
const std::string kEnd = kDebug + "[OutputSpeaker] end";
const std::string kNoHal = kError + "load audio interface failed";

struct Tv : TvWith<OutputSpeaker, RealTime> {
    /** Starts a service, which does this after it has connected to the middleware. */
    void expectStart(const std::string& faults, const Lines& expectedLog,
                     const Lines& expectedJournal) {
        log.take();
        start(faults);
        log.expect({kDebug + "[OutputSpeaker] start", kDebug + "OutputSpeaker mtal open success",
                    expectedLog});
        set.expectJournal({"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0", expectedJournal});
    }
    void setPosition(int type, int status, const Lines& expectedJournal) {
        EXPECT_EQ(status, service->setTvPosition(type));
        set.expectJournal(expectedJournal);
    }
};

TEST(OutputSpeaker, StartPassesTheStoredPositionToADeviceOpenedOnce) {
    const std::string illegal = "a_mtktvapi_config_get_value:Illigal value = ";
    const std::string unreadable = "a_mtktvapi_config_get_value failed:ret = 9";
    const struct {
        const char* name;
        int position;
        const char* faults;
        Lines log, journal;
    } cases[] = {
            {"table top", 0, "", {kRead + "0", kEnd}, {kOpened, kFind + "0) = 0", kTableTop + "0"}},
            {"wall mount", 1, "", {kRead + "1", kEnd}, {kFind + "1) = 0", kWallMount + "0"}},
            {"refused",
             1,
             "setParameters 3",
             {kRead + "1", kEnd},
             {kFind + "1) = 0", kWallMount + "3"}},
            {"illegal", 2, "", {kRead + "2", kError + illegal + "2", kEnd}, {kFind + "2) = 0"}},
            {"negative",
             -1,
             "",
             {kRead + "-1", kError + illegal + "-1", kEnd},
             {kFind + "-1) = 0"}},
            {"unreadable",
             1,
             "a_mtktvapi_config_get_value 9",
             {kError + unreadable},
             {kFind + "-1) = 9"}},
    };
    Tv tv;
    const Hal hal;
    EXPECT_EQ(1, Program({"tvset", "primary-hal"}).wait()) << "a set has one";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(kPosition, to_string(c.position));
        tv.expectStart(c.faults, c.log, c.journal);
    }
}

TEST(OutputSpeaker, EveryStartTriesToOpenTheDeviceUntilItIsThereAndNeverAgain) {
    Tv tv;
    tv.expectStart("", {"E -: load audio interface failed", kNoHal}, {});
    tv.setPosition(0, 0, {kStore + "0, 7) = 0"});

    Hal hal;
    tv.expectStart("openPrimaryDevice 3", {kNoHal}, {"openPrimaryDevice() = 3"});
    tv.setPosition(1, 0, {kStore + "1, 7) = 0"});

    tv.expectStart("", {kRead + "1", kEnd}, {kOpened, kFind + "1) = 0", kWallMount + "0"});
    // A device is a device, whatever the HAL says of opening it.
    const sp<IPrimaryDevice> device = PrimaryHalAccessor().getHalPrimaryDevice();
    openDeviceCallback(Result::OK, nullptr);
    openDeviceCallback(Result::NOT_INITIALIZED, device);
    EXPECT_EQ(device, PrimaryHalAccessor().getHalPrimaryDevice().withDefault(nullptr));

    hal.signalAndWait(SIGKILL);
    const Hal next;
    tv.setPosition(0, 0, {kStore + "0, 7) = 0"});
    tv.expectStart("", {kRead + "0", kEnd}, {kFind + "0) = 0"});
}

TEST(OutputSpeaker, PositionGoesToTheStoreAndToTheHalWhateverEitherSays) {
    const struct {
        const char* name;
        int type;
        const char* faults;
        int status;
        Lines journal;
    } cases[] = {
            {"wall mount", 1, "", 0, {kStore + "1, 7) = 0", kWallMount + "0"}},
            {"HAL refuses", 0, "setParameters 2", 0, {kStore + "0, 7) = 0", kTableTop + "2"}},
            {"illegal", 2, "", 0, {kStore + "0, 7) = 0", kTableTop + "0"}},
            {"store refuses",
             -1,
             "a_mtktvapi_config_set_value 7",
             7,
             {kStore + "0, 7) = 7", kTableTop + "0"}},
    };
    Tv tv;
    const Hal hal;
    tv.startQuietly();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write("faults", c.faults);
        tv.log.take();
        tv.setPosition(c.type, c.status, c.journal);
        const std::string type = to_string(c.type), status = to_string(c.status);
        const std::string position = c.type == 1 ? "1" : "0";
        tv.log.expect({kDebug + "[setTvPosition] start:type = " + type,
                       Lines(position != type, "W AudioOutSp: illigal argument:type = " + type),
                       kDebug + "set tv position:value = " + position + ", result = " + status,
                       kDebug + "[setTvPosition] end:ret = " + status});
    }
}

TEST(OutputSpeaker, TellsPositionAndSurroundTypeAsFarAsTheStoreDoes) {
    const std::string get = "a_mtktvapi_config_get_value";
    const std::string value = kDebug + "get tv position:value = ";
    const std::string position = kDebug + "[getTvPosition] end:ret = ";
    const std::string type = kDebug + "[getSurroundType] end ret:";
    const std::string failed = kError + "getSurroundType, MTKTVAPI ";
    const Lines wallMount{value + "1, result = 0", position + "1"};
    const Lines noPosition{kError + get + " failed:ret = 9"}, noType{failed + "failed:ret = 9\\n"};
    const Lines noSpeaker{failed + "CFG_AUD_SPEAKER failed:ret = 5\\n", type + "2"};
    const struct {
        const char* name;
        int kept[3];  // position, surround type, speaker
        std::string faults;
        int position, type;
        Lines positionLog, typeLog;
    } cases[] = {
            {"0", {0, 0, 0}, "", 0, 0, {value + "0, result = 0", position + "0"}, {type + "0"}},
            {"1", {1, 1, 0}, "", 1, 1, wallMount, {type + "1"}},
            {"2", {2, 2, 2}, "", 0, 2, {value + "2, result = 0", position + "0"}, {type + "2"}},
            {"out of range",
             {-1, 3, 0},
             "",
             0,
             0,
             {value + "-1, result = 0", position + "0"},
             {type + "0"}},
            {"negative type", {1, -1, 0}, "", 1, 0, wallMount, {type + "0"}},
            {"other speaker", {1, 2, 1}, "", 1, 0, wallMount, {type + "0"}},
            // What the store holds must not be taken for what it refuses to tell.
            {"speaker unreadable", {1, 2, 1}, get + "(speaker) 5", 1, 2, wallMount, noSpeaker},
            {"all unreadable", {1, 2, 0}, get + " 9", 0, 0, noPosition, noType},
    };
    Tv tv;
    tv.start();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(kPosition, to_string(c.kept[0]));
        tv.set.write("config/g_audio__spk_sur_type", to_string(c.kept[1]));
        tv.set.write("config/g_audio__aud_speaker", to_string(c.kept[2]));
        tv.set.write("faults", c.faults);
        tv.log.take();
        EXPECT_EQ(c.position, int(tv.service->getTvPosition().withDefault({})));
        tv.log.expect({kDebug + "[getTvPosition] start", c.positionLog});
        EXPECT_EQ(c.type, int(tv.service->getSurroundType().withDefault({})));
        tv.log.expect({kDebug + "[getSurroundType] start", c.typeLog});
    }
}

TEST(OutputSpeaker, StartGoesOnWithoutTheMiddlewareAfterTwentySeconds) {
    TvWith<OutputSpeaker> tv({.isReady = false});
    tv.start("MTAL_InitExCb 3");
    tv.log.expect({kDebug + "[OutputSpeaker] start", waiting(kDebug + "<<<<<hidlaudio", 2000),
                   kDebug + "dtv_svc rpc server failed.",
                   kError + "ERROR: OutputSpeaker MTAL_Init.... , r = 3 \\n",
                   "E -: load audio interface failed", kNoHal});
    EXPECT_EQ(20s, tv.clock.now());
}

}  // namespace
