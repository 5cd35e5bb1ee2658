/* The external output: its setting in the store and in its file, over starts and failures. */

#include <gtest/gtest.h>

#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "host/tvset/clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio::V3_1::implementation;
using namespace std::chrono_literals;
using android::hardware::hidl_vec;
using Lines = std::vector<std::string>;

namespace {

constexpr char kFile[] = "fs/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
constexpr char kStore[] = "config/g_audio__bitstream_output_mode";
constexpr char kMarker[] = "fs/data/vendor/tmp/dtv_svc_is_ready";
const std::string kOff("\2\0\0\0", 4);
const std::string kOn("\0\0\0\0", 4);

std::string write(int mode, int status = 0) {
    return "a_mtktvapi_config_set_value(-1, \"g_audio__bitstream_output_mode\", " +
           std::to_string(mode) + ", 7) = " + std::to_string(status);
}

/** A set with a service, whose log and journal tell from the service's first call on. */
struct Running {
    explicit Running(const std::string& kept = kOn) {
        set.write(kFile, kept);
        service = new OutputExternal;
        log.take();
        set.takeJournal();
    }
    TempSet set;
    LogCapture log;
    sp<OutputExternal> service;
};

TEST(OutputExternal, FirstStartMakesAnEmptyFileAndForcesTheEncoding) {
    TempSet set;
    set.remove(kFile);
    LogCapture log;
    const sp<OutputExternal> service = new OutputExternal;

    EXPECT_EQ((Lines{"D -: OutputExternal mtal open success",
                     "D -: [OutputExternal] prev setting not exist. set bitstream output mode 0,  "
                     "result 0"}),
              log.take());
    EXPECT_EQ((Lines{"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0", write(0)}),
              set.takeJournal());
    EXPECT_TRUE(set.has(kFile));
    EXPECT_EQ("", set.read(kFile));
    EXPECT_TRUE(service->getForceEncodingEnabled());
}

TEST(OutputExternal, StartPutsWhatTheFileHoldsIntoTheStore) {
    const struct {
        std::string file;
        int mode;
    } cases[] = {{kOn, 0},
                 {kOff, 2},
                 {"\2", 2},  // what is missing counts as zero
                 {std::string("\1\2\3", 3), 0x030201},
                 {"\xff\xff\xff\xff and more", -1}};
    for (const auto& c : cases) {
        TempSet set;
        set.write(kFile, c.file);
        LogCapture log;
        const sp<OutputExternal> service = new OutputExternal;
        EXPECT_EQ("D -: [OutputExternal] set bitstream output mode " + std::to_string(c.mode) +
                          ",  result 0",
                  log.take().back());
        EXPECT_EQ(write(c.mode), set.takeJournal().back());
        EXPECT_EQ(c.file, set.read(kFile));
    }
}

TEST(OutputExternal, StartGoesOnThroughEveryFailure) {
    const std::string path = "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
    const struct {
        const char* faults;
        Lines log;
        Lines journal;
    } cases[] = {
            {"MTAL_InitExCb 3",
             {"E -: ERROR: OutputExternal MTAL_Init.... , r = 3 \\n",
              "D -: [OutputExternal] set bitstream output mode 2,  result 0"},
             {"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 3", write(2)}},
            {"open(bitstream_output_mode.data) EACCES",
             {"D -: OutputExternal mtal open success",
              "E -: [OutputExternal] open file " + path + " failed, errno 13"},
             {"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0"}},
            {"read(bitstream_output_mode.data) EIO",
             {"D -: OutputExternal mtal open success",
              "D -: [OutputExternal] prev setting not exist. set bitstream output mode 0,  "
              "result 0"},
             {"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0", write(0)}},
            {"a_mtktvapi_config_set_value 5",
             {"D -: OutputExternal mtal open success",
              "D -: [OutputExternal] set bitstream output mode 2,  result 5"},
             {"IMtkPb_Ctrl_Init() = 0", "MTAL_InitExCb(0) = 0", write(2, 5)}},
    };
    for (const auto& c : cases) {
        TempSet set;
        set.write(kFile, kOff);
        set.write("faults", c.faults);
        LogCapture log;
        const sp<OutputExternal> service = new OutputExternal;
        EXPECT_EQ(c.log, log.take());
        EXPECT_EQ(c.journal, set.takeJournal());
        EXPECT_EQ(kOff, set.read(kFile));
    }
}

TEST(OutputExternal, StartWaitsForTheMiddlewareForTwentySecondsAtMost) {
    const struct {
        std::chrono::milliseconds readyAfter;
        size_t progressLines;
        bool timesOut;
    } cases[] = {{0s, 0, false}, {1495ms, 150, false}, {1h, 2000, true}};
    for (const auto& c : cases) {
        TempSet set({.isReady = c.readyAfter == 0s});
        LogCapture log;
        tvset::VirtualClock clock;
        clock.at(c.readyAfter, [&] { set.write(kMarker, ""); });
        const sp<OutputExternal> service = new OutputExternal;

        Lines expected;
        for (size_t i = 0; i < c.progressLines; i++) {
            expected.push_back("D -: <<<<<hidlaudio waiting dtv_svc>>>>> count:" +
                               std::to_string(i));
        }
        if (c.timesOut) expected.push_back("D -: dtv_svc rpc server failed.");
        expected.push_back("D -: OutputExternal mtal open success");
        Lines lines = log.take();
        lines.resize(expected.size());
        EXPECT_EQ(expected, lines);
        EXPECT_EQ(10ms * c.progressLines, clock.now());
    }
}

TEST(OutputExternal, SettingGoesToTheStoreThenToTheFileAndBackAtTheNextStart) {
    Running set;
    for (const bool isOn : {false, true}) {
        const std::string mode = isOn ? "0" : "2";
        EXPECT_EQ(0, set.service->setForceEncodingEnabled(isOn));
        EXPECT_EQ((Lines{std::string("D -: [setForceEncodingEnabled] start enable:") +
                                 (isOn ? "1" : "0"),
                         "D -: [setForceEncodingEnabled] write(data=" + mode + ") ret = 4",
                         "D -: [setForceEncodingEnabled] end ret:0"}),
                  set.log.take());
        EXPECT_EQ(Lines{write(isOn ? 0 : 2)}, set.set.takeJournal());
        EXPECT_EQ(isOn ? kOn : kOff, set.set.read(kFile));

        set.set.remove(kStore);
        const sp<OutputExternal> next = new OutputExternal;
        set.log.take();
        EXPECT_EQ(isOn, next->getForceEncodingEnabled());
        EXPECT_EQ((Lines{"D -: [getForceEncodingEnabled] start",
                         "D -: [getForceEncodingEnabled] end ret:" + std::to_string(isOn ? 1 : 0)}),
                  set.log.take());
        set.set.takeJournal();
    }
}

TEST(OutputExternal, SettingReportsTheStoreAndOnlyLogsTheFile) {
    const std::string name = "[setForceEncodingEnabled] ";
    const struct {
        const char* faults;
        int32_t status;
        std::string line;  // the one between start and end
        std::string file;
    } cases[] = {
            {"a_mtktvapi_config_set_value 7", 7,
             "E -: setForceEncodingEnabled, MTKTVAPI failed:ret = 7\\n", kOn},
            {"open(bitstream_output_mode.data) EROFS", 0,
             "E -: " + name +
                     "open file /data/vendor/zavo/hidlaudio/bitstream_output_mode.data failed, "
                     "errno 30",
             kOn},
            {"write(bitstream_output_mode.data) ENOSPC", 0,
             "D -: " + name + "write(data=2) ret = -1", kOn},
            {"write(bitstream_output_mode.data) short", 0, "D -: " + name + "write(data=2) ret = 2",
             kOff},
    };
    for (const auto& c : cases) {
        Running set;
        set.set.write("faults", c.faults);
        EXPECT_EQ(c.status, set.service->setForceEncodingEnabled(false)) << c.faults;
        EXPECT_EQ((Lines{"D -: " + name + "start enable:0", c.line,
                         "D -: " + name + "end ret:" + std::to_string(c.status)}),
                  set.log.take());
        EXPECT_EQ(c.file, set.set.read(kFile)) << c.faults;
    }
}

TEST(OutputExternal, AFileDeletedWhileServingIsNotMadeAnew) {
    Running set;
    set.set.remove(kFile);
    EXPECT_EQ(0, set.service->setForceEncodingEnabled(false));
    EXPECT_EQ(
            "E -: [setForceEncodingEnabled] open file "
            "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data failed, errno 2",
            set.log.take()[1]);
    EXPECT_FALSE(set.set.has(kFile));
    EXPECT_EQ("2\n", set.set.read(kStore));
}

TEST(OutputExternal, OnlyTheStoredZeroMeansForced) {
    Running set(kOff);
    for (const char* stored : {"1", "2", "-1"}) {
        set.set.write(kStore, stored);
        EXPECT_FALSE(set.service->getForceEncodingEnabled()) << stored;
    }
    set.log.take();
    // A failed read must not be taken for the zero that the store holds.
    set.set.write(kStore, "0");
    set.set.write("faults", "a_mtktvapi_config_get_value 9");
    EXPECT_FALSE(set.service->getForceEncodingEnabled());
    EXPECT_EQ((Lines{"D -: [getForceEncodingEnabled] start",
                     "E -: getForceEncodingEnabled, MTKTVAPI failed:ret = 9\\n"}),
              set.log.take());
}

TEST(OutputExternal, TheFormatIsAlwaysAuto) {
    Running set;
    EXPECT_EQ(0, set.service->setEncodingFormat("other"));
    int answers = 0;
    set.service->getEncodingFormat([&](const hidl_string& format) {
        answers++;
        EXPECT_EQ("auto", std::string(format));
    });
    set.service->getAvailableEncodingFormats([&](const hidl_vec<hidl_string>& formats) {
        answers++;
        EXPECT_EQ(hidl_vec<hidl_string>{"auto"}, formats);
    });
    EXPECT_EQ(2, answers);
    EXPECT_EQ((Lines{"D -: [setEncodingFormat] start", "D -: [getEncodingFormat] start",
                     "D -: [getAvailableEncodingFormats] start"}),
              set.log.take());
    EXPECT_EQ(Lines{}, set.set.takeJournal());
}

TEST(OutputExternal, ListenersAreAcceptedAndNotKept) {
    Running set;
    const sp<OutputEncodingStatusListener> listener = new OutputEncodingStatusListener;
    const int32_t references = listener->getStrongCount();
    EXPECT_EQ(0, set.service->registerEncodingFormatListener(listener));
    EXPECT_EQ(references, listener->getStrongCount());
    EXPECT_EQ(0, set.service->unregisterEncodingFormatListener(nullptr));

    EXPECT_TRUE(listener->onForceEncodingChanged(true).isOk());
    EXPECT_TRUE(listener->onEncodingFormatChanged("auto").isOk());
    EXPECT_EQ(
            (Lines{"D -: [registerEncodingFormatListener] start",
                   "D -: [unregisterEncodingFormatListener] start",
                   "D -: [onForceEncodingChanged] start", "D -: [onEncodingFormatChanged] start"}),
            set.log.take());
}

}  // namespace
