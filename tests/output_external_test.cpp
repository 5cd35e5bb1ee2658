/* The external output: its setting in the store and in its file, over starts and failures. */

#include <sys/stat.h>

#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "tests/support/tv.h"

using namespace V3_1::implementation;

namespace {

const std::string kPath = "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
const std::string kFile = "fs" + kPath;
constexpr char kStore[] = "config/g_audio__bitstream_output_mode";
const std::string kOff("\2\0\0\0", 4);
const std::string kOn("\0\0\0\0", 4);

std::string write(int mode, int status = 0) {
    return "a_mtktvapi_config_set_value(-1, \"g_audio__bitstream_output_mode\", " +
           to_string(mode) + ", 7) = " + to_string(status);
}

using Tv = Running<OutputExternal>;

const std::string kConnected = "D -: OutputExternal mtal open success";
const std::string kFirst =
        "D -: [OutputExternal] prev setting not exist. set bitstream output mode 0,  result 0";

TEST(OutputExternal, StartPutsWhatIsKeptIntoTheStoreAndGoesOnThroughEveryFailure) {
    const std::string none = "-", open = "open file " + kPath + " failed, errno 13";
    const auto kept = [](int mode, int result = 0) {
        return Lines{"D -: [OutputExternal] set bitstream output mode " + to_string(mode) +
                     ",  result " + to_string(result)};
    };
    const struct {
        const char* name;
        std::string file, faults;
        Lines log, journal;
        std::string left;
    } cases[] = {
            {"no file", none, "", {kFirst}, {write(0)}, ""},
            {"forced", kOn, "", kept(0), {write(0)}, kOn},
            {"not forced", kOff, "", kept(2), {write(2)}, kOff},
            {"one byte", "\2", "", kept(2), {write(2)}, "\2"},  // what is missing counts as zero
            {"three bytes", "\1\2\3", "", kept(0x030201), {write(0x030201)}, "\1\2\3"},
            {"more", "\xff\xff\xff\xff and", "", kept(-1), {write(-1)}, "\xff\xff\xff\xff and"},
            {"no middleware", kOff, "MTAL_InitExCb 3", kept(2), {write(2)}, kOff},
            {"no permission",
             kOff,
             "open(output_mode) EACCES",
             {"E -: [OutputExternal] " + open},
             {},
             kOff},
            {"unreadable", kOff, "read(output_mode) EIO", {kFirst}, {write(0)}, kOff},
            {"refused by the store",
             kOff,
             "a_mtktvapi_config_set_value 5",
             kept(2, 5),
             {write(2, 5)},
             kOff},
    };
    umask(0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TvWith<OutputExternal> tv;
        tv.set.write(kFile, c.file);
        if (c.file == none) tv.set.remove(kFile);
        tv.start(c.faults);
        const bool isConnected = c.faults.find("MTAL") != 0;
        tv.log.expect(
                {isConnected ? kConnected : "E -: ERROR: OutputExternal MTAL_Init.... , r = 3 \\n",
                 c.log});
        tv.set.expectJournal({"IMtkPb_Ctrl_Init() = 0",
                              "MTAL_InitExCb(0) = " + to_string(isConnected ? 0 : 3), c.journal});
        EXPECT_EQ(c.left, tv.set.read(kFile));
        EXPECT_EQ(c.file == none ? 0777u : 0666u, tv.set.mode(kFile));
    }
}

TEST(OutputExternal, StartWaitsForTheMiddlewareForTwentySecondsAtMost) {
    for (const auto& [readyAfter, count] : {std::pair(1495ms, 150), {3600'000ms, 2000}}) {
        SCOPED_TRACE(count);
        TvWith<OutputExternal> tv({.isReady = false});
        tv.clock.at(readyAfter, [set = &tv.set] { set->write(kMarker, ""); });
        tv.start();
        tv.log.expect({waiting("D -: <<<<<hidlaudio", count),
                       Lines(count == 2000, "D -: dtv_svc rpc server failed."), kConnected,
                       kFirst});
        EXPECT_EQ(10ms * count, tv.clock.now());
    }
}

TEST(OutputExternal, SettingGoesToTheStoreThenToTheFileAndBackAtTheNextStart) {
    Tv tv;
    for (const bool isOn : {false, true}) {
        const std::string mode = isOn ? "0" : "2";
        EXPECT_EQ(0, tv.service->setForceEncodingEnabled(isOn));
        tv.log.expect({"D -: [setForceEncodingEnabled] start enable:" + to_string(isOn),
                       "D -: [setForceEncodingEnabled] write(data=" + mode + ") ret = 4",
                       "D -: [setForceEncodingEnabled] end ret:0"});
        tv.set.expectJournal({write(isOn ? 0 : 2)});
        EXPECT_EQ(isOn ? kOn : kOff, tv.set.read(kFile));

        tv.set.remove(kStore);
        tv.startQuietly();
        EXPECT_EQ(isOn, tv.service->getForceEncodingEnabled());
        tv.log.expect({"D -: [getForceEncodingEnabled] start",
                       "D -: [getForceEncodingEnabled] end ret:" + to_string(isOn)});
        tv.set.takeJournal();
    }
}

TEST(OutputExternal, SettingReportsTheStoreAndOnlyLogsTheFile) {
    const std::string name = "[setForceEncodingEnabled] ", none = "-";
    const std::string open = "E -: " + name + "open file " + kPath + " failed, errno ";
    const struct {
        const char *name, *faults;
        int32_t status;
        std::string line;  // the one between start and end
        std::string file;
    } cases[] = {
            {"refused by the store", "a_mtktvapi_config_set_value 7", 7,
             "E -: setForceEncodingEnabled, MTKTVAPI failed:ret = 7\\n", "kept"},
            {"read-only disk", "open(output_mode) EROFS", 0, open + "30", "kept"},
            {"full disk", "write(output_mode) ENOSPC", 0, "D -: " + name + "write(data=2) ret = -1",
             "kept"},
            {"short write", "write(output_mode) short", 0, "D -: " + name + "write(data=2) ret = 2",
             "\2\0pt"s},
            {"a deleted file is not made anew", "", 0, open + "2", none},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv;
        tv.set.write(kFile, "kept");
        if (c.file == none) tv.set.remove(kFile);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->setForceEncodingEnabled(false));
        tv.log.expect({"D -: " + name + "start enable:0", c.line,
                       "D -: " + name + "end ret:" + to_string(c.status)});
        EXPECT_EQ(c.file, tv.set.has(kFile) ? tv.set.read(kFile) : none);
    }
}

TEST(OutputExternal, OnlyTheStoredZeroMeansForced) {
    Tv tv;
    for (const char* stored : {"1", "2", "-1"}) {
        tv.set.write(kStore, stored);
        EXPECT_FALSE(tv.service->getForceEncodingEnabled()) << stored;
    }
    tv.log.take();
    // A failed read must not be taken for the zero that the store holds.
    tv.set.write(kStore, "0");
    tv.set.write("faults", "a_mtktvapi_config_get_value 9");
    EXPECT_FALSE(tv.service->getForceEncodingEnabled());
    tv.log.expect({"D -: [getForceEncodingEnabled] start",
                   "E -: getForceEncodingEnabled, MTKTVAPI failed:ret = 9\\n"});
}

TEST(OutputExternal, FormatsAndListenersAreAcceptedWithoutEffect) {
    Tv tv;
    EXPECT_EQ(0, tv.service->setEncodingFormat("other"));
    Lines answers;
    tv.service->getEncodingFormat([&](const auto& format) { answers.push_back(format); });
    tv.service->getAvailableEncodingFormats([&](const auto& formats) {
        for (const auto& format : formats) answers.push_back(format);
    });
    EXPECT_EQ((Lines{"auto", "auto"}), answers);

    const sp<OutputEncodingStatusListener> listener = new OutputEncodingStatusListener;
    const int32_t references = listener->getStrongCount();
    EXPECT_EQ(0, tv.service->registerEncodingFormatListener(listener));
    EXPECT_EQ(references, listener->getStrongCount());
    EXPECT_EQ(0, tv.service->unregisterEncodingFormatListener(nullptr));
    EXPECT_TRUE(listener->onForceEncodingChanged(true).isOk());
    EXPECT_TRUE(listener->onEncodingFormatChanged("auto").isOk());

    Lines log;
    for (const char* name :
         {"setEncodingFormat", "getEncodingFormat", "getAvailableEncodingFormats",
          "registerEncodingFormatListener", "unregisterEncodingFormatListener",
          "onForceEncodingChanged", "onEncodingFormatChanged"}) {
        log.push_back("D -: [" + std::string(name) + "] start");
    }
    tv.log.expect(log);
    tv.set.expectJournal({});
}

}  // namespace
