/* HDMI audio: capabilities by name in the store, and the callbacks of clients. */

#include "V3_1/HdmiAudio.h"
#include "tests/support/exclusion.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/transcript.h"
#include "tests/support/tv.h"

using namespace fakes;
using V3_1::implementation::HdmiAudio;

namespace {

constexpr char kArcDd[] = "g_audio__arc_dd_plus_capab";
constexpr char kEarcDd[] = "g_audio__earc_ddp_cap";
constexpr char kArcMp4[] = "g_audio__arc_mpeg4_aac_lc_capab";
const Transcript kTranscript("hdmi_audio.txt");

const auto D = [](const std::string& text) { return "D hdmiaudio: " + text; };
const auto E = [](const std::string& text) { return "E hdmiaudio: " + text; };
std::string write(const char* key, int value, int status = 0) {
    return std::string("a_mtktvapi_config_set_value(-1, \"") + key + "\", " +
           std::to_string(value) + ", 4) = " + std::to_string(status);
}

struct Tv : Running<HdmiAudio> {
    int32_t store(const Lines& names) {
        return service->setAudioCapabilities(Words(names.begin(), names.end()));
    }
    Lines read() {
        Lines names;
        service->getAudioCapabilities([&](const auto& l) { names = {l.begin(), l.end()}; });
        return names;
    }
};

TEST(HdmiAudio, StartWaitsConnectsAndContinues) {
    TvWith<HdmiAudio> tv;
    tv.start();
    tv.log.expect({D("HdmiAudio mtal open success")});
    tv.set.expectJournal({"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0"});
    tv.set.remove(kMarker);
    tv.clock.after(19'950ms, [&] { tv.set.write(kMarker, ""); });  // too late
    tv.start("MTAL_InitExCb 4");
    tv.log.expect({waiting(D("<<<<<hdmiaudio"), 200), D("dtv_svc rpc server failed."),
                   E("ERROR: HdmiAudio MTAL_Init.... , r = 4 \\n")});
    tv.set.expectJournal({"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 4"});
    EXPECT_EQ(20s, tv.clock.now());
}

TEST(HdmiAudio, StoredNumbersAreReportedByNameAndOthersAsNone) {
    const struct {
        const char* name;
        std::string dd, earc, mp4, faults;
    } cases[] = {
            {"least", "0", "0", "0", ""},
            {"more", "1", "1", "2", ""},
            {"most", "2", "2", "3", ""},
            {"unknown", "3", "-1", "4", ""},
            {"unreadable", "1", "1", "1", "a_mtktvapi_config_get_value 9"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv;
        tv.set.write(std::string("config/") + kArcDd, c.dd);
        tv.set.write(std::string("config/") + kEarcDd, c.earc);
        tv.set.write(std::string("config/") + kArcMp4, c.mp4);
        tv.set.write("faults", c.faults);
        kTranscript.expectLines(c.name, {tv.read(), tv.log.take()});
    }
}

std::string dd(int value, int status = 0) {
    return write(kArcDd, value, status);
}
std::string mp4(int value) {
    return write(kArcMp4, value);
}
const std::string kFailDd = "a_mtktvapi_config_set_value(arc_dd) 6", kLong(100'000, 'x');

// clang-format off
const struct {
    const char* name;
    Lines names;
    std::string faults;
    int32_t status;
    Lines writes, changed;
} kStores[] = {
        {"none", {}, "", -1, {}, {}},
        {"empty names", {"", ""}, "", -1, {}, {}},
        {"other kinds", {"EARC_DD_PLUS", "arc_dd_plus", "ARC_DD"}, "", -1, {}, {}},
        {"not quite", {"ARC_DD_PLUS ", "ARC_DD_PLUS\0"s, "\0ARC_DD_PLUS"s, "ARC_DD_" + kLong}, "",
         -1, {}, {}},
        {"the last of many", {Lines(10'000, "EARC_DD_PLUS"), kLong, "ARC_DD_NONE"}, "", 0,
         {dd(0)}, {"ARC_DD_NONE"}},
        {"up and down", {"ARC_DD_PLUS", "ARC_DD_ATMOS", "ARC_DD_NONE"}, "", 0, Lines(3, dd(2)),
         {"ARC_DD_PLUS", "ARC_DD_ATMOS", "ARC_DD_NONE"}},
        {"two unknown", {"ARC_DD", "ARC_MP4AAC", "ARC_DD_", "ARC_DD_PLUS", "ARC_MP4AAC_5_1"}, "", 0,
         {dd(1), dd(1), mp4(1)}, {"ARC_DD_", "ARC_DD_PLUS", "ARC_MP4AAC_5_1"}},
        {"both kinds", {"ARC_MP4AAC_7_1", "x", "ARC_DD_PLUS"}, "", 0, {mp4(2), dd(1)},
         {"ARC_MP4AAC_7_1", "ARC_DD_PLUS"}},
        {"first fails", {"ARC_DD_PLUS", "ARC_MP4AAC_5_1"}, kFailDd, 0, {dd(1, 6), mp4(1)},
         {"ARC_MP4AAC_5_1"}},
        {"second fails", {"ARC_MP4AAC_5_1", "ARC_DD_PLUS"}, kFailDd, 0, {mp4(1), dd(1, 6)},
         {"ARC_MP4AAC_5_1"}},
        {"only one fails", {"ARC_DD_PLUS", "EARC_DD_PLUS"}, kFailDd, 6, {dd(1, 6)}, {}},
        {"fails, then unknown", {"ARC_DD_PLUS", "ARC_MP4AAC_x"}, kFailDd, -1, {dd(1, 6)}, {}},
};
// clang-format on

TEST(HdmiAudio, EveryNameOfAKindStoresTheHighestOfItsKind) {
    for (const auto& c : kStores) {
        SCOPED_TRACE(c.name);
        Tv tv;
        std::vector<Lines> told;
        const auto keep = [&](const Words& names) { told.push_back({names.begin(), names.end()}); };
        tv.service->setCallback(new Callback(keep)).isOk();
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.store(c.names));
        tv.set.expectJournal(c.writes);
        EXPECT_EQ(Lines{}, tv.log.take().only("^[EW] "));
        EXPECT_EQ(std::vector(c.changed.empty() ? 0 : 1, c.changed), told);
    }
}

TEST(HdmiAudio, LogsTheRequestAndTheStoredValue) {
    Tv tv;
    EXPECT_EQ(0, tv.store({"", "ARC_DD_PLUS", "ARC_MP4AAC_NONE"}));
    kTranscript.expect("request", tv);
}

/** A client whose death can be asked for: it counts who has. */
struct Client : Callback {
    using Callback::Callback;
    Return<bool> linkToDeath(const sp<hidl_death_recipient>&, uint64_t cookie) override {
        links += cookie == 0;
        return Status::fromStatusT(DEAD_OBJECT);
    }
    Return<bool> unlinkToDeath(const sp<hidl_death_recipient>&) override {
        links--;
        return Status::fromStatusT(DEAD_OBJECT);
    }
    int links = 0;
};

TEST(HdmiAudio, CallbacksAreCalledAsOftenAsRegisteredUntilTheirProcessDies) {
    Tv tv;
    using Calls = std::array<int, 3>;
    Calls calls{};  // of thrice, late, once
    const auto count = [&](int i) { return new Client([&, i](const Words&) { calls[i]++; }); };
    const sp<Client> thrice = count(0), late = count(1);
    const sp<Client> once = new Client([&](const Words&) {
        if (calls[2]++ == 0) tv.service->setCallback(late).isOk();
    });
    const sp<Client> stranger = count(0);
    tv.service->serviceDied(0, stranger);
    tv.service->setCallback(nullptr).isOk();
    // Four, so that a fifth finds no room where they are.
    for (const auto& callback : {thrice, once, thrice, thrice}) tv.service->setCallback(callback);
    tv.log.expect({E("Monitored process died"), D("callback is nullptr. skip setCallback"),
                   Lines(4, D("set callback"))});
    EXPECT_EQ(0, tv.store({"ARC_DD_NONE"}));
    EXPECT_EQ((Calls{3, 0, 1}), calls);
    EXPECT_EQ((Lines{D("issue capability changed callback event"), D("set callback"),
                     D("HIDL hdmiaudio set finish")}),
              tv.log.take().only("callback|finish"));

    tv.service->serviceDied(0, thrice);
    tv.log.expect({E("Monitored process died"), Lines(3, D("remove callback"))});
    const wp<IBase> gone = sp<IBase>(count(0));
    tv.service->serviceDied(0, stranger);
    tv.service->serviceDied(0, gone);
    tv.log.expect({Lines(2, E("Monitored process died"))});
    EXPECT_EQ((Calls{2, 1, -1}), (Calls{thrice->links, late->links, stranger->links}));
    EXPECT_EQ(0, tv.store({"ARC_DD_NONE"}));
    EXPECT_EQ((Calls{3, 1, 2}), calls);
}

TEST(HdmiAudio, CallbacksAreRegisteredRemovedAndCountedOneAtATime) {
    Tv tv;
    const sp<Callback> callback = new Callback([](const Words&) {});
    const auto add = [&] { tv.service->setCallback(callback).isOk(); };
    const auto remove = [&] { tv.service->serviceDied(0, callback); };
    const auto count = [&] { tv.service->debug({}, {}).isOk(); };
    expectExclusion("set callback", add, add);
    expectExclusion("remove callback", remove, add);
    expectExclusion("set callback", add, remove);
    expectExclusion("set callback", add, count);
}

}  // namespace
