/* The service as clients see it: a process that is started, called, killed and restarted. */

#include <sys/stat.h>

#include "tests/support/hidl_fakes.h"
#include "tests/support/program.h"
#include "tests/support/resource_usage.h"

using namespace std::string_literals;

namespace {

/** The services of a complete process. */
const Lines kServices{"com.zavo.dtv.hardware.audio@3.1::IAcousticCalibration/default",
                      "com.zavo.dtv.hardware.audio@3.1::IHdmiAudio/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputEncodingStatusListener/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputExternal/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputSpeaker/default",
                      "com.zavo.dtv.hardware.audio@4.0::ICenterSpeaker/default",
                      "com.zavo.dtv.hardware.audio@5.0::IHeadphoneVirtualizer/default"};

Lines split(const std::string& text) {
    return find(text, "([^\n]*)\n");
}

struct Outcome {
    int status;
    std::string out;  // and standard error
};

/** @param words of its command line, separated by blanks. */
Outcome audioctl(const std::string& words) {
    Program program(find("audioctl " + words, "(\\S+)"));
    const int status = program.wait();
    return {status, program.out() + program.err()};
}

/** Waits until all services are there. */
bool isServing() {
    return Program::poll([] { return split(audioctl("list").out) == kServices; });
}

void expectRefusal(const std::string& why) {
    for (const char* words : {"hidlaudio", "audioctl list", "tvset primary-hal"}) {
        Program program(find(words, "(\\S+)"));
        EXPECT_EQ(2, program.wait());
        EXPECT_EQ(find(words, "(\\w+)")[0] + ": " + why + "\n", program.err());
    }
}

TEST(Process, RefusesToStartWithoutASafeSet) {
    setenv("TVSET_ROOT", "/nonexistent/set", 1);
    expectRefusal("no TV set at /nonexistent/set; make one with 'tvset create'");
    const std::pair<const char*, const char*> kCases[] = {
            {"chmod 720 .", "/tvset is open to others for writing; owner UID, mode 0720"},
            {"chmod 702 .", "/tvset is open to others for writing; owner UID, mode 0702"},
            {"chmod 700 .; rm -r run; ln -s fs run", "/tvset/run is a link; owner UID, mode 0777"},
            {"rm run; mv ../tvset ../it; ln -s it ../tvset",
             "/tvset is a link; owner UID, mode 0777"},
            {"chmod 777 ..", " is open to others for writing; owner UID, mode 0777"},
            {"chmod 1777 ..; rm ../tvset; mv ../it ../tvset; chown 9 .",
             "/tvset is another user's; owner 9, mode 0700"},
    };
    const TempSet set;
    tvset::createSet(set.path("tvset"), {});
    setenv("XDG_RUNTIME_DIR", set.root().c_str(), 1);
    unsetenv("TVSET_ROOT");
    for (const auto& [damage, why] : kCases) {
        SCOPED_TRACE(damage);
        const bool isDone = system(("cd $XDG_RUNTIME_DIR/tvset; "s + damage).c_str()) == 0;
        if (!isDone && getuid() != 0) GTEST_SKIP() << "only root can be two users";
        ASSERT_TRUE(isDone);
        expectRefusal("unsafe TV set: " + set.root() +
                      std::regex_replace(why, std::regex("UID"), std::to_string(getuid())));
    }
    EXPECT_EQ(2, Program({"tvset", "create"}).wait());
    EXPECT_EQ("", set.read("tvset/journal"));
}

TEST(Process, WaitsForNoFifo) {
    const TempSet set({.hasBackEnd = true});
    setenv("TVSET_SPEED", "1000", 1);
    set.write("fs/data/vendor/zavo/hidlaudio/bitstream_output_mode.data", "");
    for (const auto& old : std::filesystem::recursive_directory_iterator(set.root())) {
        if (old.is_regular_file() && std::filesystem::remove(old)) mkfifo(old.path().c_str(), 0600);
    }
    const Service service;
    EXPECT_EQ("0\n", audioctl("call IOutputExternal setForceEncodingEnabled true").out);
    EXPECT_EQ(1, audioctl("upload hrtf " SOURCE_DIR "/README.md").status);
}

TEST(Process, ServesWhileNobodyReadsItsLogAndAfterItsReaderIsGone) {
    const TempSet set;
    mkfifo(set.path("log").c_str(), 0600);
    const int reader = open(set.path("log").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(4096, fcntl(reader, F_SETPIPE_SZ, 4096));
    const Program service({"hidlaudio"},
                          [] { Program::redirect(getenv("TVSET_ROOT") + "/log"s, STDERR_FILENO); });
    ASSERT_TRUE(isServing());
    for (int call = 0; call < 50; call++) {
        if (call == 49) close(reader);
        EXPECT_EQ("0\n", audioctl("call IOutputSpeaker setTvPosition 1").out);
    }
}

TEST(Process, OpensNoFileAsAClosedStandardStream) {
    const TempSet set;
    for (const Lines& words : {Lines{"hidlaudio"}, Lines{"tvset", "primary-hal"}}) {
        const Program program(words, [] { close_range(STDIN_FILENO, STDERR_FILENO, 0); });
        const auto areNull = [&] {
            return ResourceUsage(program.pid()).descriptors["/dev/nu"] > 2;
        };
        EXPECT_TRUE(Program::poll(areNull)) << words.front();
    }
}

TEST(Process, RegistersEveryServiceAloneAndKeepsASettingOverARestart) {
    TempSet set;
    std::filesystem::create_symlink(".", set.path("link"));
    setenv("TVSET_ROOT", set.path("link").c_str(), 1);
    for (const char* expected : {"true\n", "false\n"}) {
        Program service({"hidlaudio"});
        ASSERT_TRUE(isServing());
        EXPECT_EQ((Lines{"D HidlAudio: ########## HIDL server side: main() is called:", "HdmiAudio",
                         "OutputExternal", "OutputSpeaker", "OutputSpeaker", "AcousticCalibration",
                         "CenterSpeaker", "HeadphoneVirtualizer"}),
                  find(service.err(), "(.*main.*|[A-Z]\\w+(?=. start| mtal open success)).*\n"));
        EXPECT_EQ(expected, audioctl("call IOutputExternal getForceEncodingEnabled").out);
        EXPECT_EQ("0\n", audioctl("call IOutputExternal@2.0 setForceEncodingEnabled false").out);
        const char* tell = "call IOutputEncodingStatusListener onEncodingFormatChanged auto";
        EXPECT_EQ("null\n", audioctl(tell).out);
        set.takeJournal();
        set.remove("run");
        Program second({"hidlaudio"});
        EXPECT_EQ(1, second.wait());
        EXPECT_EQ("hidlaudio: the TV set at " + set.path("link") + " has a service: process " +
                          std::to_string(service.pid()) + "\n",
                  second.err());
        EXPECT_EQ(Lines{}, set.takeJournal());
        EXPECT_EQ(128 + SIGKILL, service.signalAndWait(SIGKILL));
    }
    EXPECT_EQ(3, audioctl("call IOutputExternal getEncodingFormat").status);
}

TEST(Process, IsNotReachableBeforeEveryServiceIsMade) {
    TempSet set({.isReady = false});
    Program service({"hidlaudio"});
    ASSERT_TRUE(service.hasLogged("waiting dtv_svc>>>>> count:5"));
    EXPECT_EQ("audioctl: no service is registered\n", audioctl("list").out);
    set.write(kMarker, "");
    EXPECT_TRUE(isServing());
}

TEST(Process, EndsWhenARegistrationFailsAndKeepsTheEarlierOnes) {
    constexpr int kInOrder[] = {1, 2, 3, 4, 0, 5, 6};  // of registration
    for (const int failing : kInOrder) {
        SCOPED_TRACE(kServices[failing]);
        const TempSet set;
        const std::string inTheWay = std::regex_replace(kServices[failing], std::regex("/"), "%2F");
        std::filesystem::create_directories(set.path("run/" + inTheWay + "/file"));
        Program service({"hidlaudio"});
        EXPECT_EQ(1, service.wait());
        const std::string name = find(kServices[failing], "I(\\w+)/").at(0) + " ";
        EXPECT_EQ(Lines{"########## HIDL " + (name == "HdmiAudio " ? "" : name) +
                        "server side: registerAsService() is failed:"},
                  find(service.err(), "E HidlAudio: (.*)\n"));
        bool isThere = true;
        for (const int i : kInOrder) {
            EXPECT_EQ(isThere, set.hasService(kServices[i])) << kServices[i];
            if (i == failing) isThere = false;
        }
    }
}

TEST(Process, WaitsForADeclaredHalAndStillServesOnOneThread) {
    const TempSet set({.hasHal = true});
    Program service({"hidlaudio"});
    const std::string factory = "android.hardware.audio@5.0::IDevicesFactory/default";
    ASSERT_TRUE(service.hasLogged("W hidl: " + factory +
                                  " is declared but not registered; waited 1 s for it"));
    const Hal hal;
    ASSERT_TRUE(Program::poll([&] { return set.hasService(kServices.back()); }));
    EXPECT_EQ(1, threadCount(service.pid()));
    EXPECT_EQ("setParameters([], [{\"tv_position\", \"table_top\"}]) = 0",
              find(set.read("journal"), "(setParameters.*)\n").at(0));
    hal.stop();
    EXPECT_EQ("0\n", audioctl("call IOutputSpeaker setTvPosition 1").out);
    EXPECT_TRUE(service.hasLogged("it did not answer within 3000 ms"));
}

TEST(Process, WaitsOnceForAHalThatHangs) {
    const TempSet set;
    const Hal hal;
    hal.stop();
    const Service service;
    const std::string givenUp = "W hidl: closed a connection of process " +
                                std::to_string(hal.pid()) + ": it did not answer within 5000 ms";
    const std::string noHal = "load audio interface failed";
    EXPECT_EQ((Lines{givenUp, "E AudioOutSp: " + noHal, "E -: " + noHal, "E AudioAC: " + noHal}),
              find(service.err(), "(W hidl.*|E .*: load.*)\n"));
}

TEST(Process, PutsItsSocketsBackWhenTheirDirectoryIsRemoved) {
    const TempSet set;
    const Service service;
    const std::string run = set.path("run"), away = set.path("away");
    const std::string line = "W hidl: " + run + " was removed; its sockets are back\n";
    std::filesystem::remove_all(run);
    EXPECT_TRUE(service.hasLogged(line));
    EXPECT_TRUE(isServing());
    EXPECT_EQ(0, rename(run.c_str(), away.c_str()) | rename(away.c_str(), run.c_str()));
    EXPECT_TRUE(service.hasLogged(line + line));
    EXPECT_TRUE(isServing());
}

TEST(Process, StoppedWatchersHoldUpNobodyForLong) {
    using namespace std::chrono_literals;
    const TempSet set;
    const Service service;
    std::vector<std::unique_ptr<Program>> watchers;
    for (int i = 0; i < 7; i++) {
        watchers.push_back(std::make_unique<Program>(Lines{"audioctl", "watch"}));
        ASSERT_TRUE(watchers.back()->hasLogged("watching"));
        if (i < 6) watchers.back()->stop();
    }
    const auto begin = std::chrono::steady_clock::now();
    Program notice(
            {"audioctl", "call", "IHdmiAudio", "setAudioCapabilities", R"(["ARC_DD_PLUS"])"});
    EXPECT_EQ("0\n", audioctl("call IOutputSpeaker setTvPosition 1").out);
    EXPECT_EQ(0, notice.wait());
    EXPECT_GT(*EMULATOR == '\0' ? 5s : 20s, std::chrono::steady_clock::now() - begin);
    EXPECT_LE(1u, find(service.err(), "process \\d+: (it did not answer) within").size());
    EXPECT_TRUE(service.hasLogged("D hdmiaudio: remove callback\n"));
    EXPECT_EQ(7u, find(service.err(), "(it did not answer|did not call)").size() +
                          find(watchers.back()->out(), "(ARC_DD_PLUS)\n").size());
}

}  // namespace
