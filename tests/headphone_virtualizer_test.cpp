/* The headphone virtualizer on the virtual set, in the virtual time. */

#include <gtest/gtest.h>

#include <memory>

#include "V5_0/HeadphoneVirtualizer.h"
#include "host/tvset/clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

namespace {

using namespace com::zavo::dtv::hardware::audio;
using namespace std::chrono_literals;
using namespace std::string_literals;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using std::to_string;
using V5_0::ParamType;
using V5_0::implementation::HeadphoneVirtualizer;
using Lines = std::vector<std::string>;
using Codes = std::vector<int32_t>;

constexpr ParamType kDevice = ParamType::DEVICE_PARAMETER, kHrtf = ParamType::HRTF_PARAMETER;
constexpr char kReaction[] = "bectrl/reaction";
const std::string kCompletions = "fs/proc/driver/zavo_bectrl/audio/";
const std::string kDeviceComplete = kCompletions + "device_parameter_complete";
const std::string kHrtfComplete = kCompletions + "hrtf_parameter_complete";

std::string D(const std::string& text) {
    return "D AudioHV: " + text;
}
std::string E(const std::string& text) {
    return "E AudioHV: " + text;
}

/** A client that keeps the outcomes it is told. */
struct Callback : V5_0::IHeadphoneVirtualizerCallback {
    Return<void> onTransferResult(int32_t result) override {
        outcomes.push_back(result);
        if (onCall) onCall();
        return android::hardware::Void();
    }
    Codes outcomes;
    std::function<void()> onCall;
};

/** A set with a service that has started on it, and a client of it. */
struct Tv {
    explicit Tv(const tvset::SetOptions& options = {.hasBackEnd = true}, const char* faults = "")
        : set(options) {
        set.write("faults", faults);
        service = new HeadphoneVirtualizer;
        startLog = log.take();
        set.write("faults", "");
        set.takeJournal();
    }
    /** @return the handle of a full buffer. */
    int32_t fill(ParamType type, const std::string& content = "0123456789") {
        const int32_t handle = service->allocateParameterBuffer(type, int32_t(content.size()));
        EXPECT_EQ(0, service->append(handle, {content.begin(), content.end()}));
        log.take();
        return handle;
    }
    /** @return the handle of a buffer whose transfer has been started. */
    int32_t send(ParamType type) {
        const int32_t handle = fill(type);
        EXPECT_EQ(0, service->apply(handle, client));
        return handle;
    }
    void pass(std::chrono::nanoseconds time) { tvset::sleepFor(time, nullptr); }

    TempSet set;
    LogCapture log;
    tvset::VirtualClock clock;
    sp<Callback> client = new Callback;
    sp<HeadphoneVirtualizer> service;
    Lines startLog;
};

/** Only what tells of a failure. */
Lines failures(const Lines& lines) {
    Lines found;
    for (const std::string& line : lines) {
        if (line[0] == 'E' || line[0] == 'W') found.push_back(line);
    }
    return found;
}

const Lines kStart{D("[HeadphoneVirtualizer] start")};
const std::string kReady =
        "I AudioHV: [checkDtvSvcBoot] <<<<<hidlaudio dtv_svc is ready !>>>>> count:0";
const std::string kNotReady = E("[checkDtvSvcBoot] dtv_svc rpc server failed [TimeOut].");
const std::string kUnsupported = E("[HeadphoneVirtualizer] end. HRTF is not supported.");

TEST(HeadphoneVirtualizer, StartFindsOutWhetherTheSetHasAController) {
    const struct {
        tvset::SetOptions options;
        const char* faults;
        std::chrono::seconds time;
        Lines log;
        bool isSupported;
    } cases[] = {
            {{.hasBackEnd = true}, "", 0s, {kReady, D("[HeadphoneVirtualizer] end")}, true},
            {{.hasBackEnd = true},
             "MTAL_InitExCb 6",
             0s,
             {kReady, E("[checkBeCtrlBoot] HV MTAL_Init failed, Return:6 "),
              D("[HeadphoneVirtualizer] end")},
             true},
            {{.hasBackEnd = false}, "", 0s, {kReady, kUnsupported}, false},
            {{.hasBackEnd = true}, "MTAL_Init 1", 0s, {kReady, kUnsupported}, false},
            {{.hasBackEnd = true},
             "MTEEPROM_Init 1",
             0s,
             {kReady, E("[isBeModel] Eeprom init failed."), kUnsupported},
             false},
            {{.hasBackEnd = true},
             "MTEEPROM_Read 1",
             0s,
             {kReady, E("[isBeModel] Eeprom read failed."), kUnsupported},
             false},
            {{.hasBackEnd = true, .isReady = false},
             "",
             20s,
             {kNotReady, E("[isHrtfSupportModel] checkDtvSvcBoot failed. Return:0"), kUnsupported},
             false},
    };
    for (const auto& c : cases) {
        Tv tv(c.options, c.faults);
        Lines expected = kStart;
        expected.insert(expected.end(), c.log.begin(), c.log.end());
        EXPECT_EQ(expected, tv.startLog);
        EXPECT_EQ(c.time, tv.clock.now());
        EXPECT_EQ(c.isSupported, tv.service->getUpmixEnabled());
        EXPECT_FALSE(tv.service->getVirtualizerEnabled());
    }
}

TEST(HeadphoneVirtualizer, SwitchesAreKeptOnceTheControllerHasAcceptedThem) {
    Tv tv;
    EXPECT_EQ(0, tv.service->setVirtualizerEnabled(true));
    EXPECT_EQ((Lines{D("[setVirtualizerEnabled] start. enable:1"), kReady,
                     D("[setVirtualizerEnabled] end. Return:0")}),
              tv.log.take());
    EXPECT_TRUE(tv.service->getVirtualizerEnabled());
    EXPECT_EQ(
            (Lines{D("[getVirtualizerEnabled] start"), D("[getVirtualizerEnabled] end. Return:1")}),
            tv.log.take());
    EXPECT_EQ(0, tv.service->setUpmixEnabled(false));
    EXPECT_EQ(
            (Lines{"MTAL_InitExCb(0) = 0",
                   "MTDRVCUST_dcustom_cust_spec_set(0x20185, {id=32 len=1 data=01}, 264, 0) = 0",
                   "MTAL_InitExCb(0) = 0",
                   "MTDRVCUST_dcustom_cust_spec_set(0x20185, {id=33 len=1 data=00}, 264, 0) = 0"}),
            tv.set.takeJournal());

    const struct {
        const char* faults;
        int32_t status;
        std::string line;
    } cases[] = {
            {"MTDRVCUST_dcustom_cust_spec_set 9", 9,
             E("[setEnabledToBeCtrl] MTDRVCUST_dcustom_cust_spec_set failed!!(9) type:21")},
            {"MTAL_InitExCb 8", 8, E("[setEnabledToBeCtrl] HV MTAL_Init failed, Return:8 ")},
            {"access ENOENT", -5, E("[setEnabledToBeCtrl] BECtrl Boot failed [TimeOut].")},
    };
    for (const auto& c : cases) {
        tv.log.take();
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->setUpmixEnabled(true));
        Lines lines = failures(tv.log.take());
        if (lines.front() == kNotReady) lines.erase(lines.begin());
        EXPECT_EQ((Lines{c.line, E("[setUpmixEnabled] Notification to BeCtrl failed.")}), lines);
        EXPECT_FALSE(tv.service->getUpmixEnabled());
    }

    Tv plain({.hasBackEnd = false});
    EXPECT_EQ(-5, plain.service->setUpmixEnabled(false));
    EXPECT_EQ((Lines{D("[setUpmixEnabled] start. enable:0"),
                     E("[setUpmixEnabled] end. HRTF is not supported. Return:-5")}),
              plain.log.take());
    EXPECT_FALSE(plain.service->getUpmixEnabled());
    EXPECT_EQ((Lines{D("[getUpmixEnabled] start"),
                     E("[getUpmixEnabled] end. HRTF is not supported.")}),
              plain.log.take());
    EXPECT_EQ(Lines{}, plain.set.takeJournal());
}

TEST(HeadphoneVirtualizer, HasOneType) {
    Tv tv({.hasBackEnd = false});
    for (const std::string& type : {"Zavo"s, "zavo"s, ""s, "Zavo\0"s}) {
        EXPECT_EQ(type == "Zavo"s ? 0 : -5, tv.service->setVirtualizerType(type));
    }
    tv.log.take();
    EXPECT_EQ(-5, tv.service->setVirtualizerType("x"));
    tv.service->getVirtualizerType([](const auto& type) { EXPECT_EQ("Zavo", std::string(type)); });
    tv.service->getAvailableVirtualizerTypes(
            [](const auto& types) { EXPECT_EQ(hidl_vec<hidl_string>{"Zavo"}, types); });
    EXPECT_EQ((Lines{D("[setVirtualizerType] start type=[x]"),
                     E("[setVirtualizerType] x is not supported"),
                     D("[setVirtualizerType] end Return: -5"), D("[getVirtualizerType] start"),
                     D("[getVirtualizerType] end Return type=[Zavo]"),
                     D("[getAvailableVirtualizerTypes] start"),
                     D("[getAvailableVirtualizerTypes] types[i]=[Zavo]")}),
              tv.log.take());
}

TEST(HeadphoneVirtualizer, HandlesRunThroughAndNeverMeet) {
    Tv tv;
    EXPECT_EQ(1, tv.service->allocateParameterBuffer(kHrtf, 10));
    for (int32_t expected = 2; expected < 255; expected++) {
        ASSERT_EQ(expected, tv.service->allocateParameterBuffer(kDevice, 10));
    }
    EXPECT_EQ(2, tv.service->allocateParameterBuffer(kDevice, 10)) << "1 is in use";
    EXPECT_EQ(-1, tv.service->append(254, {}));
    EXPECT_EQ(0, tv.service->append(2, {}));
    EXPECT_EQ(0, tv.service->discardParameterBuffer(2));
    tv.log.take();
    for (const int32_t unknown : {2, -1, 0, 255}) {
        EXPECT_EQ(-1, tv.service->append(unknown, {}));
        EXPECT_EQ(-1, tv.service->discardParameterBuffer(unknown));
        EXPECT_EQ(-1, tv.service->cancel(unknown));
        EXPECT_EQ(-1, tv.service->apply(unknown, tv.client));
        EXPECT_EQ(Lines(4, E("[getParamFromHandle] handle is not found!")),
                  failures(tv.log.take()));
    }
    EXPECT_EQ(0, tv.service->allocateParameterBuffer(ParamType(2), 10));
    EXPECT_EQ((Lines{D("[allocateParameterBuffer] start. ParamType=2, size=10"),
                     E("[getParamFromType] ParamType(2) is not supported."),
                     D("[allocateParameterBuffer] end. handle:0")}),
              tv.log.take());
}

TEST(HeadphoneVirtualizer, ABufferTakesPiecesUpToItsSize) {
    Tv tv;
    for (const int32_t size : {-1, INT32_MIN}) {
        EXPECT_EQ(0, tv.service->allocateParameterBuffer(kHrtf, size));
        EXPECT_EQ(
                (Lines{D("[allocateParameterBuffer] start. ParamType=1, size=" + to_string(size)),
                       D("[allocateParameterBufferInt] start. type=1, handle=-1"),
                       D("[discardParameterBufferInt] star"), D("[discardParameterBufferInt] end"),
                       D("[allocateParameterBufferInt] malloc fail."),
                       D("[allocateParameterBuffer] end. handle:0")}),
                tv.log.take());
    }
    const hidl_vec<uint8_t> most(std::vector<uint8_t>(262144)), more(std::vector<uint8_t>(262145));
    for (const int32_t size : {262144, 262145, INT32_MAX}) {
        const int32_t handle = tv.service->allocateParameterBuffer(kHrtf, size);
        tv.log.take();
        EXPECT_EQ(-2, tv.service->append(handle, more));
        EXPECT_EQ(E("[append] data size error. max append size=262144, append size=262145"),
                  tv.log.take().back());
        EXPECT_EQ(0, tv.service->append(handle, most));
        EXPECT_EQ(size == 262144 ? -2 : 0, tv.service->append(handle, {1}));
        EXPECT_EQ(size == INT32_MAX ? 0 : -2, tv.service->append(handle, {1}));
        EXPECT_EQ(size == INT32_MAX ? -2 : 0, tv.service->apply(handle, tv.client));
        tv.pass(1s);
    }
    EXPECT_EQ((Codes{0, 0}), tv.client->outcomes);

    const int32_t handle = tv.service->allocateParameterBuffer(kHrtf, 3);
    EXPECT_EQ(0, tv.service->append(handle, {1, 2}));
    tv.log.take();
    EXPECT_EQ(-2, tv.service->append(handle, {3, 4}));
    const std::string h = to_string(handle);
    EXPECT_EQ(
            (Lines{D("[append] start. handle=" + h), D("[append] ParamType=1"),
                   D("[appendInt] start.  registered size=3,  append accumulation=2, data size=2"),
                   E("[appendInt] data size error"), D("[append] end. Return:-2")}),
            tv.log.take());
    EXPECT_EQ(-2, tv.service->apply(handle, tv.client));
    EXPECT_EQ((Lines{D("[apply] start. handle:" + h), D("[apply] ParamType=1"),
                     E("[checkDataSize] data size error! registered size:3, array size:2")}),
              tv.log.take());
    EXPECT_EQ(0, tv.service->discardParameterBuffer(handle));
    EXPECT_EQ(
            (Lines{D("[discardParameterBuffer] start. handle=" + h),
                   D("[discardParameterBuffer] ParamType=1"), D("[discardParameterBufferInt] star"),
                   D("[discardParameterBufferInt] release memory."),
                   D("[discardParameterBufferInt] end"),
                   D("[discardParameterBuffer] end. Return:0")}),
            tv.log.take());
}

TEST(HeadphoneVirtualizer, ARefusedApplyLeavesTheBufferReadyForAnother) {
    Tv tv;
    const std::string busy("\1\0", 2), half("\0", 1), idle("\0\0", 2);
    const struct {
        std::string file, content, faults;
        bool hasClient;
        int32_t status;
        Lines log;
    } cases[] = {
            {kDeviceComplete, busy, "", true, -3, {"W AudioHV: [checkResuming] BeCtrl is busy!"}},
            {kHrtfComplete, busy, "", true, -3, {"W AudioHV: [checkResuming] BeCtrl is busy!"}},
            {kHrtfComplete,
             half,
             "",
             true,
             -5,
             {"W AudioHV: [readBeCtrlTransferState] fread proc file failed! errno:0",
              E("[checkResuming] Proc file error! ret=-5")}},
            {kHrtfComplete,
             idle,
             "fopen(hrtf_parameter_complete) EACCES",
             true,
             -5,
             {"W AudioHV: [readBeCtrlTransferState] Proc file open failed!",
              E("[checkResuming] Proc file error! ret=-5")}},
            {kHrtfComplete, idle, "", false, -5, {E("[apply] callback object is nullptr.")}},
            {kHrtfComplete,
             idle,
             "pthread_create EAGAIN",
             true,
             -5,
             {E("[apply] paramTransferThread create Failed.")}},
    };
    const int32_t handle = tv.fill(kDevice);
    for (const auto& c : cases) {
        tv.set.write(c.file, c.content);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->apply(handle, c.hasClient ? tv.client : nullptr));
        EXPECT_EQ(c.log, failures(tv.log.take()));
        EXPECT_EQ(-4, tv.service->cancel(handle));
        EXPECT_EQ((Lines{D("[cancel] start. handle=1"), D("[cancel] ParamType=0"),
                         D("[cancelInt] start"), "W AudioHV: [cancelInt] cancel failed.",
                         D("[cancelInt] end. Return:-4"), D("[cancel] end. Return:-4")}),
                  tv.log.take());
        tv.set.write(c.file, idle);
    }
    tv.set.write("faults", "");
    EXPECT_EQ(1, tv.client->getStrongCount()) << "a refused callback is not kept";
    EXPECT_EQ(0, tv.service->apply(handle, tv.client));
    tv.pass(20ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
}

TEST(HeadphoneVirtualizer, AnUploadGoesItsWay) {
    Tv tv;
    tv.set.write(kReaction, "1 0 100\n0 0x01 1000\n");
    const int32_t handle = tv.fill(kDevice, "the bytes");
    Codes statesDuringTheCallback;
    tv.client->onCall = [&] {
        statesDuringTheCallback = {tv.service->append(handle, {1}),
                                   tv.service->apply(handle, tv.client)};
        tv.log.take();
    };
    EXPECT_EQ(0, tv.service->apply(handle, tv.client));
    EXPECT_EQ(-3, tv.service->apply(handle, tv.client));
    EXPECT_EQ(-3, tv.service->append(handle, {}));
    tv.pass(1099ms);
    EXPECT_EQ(Codes{}, tv.client->outcomes);
    const std::string read = "[paramTransferThread] read proc file";
    Lines worker;
    for (const std::string& line : tv.log.take()) {
        if (line.find("Thread") != line.npos) worker.push_back(line);
    }
    EXPECT_EQ((Lines{D("[paramTransferThread] start"),
                     D("[paramTransferThread] Acquire Wakelock HidlAudioDevice"),
                     "I AudioHV: [paramTransferThread] Acquire Wakelock completed.",
                     D("[paramTransferThread] update proc file!!"), D(read + "(state)=0x1"),
                     D(read + "(result)=0x0")}),
              worker);
    tv.pass(1ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ((Codes{-3, -3}), statesDuringTheCallback);
    EXPECT_EQ((Lines{D("Release Wakelock HidlAudioDevice"),
                     "I AudioHV: Release Wakelock completed.", D("paramTransferThread finished")}),
              tv.log.take());
    EXPECT_EQ((Lines{"acquire_wake_lock(1, \"HidlAudioDevice\") = 0",
                     "ioctl(zavo_bectrl, 0xC0106301, {size=9}) = 0",
                     "release_wake_lock(\"HidlAudioDevice\") = 0"}),
              tv.set.takeJournal());
    EXPECT_EQ("the bytes", tv.set.read("bectrl/device_parameters.bin"));
    EXPECT_EQ(-1, tv.service->append(handle, {}));
    EXPECT_EQ(1, tv.client->getStrongCount());
}

TEST(HeadphoneVirtualizer, EveryEndOfATransferIsToldOnceWithItsCode) {
    const std::string thread = "[paramTransferThread] ";
    const auto result = [&](const char* hex) {
        return D("[paramTransferThread] read proc file(result)=0x" + std::string(hex));
    };
    const std::string timeout = E(thread + "epoll timeout!!");
    const struct {
        const char *reaction, *faults;
        std::chrono::milliseconds time;
        int32_t outcome;
        std::string line;  // the last one before the outcome
    } cases[] = {
            {"0 0x01 0", "", 0ms, 0, result("1")},
            {"-1 1 7", "", 7ms, 0, result("1")},
            {"2 0x03 7", "", 7ms, 1, result("3")},
            {"0 0 7", "", 7ms, -3, result("0")},
            {"0 2 7", "", 7ms, -3, result("2")},
            {"0 0xF3 7", "", 7ms, -1, result("f3")},
            {"0 0xF4 7", "", 7ms, -1, result("f4")},
            {"0 0xFF 7", "", 7ms, -2, result("ff")},
            {"0 4 19999", "", 19999ms, -2, result("4")},
            {"0 1 20001", "", 20s, -2, timeout},
            {"", "", 20s, -2, timeout},
            {"1 0 7\n1 0 7", "", 20s, -2, timeout},
            {"0 1 7", "epoll_wait EINTR x3", 7ms, 0, result("1")},
            {"0 1 7", "ioctl(0xC0106300) -1", 0ms, -2,
             E("[setParametersToBeCtrl] ioctl() failed! : (-1)")},
            {"0 1 7", "ioctl(0xC0106300) 3", 0ms, -2,
             E("[setParametersToBeCtrl] ioctl() failed! : (3)")},
            {"0 1 7", "open(zavo_bectrl) ENOENT", 0ms, -2,
             E("[setParametersToBeCtrl] bectrl device file open failed! : (-5)")},
            {"0 1 7", "epoll_create EMFILE", 0ms, -3, E(thread + "regist FD failed!!(proc)")},
            {"0 1 7", "epoll_ctl(hrtf_parameter_complete) ENOMEM", 0ms, -3,
             E(thread + "regist FD failed!!(proc)")},
            {"0 1 7", "epoll_ctl(timerfd) ENOMEM", 0ms, -3,
             E(thread + "regist FD failed!!(timer)")},
            {"0 1 7", "timerfd_create EMFILE", 0ms, -3, E(thread + "regist FD failed!!(timer)")},
            {"0 1 7", "timerfd_settime EINVAL", 0ms, -3, E(thread + "start timer failed!!")},
            {"0 1 7", "acquire_wake_lock -13", 0ms, -3,
             E(thread + "Acquire Wakelock failed(errno:-13).")},
            {"0 1 7", "release_wake_lock -2", 7ms, 0, result("1")},
    };
    for (const auto& c : cases) {
        Tv tv;
        tv.set.write(kReaction, c.reaction);
        tv.set.write("faults", c.faults);
        std::string lastLine;
        std::chrono::nanoseconds toldAt{-1};
        const size_t descriptors =
                std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
        const int32_t handle = tv.fill(kHrtf);
        tv.client->onCall = [&] {
            for (const std::string& line : tv.log.take()) {
                if (line.find("[apply]") == line.npos) lastLine = line;  // at the same time
            }
            toldAt = tv.clock.now();
        };
        EXPECT_EQ(0, tv.service->apply(handle, tv.client));
        tv.pass(30s);
        SCOPED_TRACE(std::string(c.reaction) + ", " + c.faults);
        EXPECT_EQ(Codes{c.outcome}, tv.client->outcomes);
        EXPECT_EQ(c.line, lastLine);
        EXPECT_EQ(c.time, toldAt);
        const Lines after = tv.log.take(), journal = tv.set.takeJournal();
        EXPECT_EQ(c.faults == std::string("release_wake_lock -2")
                          ? E("Release Wakelock failed(errno:-2).")
                          : "I AudioHV: Release Wakelock completed.",
                  *(after.end() - 2));
        EXPECT_EQ(0u, journal.back().find("release_wake_lock(\"HidlAudioHrtf\")"));
        EXPECT_EQ(-1, tv.service->append(handle, {}));
        EXPECT_EQ(descriptors,
                  std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
    }
}

TEST(HeadphoneVirtualizer, AWorkerWhoseCompletionFileIsGoneStartsNothing) {
    Tv tv;
    tv.send(kHrtf);  // holds the other up
    tv.send(kDevice);
    tv.set.write("faults", "fopen(device_parameter_complete) EACCES");
    tv.pass(1s);
    EXPECT_EQ((Codes{0, -3}), tv.client->outcomes);
    EXPECT_EQ(Lines{E("[paramTransferThread] Proc file open failed!")}, failures(tv.log.take()));
    // A file that cannot be read at the driver's word counts as no result.
    tv.set.write("faults", "");
    tv.clock.at(5ms, [&] { tv.set.write("faults", "fread(hrtf_parameter_complete) EIO"); });
    tv.send(kHrtf);
    tv.pass(1s);
    EXPECT_EQ((Codes{0, -3, -3}), tv.client->outcomes);
    EXPECT_EQ(Lines{"W AudioHV: [readBeCtrlTransferState] fread proc file failed! errno:5"},
              failures(tv.log.take()));
}

TEST(HeadphoneVirtualizer, KindsAreTransferredInTheOrderOfTheirApply) {
    Tv tv;
    tv.set.write(kReaction, "0 1 2200\n");
    tv.send(kDevice);
    tv.send(kHrtf);
    const std::string devices = "ioctl(zavo_bectrl, 0xC0106301, {size=10}) = 0";
    const std::string hrtfs = "ioctl(zavo_bectrl, 0xC0106300, {size=10}) = 0";
    tv.pass(2400ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    tv.send(kDevice);  // the other has been waiting for longer
    tv.pass(10s);
    EXPECT_EQ((Codes{0, 0, 0}), tv.client->outcomes);
    Lines requests;
    for (const std::string& line : tv.set.takeJournal()) {
        if (line.find("ioctl") == 0) requests.push_back(line);
    }
    EXPECT_EQ((Lines{devices, hrtfs, devices}), requests);
}

TEST(HeadphoneVirtualizer, AWaitForTheOtherKindEndsWithACancelOrInTime) {
    const sp<Callback> slow = new Callback;
    Tv tv;
    slow->onCall = [&] { tv.pass(40s); };  // keeps its worker
    EXPECT_EQ(0, tv.service->apply(tv.fill(kHrtf), slow));
    tv.pass(1s);
    const int32_t handle = tv.send(kDevice);
    tv.pass(1200ms);
    tv.log.take();
    EXPECT_EQ(0, tv.service->cancel(handle));
    EXPECT_EQ(0, tv.service->cancel(handle));
    tv.pass(299ms);
    EXPECT_EQ(Codes{}, tv.client->outcomes);
    tv.pass(1ms);
    EXPECT_EQ(Codes{1}, tv.client->outcomes);
    EXPECT_EQ(D("[paramTransferThread] Waiting thread finish is canceled"),
              *(tv.log.take().end() - 4));

    tv.send(kDevice);
    tv.pass(19999ms);
    EXPECT_EQ(Codes{1}, tv.client->outcomes);
    tv.pass(1ms);
    EXPECT_EQ((Codes{1, -2}), tv.client->outcomes);
    EXPECT_EQ(Lines{E("[paramTransferThread] Waiting thread finish is Timeout!")},
              failures(tv.log.take()));
    tv.pass(40s);
    EXPECT_EQ(Codes{0}, slow->outcomes) << "not touched";
}

TEST(HeadphoneVirtualizer, ATransferIsCancelledByTheController) {
    Tv tv;
    tv.set.write(kReaction, "");
    const int32_t handle = tv.send(kHrtf);
    tv.pass(1s);
    const std::string cancel = "[notifyCancelToBeCtrl] ";
    for (const auto& [fault, line] :
         {std::pair("ioctl(0xC0106302) -1", E(cancel + "ioctl() failed! : (-1)")),
          std::pair("open(zavo_bectrl) ENOENT",
                    E(cancel + "bectrl device file open failed! : (-5)"))}) {
        tv.set.write("faults", fault);
        tv.log.take();
        EXPECT_EQ(-4, tv.service->cancel(handle));
        EXPECT_EQ((Lines{line, "W AudioHV: [cancelInt] cancel failed."}), failures(tv.log.take()));
    }
    tv.set.write("faults", "");
    EXPECT_EQ(0, tv.service->cancel(handle));
    tv.pass(0s);
    EXPECT_EQ(Codes{1}, tv.client->outcomes);
    EXPECT_EQ(1s, tv.clock.now());
    EXPECT_EQ("ioctl(zavo_bectrl, 0xC0106302, 0) = 0", *(tv.set.takeJournal().end() - 2));
}

TEST(HeadphoneVirtualizer, ABufferInTransferIsDiscardedAfterItsEnd) {
    for (const bool isAllocated : {false, true}) {
        Tv tv;
        tv.set.write(kReaction, "");
        const int32_t handle = tv.send(kDevice);
        tv.pass(1s);
        tv.log.take();
        if (isAllocated) {
            EXPECT_EQ(handle + 1, tv.service->allocateParameterBuffer(kDevice, 1));
        } else {
            EXPECT_EQ(0, tv.service->discardParameterBuffer(handle));
        }
        EXPECT_EQ(Codes{1}, tv.client->outcomes);
        const Lines log = tv.log.take();
        EXPECT_EQ(1, std::count(log.begin(), log.end(),
                                D("[discardParameterBufferInt] call cancel()")));
        EXPECT_EQ(0, std::count(log.begin(), log.end(),
                                D("[discardParameterBufferInt] release memory.")));
        EXPECT_EQ(-1, tv.service->append(handle, {}));
    }
}

TEST(HeadphoneVirtualizer, AWorkerThatOutlastsTheWaitKeepsItsBuffer) {
    Tv tv;
    tv.client->onCall = [&] { tv.pass(60s); };
    const int32_t handle = tv.send(kDevice);
    tv.pass(1s);
    EXPECT_EQ(0, tv.service->discardParameterBuffer(handle));
    EXPECT_EQ(21s, tv.clock.now());
    EXPECT_EQ(-3, tv.service->append(handle, {}));
    tv.log.take();
    EXPECT_EQ(0, tv.service->allocateParameterBuffer(kDevice, 1));
    EXPECT_EQ(41s, tv.clock.now());
    EXPECT_EQ("W AudioHV: [allocateParameterBufferInt] HIDL is waiting or BeCtrl is transferring!!",
              *(tv.log.take().end() - 2));
    tv.pass(20s);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ(handle + 1, tv.service->allocateParameterBuffer(kDevice, 1));
}

}  // namespace
