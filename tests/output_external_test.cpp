/* The external output: its setting in the store and in its file, over starts and failures. */

#include <sys/stat.h>

#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "tests/support/transcript.h"
#include "tests/support/tv.h"

using namespace V3_1::implementation;

namespace {

const std::string kPath = "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
const std::string kFile = "fs" + kPath;
constexpr char kStore[] = "config/g_audio__bitstream_output_mode";
const std::string kOff("\2\0\0\0", 4);
const std::string kOn("\0\0\0\0", 4);

const std::string kNone = "-";  // no file
const Transcript kTranscript("output_external.txt");

using Tv = Running<OutputExternal>;

TEST(OutputExternal, StartPutsWhatIsKeptIntoTheStoreAndContinuesAfterEveryFailure) {
    const struct {
        const char* name;
        std::string file, faults, left;
    } cases[] = {
            {"start, no file", kNone, "", ""},
            {"start, forced", kOn, "", kOn},
            {"start, not forced", kOff, "", kOff},
            {"start, one byte", "\2", "", "\2"},  // what is missing counts as zero
            {"start, three bytes", "\1\2\3", "", "\1\2\3"},
            {"start, more bytes", "\xff\xff\xff\xff and", "", "\xff\xff\xff\xff and"},
            {"start, no connection", kOff, "MTAL_InitExCb 3", kOff},
            {"start, no permission", kOff, "open(output_mode) EACCES", kOff},
            {"start, unreadable", kOff, "read(output_mode) EIO", kOff},
            {"start, store refuses", kOff, "a_mtktvapi_config_set_value 5", kOff},
    };
    umask(0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TvWith<OutputExternal> tv;
        tv.set.write(kFile, c.file);
        if (c.file == kNone) tv.set.remove(kFile);
        tv.start(c.faults);
        kTranscript.expect(c.name, tv);
        EXPECT_EQ(c.left, tv.set.read(kFile));
        EXPECT_EQ(c.file == kNone ? 0777u : 0666u, tv.set.mode(kFile));
    }
}

TEST(OutputExternal, StartWaitsForTheMiddlewareForTwentySecondsAtMost) {
    for (const auto& [readyAfter, count] : {std::pair(1495ms, 150), {3600'000ms, 2000}}) {
        SCOPED_TRACE(count);
        TvWith<OutputExternal> tv({.isReady = false});
        tv.clock.after(readyAfter, [set = &tv.set] { set->write(kMarker, ""); });
        tv.start();
        tv.log.expect({waiting("D -: <<<<<hidlaudio", count),
                       Lines(count == 2000, "D -: dtv_svc rpc server failed."),
                       "D -: OutputExternal mtal open success",
                       "D -: [OutputExternal] prev setting not exist. set bitstream output mode 0, "
                       " result 0"});
        EXPECT_EQ(10ms * count, tv.clock.now());
    }
}

TEST(OutputExternal, SettingGoesToTheStoreThenToTheFileAndBackAtTheNextStart) {
    Tv tv;
    for (const bool isOn : {false, true}) {
        EXPECT_EQ(0, tv.service->setForceEncodingEnabled(isOn));
        kTranscript.expect(isOn ? "set forced" : "set not forced", tv);
        EXPECT_EQ(isOn ? kOn : kOff, tv.set.read(kFile));

        tv.set.remove(kStore);
        tv.startQuietly();
        EXPECT_EQ(isOn, tv.service->getForceEncodingEnabled());
        kTranscript.expect(isOn ? "get forced" : "get not forced", tv);
    }
}

TEST(OutputExternal, SettingReportsTheStoreAndOnlyLogsTheFile) {
    const struct {
        const char *name, *faults;
        int32_t status;
        std::string file;
    } cases[] = {
            {"set, store refuses", "a_mtktvapi_config_set_value 7", 7, "kept"},
            {"set, read-only disk", "open(output_mode) EROFS", 0, "kept"},
            {"set, full disk", "write(output_mode) ENOSPC", 0, "kept"},
            {"set, short write", "write(output_mode) short", 0, "\2\0pt"s},
            {"set, a deleted file is not made anew", "", 0, kNone},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Tv tv;
        tv.set.write(kFile, "kept");
        if (c.file == kNone) tv.set.remove(kFile);
        tv.set.write("faults", c.faults);
        EXPECT_EQ(c.status, tv.service->setForceEncodingEnabled(false));
        kTranscript.expect(c.name, tv);
        EXPECT_EQ(c.file, tv.set.has(kFile) ? tv.set.read(kFile) : kNone);
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

    kTranscript.expect("without effect", tv);
}

}  // namespace
