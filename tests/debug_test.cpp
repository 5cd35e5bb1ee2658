/* What the services answer to debug(), and that nothing else comes of it. */

#include "tests/support/debug.h"
#include "V3_1/HdmiAudio.h"
#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "V3_1/OutputSpeaker.h"
#include "V4_0/CenterSpeaker.h"
#include "V5_0/HeadphoneVirtualizer.h"
#include "host/tvset/virtual_clock/virtual_clock.h"
#include "tests/support/calibration_set.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/program.h"

using namespace calibration_set;
using namespace V3_1::implementation;
using namespace std::chrono_literals;
using namespace std::string_literals;
using V4_0::implementation::CenterSpeaker;
using V5_0::implementation::HeadphoneVirtualizer;

namespace {

constexpr char kNone[] = "state: none is kept\n";

/** What a service of a set answers; the set is not asked, and nothing shows in the log. */
std::string told(IBase& service, const TempSet& set, LogCapture& log) {
    log.take();
    set.takeJournal();
    Ends pipe;
    EXPECT_TRUE(debug(service, pipe.to));
    log.expect({});
    set.expectJournal({});
    return pipe.read();
}

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
    const std::string start =
            "middleware: ready\nmiddleware at start: ready, connection status 0\n";
    const std::string asked = "in the TV configuration store, which is not asked\n";
    Tv tv(false);
    const sp<HdmiAudio> hdmi = new HdmiAudio;
    EXPECT_EQ(start + "callbacks: 0\ncapabilities: " + asked, told(*hdmi, tv.set, tv.log));
    for (int i = 0; i < 2; i++) hdmi->setCallback(new fakes::Callback([](const auto&) {}));
    EXPECT_EQ(start + "callbacks: 2\ncapabilities: " + asked, told(*hdmi, tv.set, tv.log));

    const sp<OutputSpeaker> speaker = new OutputSpeaker;
    for (const std::string parameter : {"table_top, taken", "wall_mount, lost"}) {
        EXPECT_EQ(start + "primary HAL: there at start\nlast parameter to it: tv_position = " +
                          parameter + "\nposition and surround type: " + asked,
                  told(*speaker, tv.set, tv.log));
        tv.set.write("faults", "setParameters -1");
        speaker->setTvPosition(1);
    }

    const std::string mode = "fs/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";
    tv.set.remove(kMarker);
    tv.set.write("faults", "MTAL_InitExCb 3");
    const tvset::VirtualClock clock;
    const sp<OutputExternal> external = new OutputExternal;
    const std::string late =
            "middleware: not ready\nmiddleware at start: not ready, connection status 3\n";
    for (const auto& [content, words] : {std::pair("\2"s, "2, forced encoding off"),
                                         std::pair(std::string(4, '\0'), "0, forced encoding on"),
                                         std::pair(""s, "none, the file holds nothing"),
                                         std::pair("-"s, "none, open failed, errno 2")}) {
        tv.set.write(mode, content);
        if (content == "-") tv.set.remove(mode);
        EXPECT_EQ(late + "kept mode: " + words + "\nlisteners: none is kept\n",
                  told(*external, tv.set, tv.log));
    }
}

TEST(Debug, TellsOfTheCalibration) {
    const std::string flat = "0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0";
    Tv plain(false);
    plain.start(record("FL", 2.5f, 0, -0.5f) + record("\x1B<\"\xFF", -9, 10, 9) + kDelays + kEnd);
    plain.service->setEnabled(true);
    EXPECT_EQ(expected("debug_calibration_on.txt"), told(*plain.service, plain.set, plain.log));
    plain.service->setEnabled(false);
    const std::string text = told(*plain.service, plain.set, plain.log);
    EXPECT_EQ(flat, find(text, "equaliser, dB: (.*)\n").at(0));

    Tv tv(true);
    tv.set.write(kFlag, kOn);
    tv.set.write("faults", "MTEEPROM_Init 5\nMTDRVCUST_dcustom_cust_spec_set 7");
    tv.set.write("bectrl/launch_after", "-1");
    const tvset::VirtualClock clock;
    tv.service = new AcousticCalibration;
    tv.set.write("faults", "fopen(enabled) EACCES");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f).substr(1));
    EXPECT_EQ(expected("debug_calibration_off.txt"), told(*tv.service, tv.set, tv.log));
    tv.set.write("faults", "");
    tv.set.write(kTable, record("FL", 2.5f, 1, -0.5f) + record("FR", 1, 2) + kDelays + kEnd);
    constexpr char kSent[] =
            " 122\nvolume, 0.1 dB from 128: 153\ndelays, samples: FL 48, FR 96\nac_offset, dB: "
            "2.5\n";
    EXPECT_EQ(1u, countOf(told(*tv.service, tv.set, tv.log), kSent));
    for (const char* faults : {"MTAL_InitExCb 3", "MTDRVCUST_dcustom_cust_spec_get 7"}) {
        tv.set.write("faults", faults);
        tv.service = new AcousticCalibration;
        const std::string started = told(*tv.service, tv.set, tv.log);
        EXPECT_EQ(Lines{"no answer"}, find(started, "controller at start: (.*)\n")) << faults;
    }
}

TEST(Debug, TellsWhereTheAnswersOfTheCentreSpeakerComeFrom) {
    const std::string type = "acoustics type: ", eeprom = "EEPROM at start: ";
    const std::string input = "input: ", synchronised = "synchronised input: ",
                      none = "not available, by default: no ";
    const std::string good =
            "tuning: read at start\n" + type + "2\nlatency: 1024 samples at 48000 Hz\n" + eeprom;
    const std::string bad = "tuning: not read at start\n" + type +
                            "0, by default\nlatency: 576 samples at 48000 Hz, by default\n" +
                            eeprom;
    const std::string noBytes =
            input + none + "segment byte\n" + synchronised + none + "mode byte\n";
    const std::pair<const char*, std::string> cases[] = {
            {"", good + "opened\n" + input + "available, segment byte 0x53\n" + synchronised +
                         "available, mode byte 0x01\n"},
            {"fopen(aqda.bin) EACCES", bad + "not asked: no tuning\n" + noBytes},
            {"MTEEPROM_Init 1", good + "could not be opened\n" + noBytes},
            {"MTEEPROM_Read(0x10089) 1", good + "opened\n" + input + none + "segment byte\n" +
                                                 synchronised + "available, mode byte 0x01\n"},
    };
    for (const auto& [faults, text] : cases) {
        const TempSet set({.segment = 0x53, .centerMode = 1});
        set.write("faults", faults);
        const std::string expected = "middleware: ready\n" + text;
        Process service([&] {  // what a start finds stays for the life of a process
            LogCapture log;
            EXPECT_EQ(expected, told(*sp(new CenterSpeaker), set, log));
            _exit(HasFailure());
        });
        EXPECT_EQ(0, service.wait()) << faults;
    }
}

TEST(Debug, TellsOfBothBuffersAndTheirLastTransfers) {
    const TempSet set({.hasBackEnd = true});
    set.write("bectrl/reaction", "0 0xF3 5200");
    LogCapture log;
    tvset::VirtualClock clock;
    const sp<HeadphoneVirtualizer> service = new HeadphoneVirtualizer;
    service->setVirtualizerEnabled(true);
    const auto expect = [&](const std::string& device, const std::string& lastDevice,
                            const std::string& hrtf, const std::string& lastHrtf) {
        EXPECT_EQ(
                "middleware: ready\nmiddleware at start: ready\n"
                "model byte of the EEPROM: read\ncontroller at start: launched\n"
                "back-end controller: there\nvirtualizer: on\nupmix: on\n"
                "device buffer: " +
                        device + "\nlast device transfer: " + lastDevice +
                        "\nHRTF buffer: " + hrtf + "\nlast HRTF transfer: " + lastHrtf + "\n",
                told(*service, set, log));
    };
    expect("none", "none", "none", "none");

    struct Client : public V5_0::IHeadphoneVirtualizerCallback {
        Return<void> onTransferResult(int32_t) override {
            inside();
            return android::hardware::Status::fromStatusT(android::DEAD_OBJECT);
        }
        std::function<void()> inside;
    };
    const sp<Client> client = new Client;
    client->inside = [&] {
        expect("none", "handle 2, 2 bytes, outcome 1, the client was told",
               "handle 1, 3 of 3 bytes, transferring",
               "handle 1, 3 bytes, outcome -1, the client is being told");
    };
    service->allocateParameterBuffer(V5_0::ParamType::HRTF_PARAMETER, 3);
    service->allocateParameterBuffer(V5_0::ParamType::DEVICE_PARAMETER, 2);
    service->append(1, {1, 2, 3});
    service->append(2, {1});
    expect("handle 2, 1 of 2 bytes, idle", "none", "handle 1, 3 of 3 bytes, idle", "none");
    service->append(2, {2});
    service->apply(1, client);
    service->apply(2, new fakes::FakeVirtualizerCallback);
    clock.sleepFor(4800ms);
    service->cancel(2);
    expect("handle 2, 2 of 2 bytes, waiting, cancel requested", "none",
           "handle 1, 3 of 3 bytes, transferring", "none");
    clock.sleepFor(10s);
    expect("none", "handle 2, 2 bytes, outcome 1, the client was told", "none",
           "handle 1, 3 bytes, outcome -1, the client could not be told");
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
