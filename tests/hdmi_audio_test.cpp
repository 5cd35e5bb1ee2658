/* HDMI audio: capabilities by name in the store, and the callbacks of clients. */

#include "V3_1/HdmiAudio.h"
#include "host/tvset/clock.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

using namespace fakes;
using namespace std::chrono_literals;
using namespace std::string_literals;
using V3_1::implementation::HdmiAudio;

namespace {

constexpr char kArcDd[] = "g_audio__arc_dd_plus_capab";
constexpr char kEarcDd[] = "g_audio__earc_ddp_cap";
constexpr char kArcMp4[] = "g_audio__arc_mpeg4_aac_lc_capab";

const auto D = [](const std::string& text) { return "D hdmiaudio: " + text; };
const auto E = [](const std::string& text) { return "E hdmiaudio: " + text; };
std::string write(const char* key, int value, int status = 0) {
    return std::string("a_mtktvapi_config_set_value(-1, \"") + key + "\", " +
           std::to_string(value) + ", 4) = " + std::to_string(status);
}

/** A set with a service, whose log and journal tell from the service's first call on. */
struct Running {
    Running() : service(new HdmiAudio) {
        log.take();
        set.takeJournal();
    }
    int32_t store(const Lines& names) {
        return service->setAudioCapabilities(Words(names.begin(), names.end()));
    }
    Lines read() {
        Lines names;
        service->getAudioCapabilities([&](const auto& l) { names.assign(l.begin(), l.end()); });
        return names;
    }
    TempSet set;
    LogCapture log;
    const sp<HdmiAudio> service;
};

TEST(HdmiAudio, StartWaitsConnectsAndGoesOn) {
    for (const bool isReady : {true, false}) {
        TempSet set({.isReady = isReady});
        set.write("faults", isReady ? "" : "MTAL_InitExCb 4");
        LogCapture log;
        tvset::VirtualClock clock;
        const sp<HdmiAudio> service = new HdmiAudio;
        const Lines late{D("<<<<<hdmiaudio waiting dtv_svc>>>>> count:199"),
                         D("dtv_svc rpc server failed."),
                         E("ERROR: HdmiAudio MTAL_Init.... , r = 4 \\n")};
        Lines lines = log.take();
        ASSERT_EQ(isReady ? 1u : 202u, lines.size());
        if (!isReady) lines.erase(lines.begin(), lines.begin() + 199);
        EXPECT_EQ(isReady ? Lines{D("HdmiAudio mtal open success")} : late, lines);
        EXPECT_EQ(isReady ? 0s : 20s, clock.now());
    }
}

TEST(HdmiAudio, StoredNumbersAreToldByNameAndAnythingElseAsNone) {
    const std::string dd = "getArcDdCapability, ", earc = "getEarcDdCapability, ",
                      mp4 = "getArcMp4Capability, ", none = "invalid value = ";
    const Lines nothing(3, "NONE");
    // clang-format off
    const struct {
        std::string dd, earc, mp4, faults;
        Lines names, log;
    } cases[] = {
            {"1", "2", "3", "", {"ARC_DD_PLUS", "EARC_DD_ATMOS", "ARC_MP4AAC_22_2"},
             {D(dd + "caps = ARC_DD_PLUS\\n"), D(earc + "caps = EARC_DD_ATMOS\\n"),
              D(mp4 + "caps = ARC_MP4AAC_22_2\\n")}},
            {"3", "-1", "4", "", nothing,
             {E(dd + none + "3\\n"), E(earc + none + "-1\\n"), E(mp4 + none + "4\\n")}},
            {"1", "1", "1", "a_mtktvapi_config_get_value 9", nothing,
             {E(dd + "MTKTVAPI failed:ret = 9\\n"), E(earc + "MTKTVAPI failed:ret = 9\\n"),
              E(mp4 + "MTKTVAPI failed:ret = 9\\n")}},
    };
    // clang-format on
    for (const auto& c : cases) {
        Running tv;
        tv.set.write(std::string("config/") + kArcDd, c.dd);
        tv.set.write(std::string("config/") + kEarcDd, c.earc);
        tv.set.write(std::string("config/") + kArcMp4, c.mp4);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.names, tv.read());
        EXPECT_EQ(Lines{D("HIDL getAudioCapabilities")} + c.log, tv.log.take());
    }
}

TEST(HdmiAudio, EveryNameOfAKindStoresTheHighestOfItsKind) {
    const auto dd = [](int value, int status = 0) { return write(kArcDd, value, status); };
    const auto mp4 = [](int value) { return write(kArcMp4, value); };
    const std::string failDd = "a_mtktvapi_config_set_value(arc_dd) 6", longName(100'000, 'x');
    // clang-format off
    const struct {
        Lines names;
        std::string faults;
        int32_t status;
        Lines writes, changed;
    } cases[] = {
            {{}, "", -1, {}, {}},
            {{"", ""}, "", -1, {}, {}},
            {{"EARC_DD_PLUS", "arc_dd_plus", "ARC_DD"}, "", -1, {}, {}},
            {{"ARC_DD_PLUS ", "ARC_DD_PLUS\0"s, "\0ARC_DD_PLUS"s, "ARC_DD_" + longName}, "", -1,
             {}, {}},
            {Lines(10'000, "EARC_DD_PLUS") + Lines{longName, "ARC_DD_NONE"}, "", 0,
             {dd(0)}, {"ARC_DD_NONE"}},
            {{"ARC_DD_ATMOS", "ARC_DD_NONE"}, "", 0, {dd(2), dd(2)},
             {"ARC_DD_ATMOS", "ARC_DD_NONE"}},
            {{"ARC_DD_", "ARC_DD_PLUS"}, "", 0, {dd(1), dd(1)}, {"ARC_DD_", "ARC_DD_PLUS"}},
            {{"ARC_MP4AAC_7_1", "x", "ARC_DD_PLUS"}, "", 0, {mp4(2), dd(1)},
             {"ARC_MP4AAC_7_1", "ARC_DD_PLUS"}},
            {{"ARC_DD_PLUS", "ARC_MP4AAC_5_1"}, failDd, 0, {dd(1, 6), mp4(1)}, {"ARC_MP4AAC_5_1"}},
            {{"ARC_MP4AAC_5_1", "ARC_DD_PLUS"}, failDd, 0, {mp4(1), dd(1, 6)}, {"ARC_MP4AAC_5_1"}},
            {{"ARC_DD_PLUS", "EARC_DD_PLUS"}, failDd, 6, {dd(1, 6)}, {}},
            {{"ARC_DD_PLUS", "ARC_MP4AAC_x"}, failDd, -1, {dd(1, 6)}, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        Running tv;
        std::vector<Lines> told;
        const auto keep = [&](const Words& names) { told.push_back({names.begin(), names.end()}); };
        tv.service->setCallback(new Callback(keep)).isOk();
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.store(c.names));
        EXPECT_EQ(c.writes, tv.set.takeJournal());
        EXPECT_EQ(std::vector(c.changed.empty() ? 0 : 1, c.changed), told);
    }
}

TEST(HdmiAudio, LogsWhatItIsAskedAndWhatItStores) {
    Running tv;
    EXPECT_EQ(0, tv.store({"", "EARC_DD_PLUS", "ARC_MP4AAC_NONE"}));
    EXPECT_EQ((Lines{D("HIDL hdmiaudio set"), D("setArcMp4Capability, capas list length: 3\\n"),
                     D("setArcMp4Capability, capas : EARC_DD_PLUS\\n"),
                     D("setArcMp4Capability, capas : ARC_MP4AAC_NONE\\n"),
                     D("setArcMp4Capability, call set API capas : 0\\n"),
                     D("HIDL hdmiaudio set finish")}),
              tv.log.take());
}

TEST(HdmiAudio, CallbacksAreCalledAsOftenAsRegisteredUntilTheirProcessDies) {
    Running tv;
    using Calls = std::array<int, 3>;
    Calls calls{};  // of twice, late, once
    const auto count = [&](int i) { return new Callback([&, i](const Words&) { calls[i]++; }); };
    const sp<Callback> twice = count(0), late = count(1);
    const sp<Callback> once = new Callback([&](const Words&) {
        if (calls[2]++ == 0) tv.service->setCallback(late).isOk();
    });
    tv.service->setCallback(nullptr).isOk();
    for (const auto& callback : {twice, once, twice}) tv.service->setCallback(callback).isOk();
    EXPECT_EQ((Lines{D("callback is nullptr. skip setCallback"), D("set callback"),
                     D("set callback"), D("set callback")}),
              tv.log.take());
    EXPECT_EQ(0, tv.store({"ARC_DD_NONE"}));
    EXPECT_EQ((Calls{2, 0, 1}), calls);
    const Lines log = tv.log.take();
    EXPECT_EQ(D("issue capability changed callback event"), *(log.end() - 3));
    EXPECT_EQ(D("set callback"), *(log.end() - 2));

    tv.service->serviceDied(0, sp<Callback>(twice));
    EXPECT_EQ((Lines{E("Monitored process died"), D("remove callback"), D("remove callback")}),
              tv.log.take());
    tv.service->serviceDied(0, wp<IHdmiAudioCallback>(sp<Callback>(count(0))));
    EXPECT_EQ(Lines{E("Monitored process died")}, tv.log.take());
    EXPECT_EQ(0, tv.store({"ARC_DD_NONE"}));
    EXPECT_EQ((Calls{2, 1, 2}), calls);
}

}  // namespace
