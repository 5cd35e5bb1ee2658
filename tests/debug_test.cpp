/* The answers of the services to debug(), which has no other effect. */

#include "tests/support/debug.h"

#include "V3_1/HdmiAudio.h"
#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "V3_1/OutputSpeaker.h"
#include "V5_0/HeadphoneVirtualizer.h"
#include "tests/support/calibration_set.h"
#include "tests/support/transcript.h"

using namespace calibration_set;
using namespace V3_1::implementation;
using V5_0::implementation::HeadphoneVirtualizer;

namespace {

constexpr char kNone[] = "state: none is kept\n";

const Transcript kTranscript("debug.txt");

/** Compares the answer of a service, which neither calls the platform nor logs anything. */
void expectAnswer(const std::string& name, IBase& service, const TempSet& set, LogCapture& log) {
    log.take();
    set.takeJournal();
    Ends pipe;
    EXPECT_TRUE(debug(service, pipe.to));
    log.expect({});
    set.expectJournal({});
    kTranscript.expectLines(name, find(pipe.read(), "(.*)\n"));
}

TEST(Debug, WritesOnlyWhereItCannotBlock) {
    const sp<OutputEncodingStatusListener> service = new OutputEncodingStatusListener;
    for (const bool isSocket : {false, true}) {
        Ends ends(isSocket);
        const int flags = fcntl(ends.to, F_GETFL);
        debug(*service, ends.to);
        EXPECT_EQ(kNone, ends.read());
        debug(*service, ends.from);
        ends.fill();
        debug(*service, ends.to);
        EXPECT_EQ(std::string::npos, ends.read().find("state"));
        EXPECT_EQ(flags, fcntl(ends.to, F_GETFL)) << "they are the client's, too";
        ends.from.reset();
        debug(*service, ends.to);
    }
    sigset_t blocked, pending;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    sigpending(&pending);
    EXPECT_FALSE(sigismember(&blocked, SIGPIPE) || sigismember(&pending, SIGPIPE));

    const TempSet set;
    const std::string file = set.path("told");
    debug(*service, unique_fd(open(file.c_str(), O_WRONLY | O_CREAT, 0600)));
    EXPECT_EQ("", readFile(file));
    const unique_fd terminal(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK));
    unlockpt(terminal);
    const unique_fd typist(open(ptsname(terminal), O_RDWR | O_NOCTTY));
    debug(*service, typist);
    char byte;
    EXPECT_EQ(-1, read(terminal, &byte, 1));
    debug(*service, -1);
    EXPECT_TRUE(service->debug(nullptr, {}).isOk());
    native_handle_t empty{sizeof(empty), 0, 0, {}};
    EXPECT_TRUE(service->debug(&empty, {}).isOk());
}

TEST(Debug, ReportsTheServicesThatUseTheMiddleware) {
    Tv tv(false, /* hasHal */ false);
    const sp<HdmiAudio> hdmi = new HdmiAudio;
    expectAnswer("HdmiAudio", *hdmi, tv.set, tv.log);
    for (int i = 0; i < 2; i++) hdmi->setCallback(new fakes::Callback([](const auto&) {}));
    expectAnswer("HdmiAudio with callbacks", *hdmi, tv.set, tv.log);

    expectAnswer("OutputSpeaker without HAL", *sp<OutputSpeaker>(new OutputSpeaker), tv.set,
                 tv.log);
    platform::openDeviceCallback(platform::Result::OK, new fakes::FakeDevice);
    const sp<OutputSpeaker> speaker = new OutputSpeaker;
    expectAnswer("OutputSpeaker", *speaker, tv.set, tv.log);
    tv.set.write("faults", "setParameters -1");
    speaker->setTvPosition(1);
    expectAnswer("OutputSpeaker whose HAL is lost", *speaker, tv.set, tv.log);

    const std::string mode = "fs/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
    tv.set.remove(kMarker);
    tv.set.write("faults", "MTAL_InitExCb 3");
    const sp<OutputExternal> external = new OutputExternal;
    for (const auto& [name, content] :
         {std::pair("off", "\2"s), std::pair("on", "\0\0\0\0"s), std::pair("empty", ""s)}) {
        tv.set.write(mode, content);
        expectAnswer("OutputExternal without middleware, "s + name, *external, tv.set, tv.log);
    }
    tv.set.remove(mode);
    expectAnswer("OutputExternal without middleware or file", *external, tv.set, tv.log);
}

TEST(Debug, ReportsTheCalibrationOfAPlainSet) {
    Tv tv(false);
    const std::string hostile = "\x1B<\"\xFF";
    tv.startWith(record("FL", 2.5f, 0, -0.5f) + record(hostile, -9, 10, 9) + kDelays + kEnd);
    tv.service->setEnabled(true);
    expectAnswer("calibration on, plain", *tv.service, tv.set, tv.log);
    tv.service->setEnabled(false);
    expectAnswer("calibration off, plain", *tv.service, tv.set, tv.log);
}

TEST(Debug, ReportsTheCalibrationOfASetWithABackEnd) {
    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write("bectrl/launch_after", "-1");
    tv.start("MTEEPROM_Init 5\nMTDRVCUST_dcustom_cust_spec_set 7");
    tv.set.write("faults", "fopen(enabled) EACCES");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f).substr(1));
    expectAnswer("calibration refused, files unreadable", *tv.service, tv.set, tv.log);
    tv.set.write("faults", "");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f) + record("FR", 1, 2) + kDelays + kEnd);
    expectAnswer("calibration on, back end", *tv.service, tv.set, tv.log);
    for (const char* faults : {"MTAL_InitExCb 3", "MTDRVCUST_dcustom_cust_spec_get 7"}) {
        tv.start(faults);
        expectAnswer("calibration started with "s + faults, *tv.service, tv.set, tv.log);
        tv.set.write(kFlag, "");
    }
}

struct TransferClient : V5_0::IHeadphoneVirtualizerCallback {
    Return<void> onTransferResult(int32_t) override {
        inside();
        return android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
    }
    std::function<void()> inside;
};

TEST(Debug, ReportsBothBuffersAndTheirLastTransfers) {
    Running<HeadphoneVirtualizer> tv({.hasBackEnd = true});
    HeadphoneVirtualizer& service = *tv.service;
    const auto add = [&](const std::string& name) {
        expectAnswer("HeadphoneVirtualizer, " + name, service, tv.set, tv.log);
    };
    tv.set.write("bectrl/reaction", "0 0xF3 5200");
    service.setVirtualizerEnabled(true);
    add("no buffers");
    service.allocateParameterBuffer(V5_0::ParamType::HRTF_PARAMETER, 3);
    service.allocateParameterBuffer(V5_0::ParamType::DEVICE_PARAMETER, 2);
    service.append(1, {1, 2, 3});
    service.append(2, {1});
    add("buffers");
    service.append(2, {2});
    const sp<TransferClient> client = new TransferClient;
    client->inside = [&] { add("in the callback, which fails"); };
    service.apply(1, client);
    service.apply(2, new fakes::FakeVirtualizerCallback);
    tv.pass(4800ms);
    service.cancel(2);
    add("one in transfer, one cancelled while it waits");
    tv.pass(10s);
    service.setUpmixEnabled(false);
    service.setVirtualizerEnabled(false);
    add("after both, switched off");
}

TEST(Debug, ReturnsWhateverDescriptorAClientPasses) {
    const TempSet set({.hasBackEnd = true});
    Service service;
    const sp<IBase> listener = V3_1::IOutputEncodingStatusListener::getService();
    Ends full, broken;
    full.fill();
    broken.from.reset();
    EXPECT_TRUE(debug(*listener, full.to) && debug(*listener, broken.to));
    EXPECT_TRUE(listener->debug(nullptr, {}).isOk());
    EXPECT_TRUE(debug(*listener, unique_fd(open(set.path("lock").c_str(), O_RDWR))));
    EXPECT_TRUE(Program({"hidlaudio"}).hasLogged("has a service: process")) << "it keeps the lock";
    Program program({"audioctl", "debug", "IOutputEncodingStatusListener@2.0"});
    EXPECT_EQ(0, program.wait());
    EXPECT_EQ(kNone, program.out());
    service.signalAndWait(SIGKILL);
    EXPECT_EQ(3, Program({"audioctl", "debug", "IHdmiAudio"}).wait());
    EXPECT_EQ(2, Program({"audioctl", "debug"}).wait());

    struct Talker : public fakes::FakeListener {
        Return<void> debug(const android::hardware::hidl_handle& fd, const fakes::Words&) override {
            kept.reset(dup(fd->data[0]));  // nobody waits for its end
            EXPECT_EQ(10, write(kept, "\033[2J\n\xFF end", 10));
            return Return<void>();
        }
        unique_fd kept;
    };
    const sp<Talker> talker = new Talker;
    EXPECT_EQ(android::OK, talker->registerAsService());
    Program hostile({"audioctl", "debug", "IOutputEncodingStatusListener"});
    EXPECT_EQ(0, hostile.wait());
    EXPECT_EQ("\\u001b[2J\n\\ufffd end\n", hostile.out());
}

}  // namespace
