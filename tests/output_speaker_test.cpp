/* The TV's own speakers: surround type, and position with and without a primary audio HAL. */

#include "V3_1/OutputSpeaker.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/transcript.h"
#include "tests/support/tv.h"

using namespace platform;
using V3_1::implementation::OutputSpeaker;
using Tv = TvWith<OutputSpeaker, RealTime>;

namespace {

constexpr char kPosition[] = "config/g_audio__tv_position";
const Transcript kTranscript("output_speaker.txt");

TEST(OutputSpeaker, StartPassesTheStoredPositionToADeviceOpenedOnce) {
    const struct {
        const char *name, *position, *faults;
    } cases[] = {
            {"start, table top", "0", ""},
            {"start, wall mount", "1", ""},
            {"start, HAL refuses", "1", "setParameters 3"},
            {"start, illegal position", "2", ""},
            {"start, negative position", "-1", ""},
            {"start, unreadable position", "1", "a_mtktvapi_config_get_value 9"},
    };
    Tv tv;
    const Hal hal;
    EXPECT_EQ(1, Program({"tvset", "primary-hal"}).wait()) << "a set has one";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(kPosition, c.position);
        tv.start(c.faults);
        kTranscript.expect(c.name, tv);
    }
}

TEST(OutputSpeaker, EveryStartTriesToOpenTheDeviceUntilItIsThereAndNeverAgain) {
    Tv tv;
    tv.start();
    EXPECT_EQ(0, tv.service->setTvPosition(0));
    kTranscript.expect("no HAL at the first start", tv);

    Hal hal;
    tv.start("openPrimaryDevice 3");
    EXPECT_EQ(0, tv.service->setTvPosition(1));
    kTranscript.expect("it cannot be opened at the second", tv);

    tv.start();
    kTranscript.expect("it is opened at the third", tv);
    // A device is a device, whatever the HAL says of opening it.
    const sp<IPrimaryDevice> device = PrimaryHalAccessor().getHalPrimaryDevice();
    openDeviceCallback(Result::OK, nullptr);
    openDeviceCallback(Result::NOT_INITIALIZED, device);
    EXPECT_EQ(device, PrimaryHalAccessor().getHalPrimaryDevice().withDefault(nullptr));

    hal.signalAndWait(SIGKILL);
    const Hal next;
    EXPECT_EQ(0, tv.service->setTvPosition(0));
    tv.start();
    kTranscript.expect("it is another one at the fourth", tv);
}

TEST(OutputSpeaker, PositionGoesToTheStoreAndToTheHalWhateverEitherSays) {
    const struct {
        const char* name;
        int type;
        const char* faults;
        int status;
    } cases[] = {
            {"set wall mount", 1, "", 0},
            {"set table top, HAL refuses", 0, "setParameters 2", 0},
            {"set illegal position", 2, "", 0},
            {"set negative position, store refuses", -1, "a_mtktvapi_config_set_value 7", 7},
    };
    Tv tv;
    const Hal hal;
    tv.startQuietly();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->setTvPosition(c.type));
        kTranscript.expect(c.name, tv);
    }
}

TEST(OutputSpeaker, ReportsPositionAndSurroundTypeFromTheStore) {
    const std::string get = "a_mtktvapi_config_get_value";
    const struct {
        const char *name, *stored[3];  // position, surround type, speaker
        std::string faults;
        int position, type;
    } cases[] = {
            {"get 0", {"0", "0", "0"}, "", 0, 0},
            {"get 1", {"1", "1", "0"}, "", 1, 1},
            {"get 2", {"2", "2", "2"}, "", 0, 2},
            {"get, out of range", {"-1", "3", "0"}, "", 0, 0},
            {"get, negative type", {"1", "-1", "0"}, "", 1, 0},
            {"get, other speaker", {"1", "2", "1"}, "", 1, 0},
            // A failed read must not count as a stored value.
            {"get, speaker unreadable", {"1", "2", "1"}, get + "(speaker) 5", 1, 2},
            {"get, all unreadable", {"1", "2", "0"}, get + " 9", 0, 0},
    };
    Tv tv;
    tv.startQuietly();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(kPosition, c.stored[0]);
        tv.set.write("config/g_audio__spk_sur_type", c.stored[1]);
        tv.set.write("config/g_audio__aud_speaker", c.stored[2]);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.position, int(tv.service->getTvPosition().withDefault({})));
        EXPECT_EQ(c.type, int(tv.service->getSurroundType().withDefault({})));
        kTranscript.expect(c.name, tv);
    }
}

TEST(OutputSpeaker, StartContinuesWithoutTheMiddlewareAfterTwentySeconds) {
    TvWith<OutputSpeaker> tv({.isReady = false});
    tv.start("MTAL_InitExCb 3");
    tv.log.expect(
            {"D AudioOutSp: [OutputSpeaker] start", waiting("D AudioOutSp: <<<<<hidlaudio", 2000),
             "D AudioOutSp: dtv_svc rpc server failed.",
             "E AudioOutSp: ERROR: OutputSpeaker MTAL_Init.... , r = 3 \\n",
             "E -: load audio interface failed", "E AudioOutSp: load audio interface failed"});
    EXPECT_EQ(20s, tv.clock.now());
}

}  // namespace
