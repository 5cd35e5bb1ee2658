/* What the services answer to debug(), and that nothing else comes of it. */

#include "tests/support/debug.h"
#include "V3_1/HdmiAudio.h"
#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "V3_1/OutputSpeaker.h"
#include "V4_0/CenterSpeaker.h"
#include "V5_0/HeadphoneVirtualizer.h"
#include "tests/support/calibration_set.h"
#include "tests/support/program.h"

using namespace calibration_set;
using namespace V3_1::implementation;
using V4_0::implementation::CenterSpeaker;
using V5_0::implementation::HeadphoneVirtualizer;

namespace {

constexpr char kNone[] = "state: none is kept\n";

/** What services answer one after the other, under headings, is what a file of tests/data has. */
class Answers {
  public:
    explicit Answers(const char* file) : mFile(file) {}
    ~Answers() { EXPECT_EQ(expected(mFile), mText); }

    void add(const std::string& heading, IBase& service, const TempSet& set, LogCapture& log) {
        ask(service, set, log);
        mText += "== " + heading + "\n" + mPipe.read();
    }
    /** Of a service that starts in a process of its own, for whose life it keeps what it finds. */
    template <typename Service>
    void addStarted(const std::string& heading, const TempSet& set) {
        Process process([&] {
            LogCapture log;
            ask(*sp<Service>(new Service), set, log);
            _exit(testing::Test::HasFailure());
        });
        EXPECT_EQ(0, process.wait()) << heading;
        mText += "== " + heading + "\n" + mPipe.read();
    }

  private:
    /** The set is not asked, and nothing shows in the log. */
    void ask(IBase& service, const TempSet& set, LogCapture& log) {
        log.take();
        set.takeJournal();
        EXPECT_TRUE(debug(service, mPipe.to));
        log.expect({});
        set.expectJournal({});
    }

    const char* const mFile;
    std::string mText;
    const Ends mPipe;
};

TEST(Debug, WritesWhereItNeedsNotWait) {
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

TEST(Debug, TellsOfTheServicesThatUseTheMiddleware) {
    Answers answers("debug_middleware.txt");
    Tv tv(false);
    const sp<HdmiAudio> hdmi = new HdmiAudio;
    answers.add("HdmiAudio", *hdmi, tv.set, tv.log);
    for (int i = 0; i < 2; i++) hdmi->setCallback(new fakes::Callback([](const auto&) {}));
    answers.add("HdmiAudio with callbacks", *hdmi, tv.set, tv.log);

    const sp<OutputSpeaker> speaker = new OutputSpeaker;
    answers.add("OutputSpeaker", *speaker, tv.set, tv.log);
    tv.set.write("faults", "setParameters -1");
    speaker->setTvPosition(1);
    answers.add("OutputSpeaker whose HAL is lost", *speaker, tv.set, tv.log);

    const std::string mode = "fs/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
    tv.set.remove(kMarker);
    tv.set.write("faults", "MTAL_InitExCb 3");
    const sp<OutputExternal> external = new OutputExternal;
    for (const auto& [name, content] :
         {std::pair("off", "\2"s), std::pair("on", "\0\0\0\0"s), std::pair("empty", ""s)}) {
        tv.set.write(mode, content);
        answers.add("OutputExternal without middleware, "s + name, *external, tv.set, tv.log);
    }
    tv.set.remove(mode);
    answers.add("OutputExternal without middleware or file", *external, tv.set, tv.log);
}

TEST(Debug, TellsOfTheCalibrationOfAPlainSet) {
    Answers answers("debug_calibration_plain.txt");
    Tv tv(false);
    const std::string hostile = "\x1B<\"\xFF";
    tv.startWith(record("FL", 2.5f, 0, -0.5f) + record(hostile, -9, 10, 9) + kDelays + kEnd);
    tv.service->setEnabled(true);
    answers.add("on", *tv.service, tv.set, tv.log);
    tv.service->setEnabled(false);
    answers.add("off", *tv.service, tv.set, tv.log);
}

TEST(Debug, TellsOfTheCalibrationOfASetWithABackEnd) {
    Answers answers("debug_calibration_back_end.txt");
    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write("bectrl/launch_after", "-1");
    tv.start("MTEEPROM_Init 5\nMTDRVCUST_dcustom_cust_spec_set 7");
    tv.set.write("faults", "fopen(enabled) EACCES");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f).substr(1));
    answers.add("files unreadable, calibration refused", *tv.service, tv.set, tv.log);
    tv.set.write("faults", "");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f) + record("FR", 1, 2) + kDelays + kEnd);
    answers.add("on", *tv.service, tv.set, tv.log);
    for (const char* faults : {"MTAL_InitExCb 3", "MTDRVCUST_dcustom_cust_spec_get 7"}) {
        tv.start(faults);
        answers.add("started with "s + faults, *tv.service, tv.set, tv.log);
    }
}

TEST(Debug, TellsWhereTheAnswersOfTheCentreSpeakerComeFrom) {
    Answers answers("debug_center_speaker.txt");
    for (const char* faults :
         {"nothing 0", "fopen(aqda.bin) EACCES", "MTEEPROM_Init 1", "MTEEPROM_Read(0x10089) 1"}) {
        const TempSet set({.segment = 0x53, .centerMode = 1});
        set.write("faults", faults);
        answers.addStarted<CenterSpeaker>(faults, set);
    }
}

struct TransferClient : V5_0::IHeadphoneVirtualizerCallback {
    Return<void> onTransferResult(int32_t) override {
        inside();
        return android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
    }
    std::function<void()> inside;
};

TEST(Debug, TellsOfBothBuffersAndTheirLastTransfers) {
    Answers answers("debug_headphone_virtualizer.txt");
    Running<HeadphoneVirtualizer> tv({.hasBackEnd = true});
    HeadphoneVirtualizer& service = *tv.service;
    const auto add = [&](const char* heading) { answers.add(heading, service, tv.set, tv.log); };
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
    add("after both");
}

TEST(Debug, IsAnsweredToAClientWhateverItHandsOver) {
    const TempSet set({.hasBackEnd = true});
    Service service;
    const sp<IBase> listener = V3_1::IOutputEncodingStatusListener::getService();
    Ends full, broken;
    full.fill();
    broken.from.reset();
    EXPECT_TRUE(debug(*listener, full.to) && debug(*listener, broken.to));
    EXPECT_TRUE(listener->debug(nullptr, {}).isOk());
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
