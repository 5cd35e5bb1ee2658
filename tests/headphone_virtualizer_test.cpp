/* The headphone virtualizer on the virtual set, in the virtual time. */

#include <poll.h>

#include <log/log.h>

#include "V5_0/HeadphoneVirtualizer.h"
#include "tests/support/transcript.h"
#include "tests/support/tv.h"

namespace {

using android::hardware::Void;
using V5_0::ParamType;
using V5_0::implementation::HeadphoneVirtualizer;
using Codes = std::vector<int32_t>;

constexpr ParamType kDevice = ParamType::DEVICE_PARAMETER, kHrtf = ParamType::HRTF_PARAMETER;
constexpr char kReaction[] = "bectrl/reaction";
const std::string kCompletions = "fs/proc/driver/zavo_bectrl/audio/";
const std::string kDeviceComplete = kCompletions + "device_parameter_complete";
const std::string kHrtfComplete = kCompletions + "hrtf_parameter_complete";

const auto D = [](const std::string& text) { return "D AudioHV: " + text; };
const auto W = [](const std::string& text) { return "W AudioHV: " + text; };
const auto E = [](const std::string& text) { return "E AudioHV: " + text; };

/** A client that keeps the outcomes it is told. */
struct Callback : V5_0::IHeadphoneVirtualizerCallback {
    ~Callback() override {
        if (onEnd) onEnd();
    }
    Return<void> onTransferResult(int32_t result) override {
        outcomes.push_back(result);
        if (onCall) onCall();
        return Void();
    }
    Codes outcomes;
    std::function<void()> onCall, onEnd;
};

/** A set with a service that has started on it, and a client of it. */
struct Tv : Running<HeadphoneVirtualizer> {
    explicit Tv(bool hasBackEnd = true) : Running({.hasBackEnd = hasBackEnd}) {}
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

    sp<Callback> client = new Callback;
};

constexpr char kFailures[] = "^[EW] ";
const std::string kReady =
        "I AudioHV: [checkDtvSvcBoot] <<<<<hidlaudio dtv_svc is ready !>>>>> count:0";
const Transcript kTranscript("headphone_virtualizer.txt");

TEST(HeadphoneVirtualizer, StartDetectsWhetherTheSetHasAController) {
    const tvset::SetOptions plain, backEnd{.hasBackEnd = true};
    const tvset::SetOptions late{.hasBackEnd = true, .isReady = false};
    const struct {
        const char* name;
        tvset::SetOptions options;
        const char* faults;
        bool isSupported;
    } cases[] = {
            {"start, back end", backEnd, "", true},
            {"start, no connection", backEnd, "MTAL_InitExCb 6", true},
            {"start, plain", plain, "", false},
            {"start, no drivers", backEnd, "MTAL_Init 1", false},
            {"start, no EEPROM", backEnd, "MTEEPROM_Init 1", false},
            {"start, no model byte", backEnd, "MTEEPROM_Read 1", false},
            {"start, no middleware", late, "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TvWith<HeadphoneVirtualizer> tv(c.options);
        tv.clock.after(19'995ms, [&] { tv.set.write(kMarker, ""); });  // too late
        tv.start(c.faults);
        kTranscript.expect(c.name, tv);
        EXPECT_EQ(c.options.isReady ? 0s : 20s, tv.clock.now());
        EXPECT_EQ(c.isSupported, tv.service->getUpmixEnabled());
        EXPECT_FALSE(tv.service->getVirtualizerEnabled());
    }
}

TEST(HeadphoneVirtualizer, SwitchesAreKeptOnceTheControllerHasAcceptedThem) {
    Tv tv;
    EXPECT_EQ(0, tv.service->setVirtualizerEnabled(true));
    EXPECT_TRUE(tv.service->getVirtualizerEnabled());
    tv.log.expect({D("[setVirtualizerEnabled] start. enable:1"), kReady,
                   D("[setVirtualizerEnabled] end. Return:0"), D("[getVirtualizerEnabled] start"),
                   D("[getVirtualizerEnabled] end. Return:1")});
    EXPECT_EQ(0, tv.service->setUpmixEnabled(false));
    tv.set.expectJournal(
            {"MTAL_InitExCb(0) = 0",
             "MTDRVCUST_dcustom_cust_spec_set(0x20185, {id=32 len=1 data=01}, 264, 0) = 0",
             "MTAL_InitExCb(0) = 0",
             "MTDRVCUST_dcustom_cust_spec_set(0x20185, {id=33 len=1 data=00}, 264, 0) = 0"});
}

TEST(HeadphoneVirtualizer, SwitchesThatTheControllerDoesNotTakeStayAsTheyWere) {
    const struct {
        const char *name, *faults;
        int32_t status;
    } cases[] = {
            {"switch refused", "MTDRVCUST_dcustom_cust_spec_set 9", 9},
            {"switch without connection", "MTAL_InitExCb 8", 8},
            {"switch without middleware", "access ENOENT", -5},
    };
    Tv tv;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->setUpmixEnabled(false));
        EXPECT_TRUE(tv.service->getUpmixEnabled());
        kTranscript.expect(c.name, tv);
    }
}

TEST(HeadphoneVirtualizer, ASetWithoutAControllerHasNoSwitches) {
    Tv tv(false);
    EXPECT_EQ(-5, tv.service->setUpmixEnabled(false));
    EXPECT_FALSE(tv.service->getUpmixEnabled());
    tv.log.expect({D("[setUpmixEnabled] start. enable:0"),
                   E("[setUpmixEnabled] end. HRTF is not supported. Return:-5"),
                   D("[getUpmixEnabled] start"),
                   E("[getUpmixEnabled] end. HRTF is not supported.")});
    tv.set.expectJournal({});
}

TEST(HeadphoneVirtualizer, HasOneType) {
    Tv tv(false);
    for (const std::string& type : {"Zavo"s, "zavo"s, ""s, "Zavo\0"s}) {
        EXPECT_EQ(type == "Zavo"s ? 0 : -5, tv.service->setVirtualizerType(type));
    }
    tv.log.take();
    EXPECT_EQ(-5, tv.service->setVirtualizerType("x"));
    const auto answer = [](const auto& text) {
        ALOG(LOG_INFO, "client", "%s", toString(text).c_str());
    };
    tv.service->getVirtualizerType(answer);
    tv.service->getAvailableVirtualizerTypes(answer);
    tv.log.expect({D("[setVirtualizerType] start type=[x]"),
                   E("[setVirtualizerType] x is not supported"),
                   D("[setVirtualizerType] end Return: -5"), D("[getVirtualizerType] start"),
                   D("[getVirtualizerType] end Return type=[Zavo]"), "I client: \"Zavo\"",
                   D("[getAvailableVirtualizerTypes] start"),
                   D("[getAvailableVirtualizerTypes] types[i]=[Zavo]"), "I client: [1]{\"Zavo\"}"});
}

TEST(HeadphoneVirtualizer, HandlesRunThroughAndNeverMeet) {
    Tv tv;
    EXPECT_EQ(0, tv.service->allocateParameterBuffer(kHrtf, -1)) << "and takes no handle";
    EXPECT_EQ(1, tv.service->allocateParameterBuffer(kHrtf, 10));
    // Either kind passes by the handle that the other one has.
    for (const auto& [kind, first, next] : {std::tuple(kDevice, 2, 2), {kHrtf, 3, 1}}) {
        for (int32_t expected = first; expected < 255; expected++) {
            ASSERT_EQ(expected, tv.service->allocateParameterBuffer(kind, 10));
        }
        EXPECT_EQ(next, tv.service->allocateParameterBuffer(kind, 10));
    }
    EXPECT_EQ(3, tv.service->allocateParameterBuffer(kHrtf, 10));
    EXPECT_EQ(-1, tv.service->append(254, {}));
    EXPECT_EQ(0, tv.service->append(2, {}));
    EXPECT_EQ(0, tv.service->discardParameterBuffer(2));
    tv.log.take();
    for (const int32_t unknown : {2, -1, 0, 255}) {
        EXPECT_EQ(-1, tv.service->append(unknown, {}));
        EXPECT_EQ(-1, tv.service->discardParameterBuffer(unknown));
        EXPECT_EQ(-1, tv.service->cancel(unknown));
        EXPECT_EQ(-1, tv.service->apply(unknown, tv.client));
        kTranscript.expect("unknown handle " + to_string(unknown), tv);
    }
    EXPECT_EQ(0, tv.service->allocateParameterBuffer(ParamType(2), 10));
    tv.log.expect({D("[allocateParameterBuffer] start. ParamType=2, size=10"),
                   E("[getParamFromType] ParamType(2) is not supported."),
                   D("[allocateParameterBuffer] end. handle:0")});
}

TEST(HeadphoneVirtualizer, ABufferOfNegativeSizeIsRefused) {
    Tv tv;
    for (const int32_t size : {-1, INT32_MIN}) {
        tv.fill(kHrtf);  // is given up all the same
        EXPECT_EQ(0, tv.service->allocateParameterBuffer(kHrtf, size));
        kTranscript.expect("allocate " + to_string(size), tv);
    }
}

TEST(HeadphoneVirtualizer, ABufferTakesPiecesUpToItsSize) {
    Tv tv;
    const hidl_vec<uint8_t> most(std::vector<uint8_t>(262144)), more(std::vector<uint8_t>(262145));
    for (const int32_t size : {262144, 262145, INT32_MAX}) {
        const int32_t handle = tv.service->allocateParameterBuffer(kHrtf, size);
        tv.log.take();
        EXPECT_EQ(-2, tv.service->append(handle, more));
        EXPECT_EQ(Lines{E("[append] data size error. max append size=262144, append size=262145")},
                  tv.log.take().only("^[EW] |. end"));
        EXPECT_EQ(0, tv.service->append(handle, most));
        EXPECT_EQ(size == 262144 ? -2 : 0, tv.service->append(handle, {1}));
        EXPECT_EQ(size == INT32_MAX ? 0 : -2, tv.service->append(handle, {1}));
        EXPECT_EQ(0, tv.service->append(handle, {}));
        EXPECT_EQ(size == INT32_MAX ? -2 : 0, tv.service->apply(handle, tv.client));
        tv.pass(1s);
    }
    EXPECT_EQ(0, tv.service->apply(tv.fill(kDevice, ""), tv.client)) << "empty is full";
    tv.pass(1s);
    EXPECT_EQ((Codes{0, 0, 0}), tv.client->outcomes);
}

TEST(HeadphoneVirtualizer, EveryStepOfABufferIsLogged) {
    Tv tv;
    tv.fill(kHrtf, "x");
    EXPECT_EQ(262144, tv.service->getMaxAppendSize());
    EXPECT_EQ(2, tv.service->allocateParameterBuffer(kHrtf, 3));
    EXPECT_EQ(0, tv.service->append(2, {1, 2}));
    tv.set.write(kDeviceComplete, "\1\0"s);  // the size is looked at before the controller
    EXPECT_EQ(-2, tv.service->append(2, {3, 4}));
    EXPECT_EQ(-2, tv.service->apply(2, nullptr));
    EXPECT_EQ(0, tv.service->discardParameterBuffer(2));
    kTranscript.expectLines("buffer", tv.log.take().replaced("data=0x\\w+", "data=ADDRESS"));
}

TEST(HeadphoneVirtualizer, ARefusedApplyLeavesTheBufferReadyForAnother) {
    Tv tv;
    const std::string busy = "\1\0"s, half = "\0"s, idle = "\0\0"s;
    const struct {
        const char* name;
        std::string file, content;
        const char* faults;
        int32_t status;
        bool hasClient = true;
    } cases[] = {
            {"apply, busy with devices", kDeviceComplete, busy, "", -3, false},
            {"apply, busy with HRTFs", kHrtfComplete, "\xFF\0"s, "", -3},
            {"apply, half a state", kHrtfComplete, half, "", -5},
            {"apply, no file", kHrtfComplete, idle, "fopen(hrtf_parameter_complete) EACCES", -5},
            {"apply, no client", kHrtfComplete, idle, "", -5, false},
            {"apply, no thread", kHrtfComplete, idle, "pthread_create EAGAIN", -5},
    };
    const int32_t handle = tv.fill(kDevice);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tv.set.write(c.file, c.content);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->apply(handle, c.hasClient ? tv.client : nullptr));
        EXPECT_EQ(-4, tv.service->cancel(handle));
        kTranscript.expect(c.name, tv);
        tv.set.write(c.file, idle);
    }
    tv.set.write("faults", "");
    EXPECT_EQ(1, tv.client->getStrongCount()) << "a refused callback is not kept";
    EXPECT_EQ(0, tv.service->apply(handle, tv.client));
    EXPECT_EQ(Lines{D("[apply] end. Return:0")}, tv.log.take().only("apply. end"));
    tv.pass(20ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
}

TEST(HeadphoneVirtualizer, AnUploadIsTransferredAndReported) {
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
    const std::string thread = "[paramTransferThread] ", read = thread + "read proc file";
    EXPECT_EQ((Lines{D(thread + "start"), D(thread + "Acquire Wakelock HidlAudioDevice"),
                     "I AudioHV: " + thread + "Acquire Wakelock completed.",
                     D(thread + "update proc file!!"), D(read + "(state)=0x1"),
                     D(read + "(result)=0x0")}),
              tv.log.take().only("Thread"));
    tv.pass(1ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ((Codes{-3, -3}), statesDuringTheCallback);
    tv.log.expect({D("Release Wakelock HidlAudioDevice"), "I AudioHV: Release Wakelock completed.",
                   D("paramTransferThread finished")});
    tv.set.expectJournal({"acquire_wake_lock(1, \"HidlAudioDevice\") = 0",
                          "ioctl(zavo_bectrl, 0xC0106301, {size=9}) = 0",
                          "release_wake_lock(\"HidlAudioDevice\") = 0"});
    EXPECT_EQ("the bytes", tv.set.read("bectrl/device_parameters.bin"));
    EXPECT_EQ(-1, tv.service->append(handle, {}));
    EXPECT_EQ(1, tv.client->getStrongCount());
}

size_t countDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

const std::string kThread = "[paramTransferThread] ", kSend = "[setParametersToBeCtrl] ";
const std::string kTimeout = E(kThread + "epoll timeout!!");
const std::string kNoProc = E(kThread + "regist FD failed!!(proc)");
const std::string kNoTimer = E(kThread + "regist FD failed!!(timer)");
std::string result(const std::string& code) {
    return D(kThread + "read proc file(result)=" + code);
}

const struct {
    const char *name, *reaction, *faults;
    std::chrono::milliseconds time;
    int32_t outcome;
    std::string line;  // the last one before the outcome
    bool isSent = true;
} kEnds[] = {
        {"success at once", "0 0x01 0", "", 0ms, 0, result("0x1")},
        {"state -1", "-1 1 7", "", 7ms, 0, result("0x1")},
        {"cancelled", "2 0x03 7", "", 7ms, 1, result("0x3")},
        {"result 0", "0 0 7", "", 7ms, -3, result("0x0")},
        {"busy", "0 2 7", "", 7ms, -3, result("0x2")},
        {"result 0xF3", "0 0xF3 7", "", 7ms, -1, result("0xf3")},
        {"result 0xF4", "0 0xF4 7", "", 7ms, -1, result("0xf4")},
        {"result 0xFF", "0 0xFF 7", "", 7ms, -2, result("0xff")},
        {"just in time", "0 4 19999", "", 19999ms, -2, result("0x4")},
        {"too late", "0 1 20001", "", 20s, -2, kTimeout},
        {"never", "", "", 20s, -2, kTimeout},
        {"busy for ever", "1 0 7\n1 0 7", "", 20s, -2, kTimeout},
        {"interrupted", "0 1 7", "epoll_wait EINTR x3", 7ms, 0, result("0x1")},
        {"refused", "0 1 7", "ioctl(0xC0106300) -1", 0ms, -2, E(kSend + "ioctl() failed! : (-1)")},
        {"refused by 3", "0 1 7", "ioctl(0xC0106300) 3", 0ms, -2,
         E(kSend + "ioctl() failed! : (3)")},
        {"no device", "0 1 7", "open(zavo_bectrl) ENOENT", 0ms, -2,
         E(kSend + "bectrl device file open failed! : (-5)"), false},
        {"no epoll", "0 1 7", "epoll_create EMFILE", 0ms, -3, kNoProc, false},
        {"file not watched", "0 1 7", "epoll_ctl(hrtf_parameter_complete) ENOMEM", 0ms, -3, kNoProc,
         false},
        {"timer not watched", "0 1 7", "epoll_ctl(timerfd) ENOMEM", 0ms, -3, kNoTimer, false},
        {"no timer", "0 1 7", "timerfd_create EMFILE", 0ms, -3, kNoTimer, false},
        {"timer not set", "0 1 7", "timerfd_settime EINVAL", 0ms, -3,
         E(kThread + "start timer failed!!"), false},
        {"no wake lock", "0 1 7", "acquire_wake_lock -13", 0ms, -3,
         E(kThread + "Acquire Wakelock failed(errno:-13)."), false},
        {"wake lock kept", "0 1 7", "release_wake_lock -2", 7ms, 0, result("0x1")},
        {"wake locks of 5", "0 1 7", "acquire_wake_lock 5\nrelease_wake_lock 5", 7ms, 0,
         result("0x1")},
};

TEST(HeadphoneVirtualizer, EveryOutcomeOfATransferIsReportedOnce) {
    const char ofWorker[] = "^. AudioHV: (?!.apply)";  // apply() may end at any time meanwhile
    for (const auto& c : kEnds) {
        SCOPED_TRACE(c.name);
        Tv tv;
        tv.set.write(kReaction, c.reaction);
        tv.set.write("faults", c.faults);
        Lines before{""};
        std::chrono::nanoseconds toldAt{-1};
        const size_t descriptors = countDescriptors();
        const int32_t handle = tv.fill(kHrtf);
        tv.client->onCall = [&] {
            before = tv.log.take().only(ofWorker);
            toldAt = tv.clock.now();
        };
        EXPECT_EQ(0, tv.service->apply(handle, tv.client));
        tv.pass(30s);
        EXPECT_EQ(Codes{c.outcome}, tv.client->outcomes);
        EXPECT_EQ(c.line, before.back());
        EXPECT_EQ(c.time, toldAt);
        EXPECT_EQ((Lines{"acquire_wake_lock(1, \"HidlAudioHrtf\")",
                         Lines(c.isSent, "ioctl(zavo_bectrl, 0xC0106300, {size=10})"),
                         "release_wake_lock(\"HidlAudioHrtf\")"}),
                  tv.set.takeJournal().replaced(" = .*", ""));
        const bool isKept = c.faults == "release_wake_lock -2"s;
        EXPECT_EQ((Lines{D("Release Wakelock HidlAudioHrtf"),
                         isKept ? E("Release Wakelock failed(errno:-2).")
                                : "I AudioHV: Release Wakelock completed.",
                         D("paramTransferThread finished")}),
                  tv.log.take().only(ofWorker));
        EXPECT_EQ(-1, tv.service->append(handle, {}));
        EXPECT_EQ(descriptors, countDescriptors());
    }
}

TEST(HeadphoneVirtualizer, AWorkerWhoseCompletionFileIsGoneStartsNothing) {
    Tv tv;
    tv.send(kHrtf);  // holds the other up
    tv.send(kDevice);
    tv.set.write("faults", "fopen(device_parameter_complete) EACCES");
    tv.pass(1s);
    EXPECT_EQ((Codes{0, -3}), tv.client->outcomes);
    EXPECT_EQ(Lines{E("[paramTransferThread] Proc file open failed!")},
              tv.log.take().only(kFailures));
    EXPECT_EQ(1u, tv.set.takeJournal().only("^ioctl").size());
    // If the driver's answer cannot be read, the one before counts.
    tv.set.write(kReaction, "1 0 3\n0 1 17");
    for (const auto at : {1ms, 5ms}) {  // without one before, it counts as zeros
        tv.set.write("faults", "");
        tv.clock.after(at, [&] { tv.set.write("faults", "fread(hrtf_parameter_complete) EIO"); });
        tv.send(kHrtf);
        tv.pass(30s);
    }
    EXPECT_EQ((Codes{0, -3, -3, -2}), tv.client->outcomes);
    EXPECT_EQ((Lines{W("[readBeCtrlTransferState] fread proc file failed! errno:5"),
                     E("[paramTransferThread] epoll timeout!!")}),
              tv.log.take().only(kFailures));
}

TEST(HeadphoneVirtualizer, KindsAreTransferredInTheOrderOfTheirApply) {
    Tv tv;
    tv.set.write(kReaction, "1 0 0\n0 1 2200\n");
    tv.send(kDevice);
    tv.pass(0s);
    const int32_t handle = tv.send(kHrtf);
    const std::string devices = "ioctl(zavo_bectrl, 0xC0106301, {size=10}) = 0";
    const std::string hrtfs = "ioctl(zavo_bectrl, 0xC0106300, {size=10}) = 0";
    tv.pass(2400ms);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ(0, tv.service->cancel(handle));  // too late: there is nobody to wait for
    tv.send(kDevice);                          // the other has been waiting for longer
    tv.pass(10s);
    EXPECT_EQ((Codes{0, 0, 0}), tv.client->outcomes);
    EXPECT_EQ((Lines{devices, hrtfs, devices}), tv.set.takeJournal().only("^ioctl"));
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
    EXPECT_EQ(Lines{D("[paramTransferThread] Waiting thread finish is canceled")},
              tv.log.take().only("Waiting"));

    tv.send(kDevice);
    tv.pass(19999ms);
    EXPECT_EQ(Codes{1}, tv.client->outcomes);
    tv.pass(1ms);
    EXPECT_EQ((Codes{1, -2}), tv.client->outcomes);
    EXPECT_EQ(Lines{E("[paramTransferThread] Waiting thread finish is Timeout!")},
              tv.log.take().only(kFailures));
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
        SCOPED_TRACE(fault);
        tv.set.write("faults", fault);
        tv.log.take();
        EXPECT_EQ(-4, tv.service->cancel(handle));
        EXPECT_EQ((Lines{line, W("[cancelInt] cancel failed.")}), tv.log.take().only(kFailures));
    }
    tv.set.write("faults", "");
    EXPECT_EQ(0, tv.service->cancel(handle));
    tv.pass(0s);
    EXPECT_EQ(Codes{1}, tv.client->outcomes);
    EXPECT_EQ(1s, tv.clock.now());
    tv.set.expectJournal({"acquire_wake_lock(1, \"HidlAudioHrtf\") = 0",
                          "ioctl(zavo_bectrl, 0xC0106300, {size=10}) = 0",
                          "ioctl(zavo_bectrl, 0xC0106302, 0) = -1",
                          "ioctl(zavo_bectrl, 0xC0106302, 0) = 0",
                          "release_wake_lock(\"HidlAudioHrtf\") = 0"});
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
        EXPECT_EQ(Lines{D("[discardParameterBufferInt] call cancel()")},
                  tv.log.take().only("call cancel|release memory"));
        EXPECT_EQ(-1, tv.service->append(handle, {}));
    }
}

TEST(HeadphoneVirtualizer, ABufferWhoseTransferEndsDuringAnAppendIsNotFound) {
    Tv tv;
    tv.log.onLine = [&](const std::string& line) {
        if (line.find("[appendInt] start") != line.npos) tv.pass(1s);
    };
    const int32_t handle = tv.send(kDevice);
    EXPECT_EQ(-1, tv.service->append(handle, {}));
    tv.log.onLine = nullptr;
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ(Lines{E("[getParamFromHandle] handle is not found!")}, tv.log.take().only(kFailures));
}

TEST(HeadphoneVirtualizer, ARecordIsTakenUntilItIsResetWhole) {
    Tv tv;
    int32_t handle = -1;
    tv.client->onEnd = [&] { handle = tv.service->allocateParameterBuffer(kDevice, 1); };
    tv.send(kDevice);
    tv.client.clear();  // the record has the last reference
    tv.pass(60s);
    EXPECT_EQ(0, handle);
}

TEST(HeadphoneVirtualizer, ARecordIsFreeBeforeItsWakeLockWhichTheNextTransferWaitsFor) {
    Tv tv;
    bool isFirst = true;
    tv.log.onLine = [&](const std::string& line) {
        if (line != D("Release Wakelock HidlAudioDevice") || !std::exchange(isFirst, false)) return;
        tv.send(kDevice);
        poll(nullptr, 0, 50);  // time for the next one, if it does not wait
    };
    tv.send(kDevice);
    tv.pass(1s);
    tv.log.onLine = nullptr;
    EXPECT_EQ((Codes{0, 0}), tv.client->outcomes);
    EXPECT_EQ((Lines{"acquire", "release", "acquire", "release"}),
              tv.set.takeJournal().only("wake_lock").replaced("_wake.*", ""));
}

TEST(HeadphoneVirtualizer, AWorkerThatOutlastsTheWaitKeepsItsBuffer) {
    Tv tv;
    tv.client->onCall = [&] { tv.pass(60s); };
    const int32_t handle = tv.send(kDevice);
    tv.pass(1s);
    EXPECT_EQ(0, tv.service->discardParameterBuffer(handle));
    EXPECT_EQ(21s, tv.clock.now());
    EXPECT_EQ(-3, tv.service->append(handle, {}));
    EXPECT_EQ(-3, tv.service->apply(handle, tv.client));
    EXPECT_EQ(0, tv.service->allocateParameterBuffer(kDevice, 1));
    EXPECT_EQ(41s, tv.clock.now());
    const std::string busy = ". HIDL is waiting or BeCtrl is transferring!!";
    EXPECT_EQ((Lines{"[appendInt", "[apply", "[allocateParameterBufferInt"}),
              tv.log.take().only(kFailures).replaced("^W AudioHV: |" + busy, ""));
    tv.pass(20s);
    EXPECT_EQ(Codes{0}, tv.client->outcomes);
    EXPECT_EQ(handle + 1, tv.service->allocateParameterBuffer(kDevice, 1));
}

}  // namespace
