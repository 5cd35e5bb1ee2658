/* The virtual TV set: its parts, its answers, and injected faults. */

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <pty.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <log/log.h>

#include "host/tvset/devices/operation.h"
#include "host/tvset/faults.h"
#include "host/tvset/seam/clock.h"
#include "host/tvset/set.h"
#include "host/tvset/virtual_clock/virtual_clock.h"
#include "platform/bectrl.h"
#include "platform/middleware.h"
#include "tests/support/log_capture.h"
#include "tests/support/process.h"
#include "tests/support/temp_set.h"

using namespace std::chrono_literals;
using namespace std::string_literals;
using android::base::unique_fd;
using testing::ExitedWithCode;

namespace {

constexpr char kModeFile[] = "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";

int resultOf(const std::string& operation, const std::string& arguments = "") {
    const auto fault = tvset::takeFault(operation, arguments);
    return fault ? fault->raise() : 0;
}

TEST(Faults, ConcernTheCallsThatTheirLineDescribes) {
    const TempSet set;
    set.write("faults", "get(b.data) 7\nget 0x20\nioctl(0xC0106301, {) -1\n\n init \t EACCES \n");
    const struct {
        const char *name, *operation, *arguments;
        int result, error;
    } cases[] = {{"part of an argument", "get", "-1, \"b.data\"", 7, 0},
                 {"any other argument", "get", "-1, \"a.data\"", 32, 0},
                 {"longer name", "get_value", "b.data", 0, 0},
                 {"part with a comma", "ioctl", "0xC0106301, {size=1}", -1, 0},
                 {"other request", "ioctl", "0xC0106300, {size=1}", 0, 0},
                 {"error name", "init", "", -1, EACCES}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        errno = 0;
        EXPECT_EQ(c.result, resultOf(c.operation, c.arguments));
        EXPECT_EQ(c.error, errno);
    }
}

TEST(Faults, CountDownAndGiveWayAndRestartWithEveryChange) {
    const TempSet set;
    for (const int last : {6, 7}) {
        set.write("faults", "init 5 x2\ninit " + std::to_string(last) + " x1\n");
        for (const int expected : {5, 5, last, 0}) EXPECT_EQ(expected, resultOf("init"));
    }
}

TEST(Faults, NameEveryBadLineOnceAndSkipIt) {
    const TempSet set;
    for (const char* bad : {"init", "init EFOO", "init 1 x0", "init 1 x9999999999", "in(it 1",
                            "in)it(1", "init 1 2", "init 1 x1 x1", "init 0x1ffffffff"}) {
        SCOPED_TRACE(bad);
        set.write("faults", "\n" + std::string(bad) + "\ninit 4\n");
        testing::internal::CaptureStderr();
        EXPECT_EQ(4, resultOf("init") & resultOf("init"));
        EXPECT_EQ("tvset: " + set.path("faults") +
                          ":2: not 'OPERATION[(PART)] RESULT [xN]', skipped: " + bad + "\n",
                  testing::internal::GetCapturedStderr());
    }
}

TEST(Journal, KeepsLinesWholeWhileManyWriteAndOneTruncates) {
    const TempSet set;
    const std::string line(200, 'x');
    const auto writeMany = [&] {
        for (int i = 0; i < 500; ++i) tvset::appendToJournal(line);
    };
    Process child(writeMany);
    std::thread other(writeMany);
    set.takeJournal();
    writeMany();
    other.join();
    EXPECT_EQ(0, child.wait());
    const Lines journal = set.takeJournal();
    EXPECT_GE(journal.size(), 500u);
    for (const auto& found : journal) ASSERT_EQ(line, found);
}

TEST(ConfigStore, ReadsDecimalFilesAndLeavesTheValueAloneOtherwise) {
    const TempSet set;
    set.write("faults", "a_mtktvapi_config_get_value(broken) 7\n");
    set.write("outside", "1\n");
    const struct {
        std::string key;  // names the case, too
        const char* content;
        int32_t value;  // -1, as before the call: the read fails
    } cases[] = {{"g_audio__tv_position", "1\n", 1},
                 {"least", "-2147483648", INT32_MIN},
                 {"too_large", "2147483648\n", -1},
                 {"garbage", "1 apple\n", -1},
                 {"empty", "", -1},
                 {"broken", "1\n", -1},
                 {"no_file", nullptr, -1},
                 {"../outside", nullptr, -1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.key);
        if (c.content != nullptr) set.write("config/" + c.key, c.content);
        int32_t value = -1;
        const int32_t status = a_mtktvapi_config_get_value(-1, c.key.c_str(), &value);
        EXPECT_EQ(c.value != -1, status == 0);
        EXPECT_EQ(c.value, value);
        set.expectJournal({"a_mtktvapi_config_get_value(-1, \"" + c.key + "\", " +
                           std::to_string(c.value) + ") = " + std::to_string(status)});
    }
}

TEST(ConfigStore, KeepsWhatIsWrittenAndNothingElse) {
    const TempSet set;
    set.write("faults", "a_mtktvapi_config_set_value(tv_position\", 1) 9\n");
    EXPECT_EQ(0, a_mtktvapi_config_set_value(-1, "g_audio__tv_position", -5, 7));
    EXPECT_EQ(9, a_mtktvapi_config_set_value(-1, "g_audio__tv_position", 1, 7));
    EXPECT_EQ("-5\n", set.read("config/g_audio__tv_position"));
    set.expectJournal({"a_mtktvapi_config_set_value(-1, \"g_audio__tv_position\", -5, 7) = 0",
                       "a_mtktvapi_config_set_value(-1, \"g_audio__tv_position\", 1, 7) = 9"});
    EXPECT_NE(0, a_mtktvapi_config_set_value(-1, "../outside", 1, 4));
    EXPECT_FALSE(set.has("outside"));
    set.remove("config");
    EXPECT_NE(0, a_mtktvapi_config_set_value(-1, "other", 1, 7));
}

TEST(Seam, RedirectsThePathsOfTheSetAndNoOthers) {
    const TempSet set({.hasBackEnd = true});
    for (const int result : {0, -1}) {
        EXPECT_EQ(result, access("/data/vendor/tmp/dtv_svc_is_ready", F_OK));
        set.remove(kMarker);
    }
    FILE* completion = fopen("/proc/driver/zavo_bectrl/audio/hrtf_parameter_complete", "rb");
    ASSERT_NE(nullptr, completion);
    fclose(completion);
    EXPECT_EQ(0, access("/proc/self/status", R_OK));

    const int fd = open(kModeFile, O_RDWR | O_CREAT, 0600);
    EXPECT_EQ(4, write(fd, "mode", 4));
    close(fd);
    EXPECT_EQ("mode", set.read("fs"s + kModeFile));
    EXPECT_EQ(0600u, set.mode("fs"s + kModeFile));
    set.expectJournal({});
}

TEST(SpeedDeathTest, IsAWholeNumberFromOneAndShortensEverySleep) {
    EXPECT_EQ(1, tvset::parseSpeed(nullptr));
    testing::internal::CaptureStderr();
    for (const char* bad : {"", "0", "-3", "2.5", "fast"}) EXPECT_EQ(1, tvset::parseSpeed(bad));
    EXPECT_NE("", testing::internal::GetCapturedStderr());

    // The speed is read once in a process: here in the child of EXPECT_EXIT.
    const auto sleepLong = [] {
        setenv("TVSET_SPEED", "1000", 1);
        const auto start = std::chrono::steady_clock::now();
        usleep(20'000'000);
        std::this_thread::sleep_for(30s);
        const auto slept = std::chrono::steady_clock::now() - start;
        _exit(slept >= 50ms && slept < 10s ? 0 : 1);
    };
    EXPECT_EXIT(sleepLong(), ExitedWithCode(0), "");
}

TEST(VirtualClock, AdvancesBySleepsAndRunsActionsThatAreDue) {
    tvset::VirtualClock clock;
    std::vector<std::pair<int, std::chrono::nanoseconds>> ran;
    const auto note = [&](int name) { return [&, name] { ran.emplace_back(name, clock.now()); }; };
    clock.after(2s, note(3));
    clock.after(1s, [&] {
        note(1)();
        clock.after(500ms, note(2));
    });
    clock.after(1h, note(4));
    usleep(999'999);
    EXPECT_TRUE(ran.empty());
    for (int i = 0; i < 2000; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(20s + 999'999us, clock.now());
    EXPECT_EQ((decltype(ran){{1, 1s}, {2, 1500ms}, {3, 2s}}), ran);
}

/** Waits for a timer of 20 s, and records when it fired. */
struct Worker {
    explicit Worker(const tvset::VirtualClock& ticking) : clock(ticking) {
        EXPECT_EQ(0, pthread_create(&thread, nullptr, work, this));
    }
    static void* work(void* argument) {
        Worker& self = *static_cast<Worker*>(argument);
        const unique_fd epoll(epoll_create(1)), timer(timerfd_create(CLOCK_MONOTONIC, 0));
        epoll_event event{EPOLLIN, {.u64 = 7}};
        epoll_ctl(epoll, EPOLL_CTL_ADD, timer, &event);
        const itimerspec setting{{}, {20, 0}};
        timerfd_settime(timer, 0, &setting, nullptr);
        usleep(1'000'000);
        EXPECT_EQ(0, epoll_wait(epoll, &event, 1, 6000));
        self.timeout = self.clock.now();
        EXPECT_EQ(1, epoll_wait(epoll, &event, 1, -1));
        self.fired = self.clock.now();
        return nullptr;
    }
    const tvset::VirtualClock& clock;
    pthread_t thread;
    std::chrono::nanoseconds timeout{}, fired{};
};

TEST(VirtualClock, PassesOnlyWhileAllItsThreadsWait) {
    tvset::VirtualClock clock;
    Worker workers[]{Worker(clock), Worker(clock)};
    for (const auto& [duration, fired] : {std::pair(7000ms, 0s), {12'999ms, 0s}, {1ms, 20s}}) {
        std::this_thread::sleep_for(duration);
        for (const Worker& worker : workers) {
            EXPECT_EQ(7s, worker.timeout);
            EXPECT_EQ(fired, worker.fired);
        }
    }
    for (const Worker& worker : workers) pthread_join(worker.thread, nullptr);
}

TEST(VirtualClock, EndsWhenItsThreadsHaveEnded) {
    auto clock = std::make_unique<tvset::VirtualClock>();
    Worker worker(*clock);
    std::this_thread::sleep_for(19'990ms);
    clock.reset();
    pthread_join(worker.thread, nullptr);
    EXPECT_EQ(20s, worker.fired);
}

int askDriver(uint32_t request, void* argument) {
    return ioctl(unique_fd(open(BECTRL_DEVICE, O_RDWR)), request, argument);
}

TEST(Driver, CopiesTheBytesAndReactsAsConfigured) {
    const TempSet set({.hasBackEnd = true});
    tvset::VirtualClock clock;
    const auto at = [&](std::chrono::nanoseconds time) {
        std::this_thread::sleep_for(time - clock.now());
        return set.read("fs"s + BECTRL_DEVICE_COMPLETE);
    };
    const std::string reaction = "bectrl/reaction", copy = "bectrl/device_parameters.bin";
    set.write(reaction, "1 0 0\n0 0x100 1\n-1 0xF3 5\n\n0 1 0\n1 2 5\n");
    char bytes[] = "content";
    bectrl_transfer transfer{7, 0, reinterpret_cast<uintptr_t>(bytes)};
    testing::internal::CaptureStderr();
    EXPECT_EQ(0, askDriver(BECTRL_TRANSFER_DEVICE, &transfer));
    EXPECT_EQ("tvset: " + set.path(reaction) +
                      ":2: not 'STATE RESULT DELAY_MS', skipped: 0 0x100 1\n",
              testing::internal::GetCapturedStderr());
    EXPECT_EQ((Lines{"content", "\1\0"s, "\1\0"s, "\0\1"s, "\0\1"s, "\1\2"s}),
              (Lines{set.read(copy), at(0s), at(4999us), at(5ms), at(9999us), at(10ms)}));

    set.write(reaction, "1 0 0\n0 1 5\n");
    EXPECT_EQ(0, askDriver(BECTRL_TRANSFER_DEVICE, &transfer));
    EXPECT_EQ(0, askDriver(BECTRL_CANCEL_HRTF, nullptr));
    EXPECT_EQ("\0\0"s, set.read("fs"s + BECTRL_HRTF_COMPLETE)) << "there was nothing to cancel";
    EXPECT_EQ("\1\0"s, at(14ms));
    EXPECT_EQ(0, askDriver(BECTRL_CANCEL_DEVICE, nullptr));
    EXPECT_EQ((Lines{"\0\3"s, "\0\3"s}), (Lines{at(14ms), at(20ms)}));

    void* nowhere = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    transfer.address = reinterpret_cast<uintptr_t>(nowhere);
    EXPECT_TRUE(askDriver(BECTRL_TRANSFER_DEVICE, &transfer) == -1 && errno == EFAULT);
    EXPECT_EQ((Lines{"content", "\0\3"s}), (Lines{set.read(copy), at(25ms)}));
    EXPECT_TRUE(askDriver(0xC0106304, nullptr) == -1 && errno == ENOTTY);
}

TEST(CompletionFile, IsReadyOnceForEveryWriteByAnyone) {
    const TempSet set({.hasBackEnd = true});
    const unique_fd epoll(epoll_create(1));
    FILE* file = fopen(BECTRL_HRTF_COMPLETE, "rb");
    epoll_event event{EPOLLIN, {.u64 = 7}};
    EXPECT_EQ(0, epoll_ctl(epoll, EPOLL_CTL_ADD, fileno(file), &event));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(0, epoll_wait(epoll, &event, 1, 0));
        std::ofstream(set.path("fs"s + BECTRL_HRTF_COMPLETE)) << "\1\1";
        event.data.u64 = 0;
        EXPECT_EQ(1, epoll_wait(epoll, &event, 1, 0));
        EXPECT_EQ(7u, event.data.u64);
    }
    fclose(file);
}

TEST(Log, ShowsEveryEntryAsOneLineToTheSinkAndToTests) {
    const auto logAll = [] {
        __android_log_print(ANDROID_LOG_VERBOSE, "Tag", "verbose");
        ALOG(LOG_DEBUG, "AudioAC", "[%s] start enable:%d", "setEnabled", 1);
        ALOG(LOG_INFO, nullptr, "count:%d", 0);
        ALOG(LOG_WARN, "", "ret = %d ", 3);
        ALOG(LOG_ERROR, "hdmiaudio", "r = %d \n", 3);
    };
    const Lines expected{"V Tag: verbose", "D AudioAC: [setEnabled] start enable:1", "I -: count:0",
                         "W -: ret = 3 ", "E hdmiaudio: r = 3 \\n"};
    LogCapture().take();  // and back to the sink
    testing::internal::CaptureStderr();
    logAll();
    EXPECT_EQ(android::base::Join(expected, '\n') + '\n', testing::internal::GetCapturedStderr());
    LogCapture log;
    logAll();
    EXPECT_EQ(expected, log.take());
}

TEST(Log, DropsWhatNobodyReadsAndReportsHowMuch) {
    const auto logMany = [] {
        for (int i = 0; i < 2000; ++i) tvset::writeToStderr(std::string(100, 'x'));
    };
    int ends[3][2];  // of a pipe, a connection, a terminal
    ASSERT_EQ(0, pipe(ends[0]) | socketpair(AF_UNIX, SOCK_STREAM, 0, ends[1]) |
                         openpty(&ends[2][0], &ends[2][1], nullptr, nullptr, nullptr));
    const int before = dup(STDERR_FILENO), full = open("/dev/full", O_WRONLY);
    for (const auto& [reader, writer] : ends) {
        dup2(full, STDERR_FILENO);
        tvset::writeToStderr("");
        dup2(writer, STDERR_FILENO);
        std::thread other(logMany);
        logMany();
        other.join();
        std::string text = "\n";
        for (int more = 0; find(text, "end (\\d+)\r?\n").empty(); ++more) {
            tvset::writeToStderr("end " + std::to_string(more));
            pollfd readable{reader, POLLIN, 0};
            for (char part[4096]; poll(&readable, 1, 10) == 1;) {
                text.append(part, read(reader, part, sizeof(part)));
            }
        }
        dup2(before, STDERR_FILENO);
        auto told = find(text, "(x{100})(?=\r?\n)").size();
        for (const auto& n : find(text, "\nW tvset: log lines dropped: (\\d+)(?=\r?\n)"))
            told += stoul(n);
        EXPECT_EQ(4001 + stoul(find(text, "end (\\d+)").at(0)), told);
    }
}

TEST(Set, IsWhereTheEnvironmentSays) {
    setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
    setenv("TVSET_ROOT", "", 1);
    EXPECT_EQ("/run/user/1/tvset", tvset::rootPath());
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ("/tmp/tvset-" + std::to_string(getuid()), tvset::rootPath());
}

TEST(Set, IsNeverMadeTwice) {
    const TempSet set;
    set.write("eeprom.bin", "kept");
    EXPECT_THROW(tvset::createSet(set.path(""), {}), std::runtime_error);
    EXPECT_EQ("kept", set.read("eeprom.bin"));
}

TEST(Set, IsOpenToItsUserAlone) {
    umask(0277);
    const TempSet set;
    umask(0);
    a_mtktvapi_config_set_value(-1, "new", 1, 7);
    for (const auto& file : std::filesystem::recursive_directory_iterator(set.root())) {
        EXPECT_EQ(file.is_directory() ? 0700u : 0600u, unsigned(file.status().permissions()));
    }
}

}  // namespace
