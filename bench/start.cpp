/*
 * How long the service takes from exec to the registration of its last name, on a set that is
 * ready, beside exec of a program that is linked to the same libraries and does nothing.
 */

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "bench/medians.h"
#include "bench/peers.h"
#include "tests/support/temp_set.h"

namespace {

constexpr char kLastService[] = "com.zavo.dtv.hardware.audio@5.0::IHeadphoneVirtualizer/default";

/** Becomes a program beside this one; its log goes to /dev/null. */
void execute(const std::string& name) {
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    const auto self = std::filesystem::read_symlink("/proc/self/exe");
    execl((self.parent_path() / name).c_str(), name.c_str(), nullptr);
    _exit(127);
}

using Clock = std::chrono::steady_clock;

void setTime(benchmark::State& state, Clock::time_point begin) {
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
}

void start(benchmark::State& state) {
    for (auto _ : state) {
        const TempSet set;
        const android::base::unique_fd watch(inotify_init1(IN_CLOEXEC));
        inotify_add_watch(watch, set.path("run").c_str(), IN_MOVED_TO);
        const auto begin = Clock::now();
        const ChildProcess service([] { execute("hidlaudio"); });
        while (!set.hasService(kLastService)) {
            char events[4096];
            pollfd readable{watch, POLLIN, 0};
            if (poll(&readable, 1, 10'000) != 1 || read(watch, events, sizeof(events)) < 0) {
                state.SkipWithError("the service did not start");
                return;
            }
        }
        setTime(state, begin);
    }
}

void startNothing(benchmark::State& state) {
    for (auto _ : state) {
        const auto begin = Clock::now();
        int status = 0;
        const pid_t program = fork();
        if (program == 0) execute("bench_nothing");
        if (waitpid(program, &status, 0) != program || status != 0) {
            state.SkipWithError("no such program");
        }
        setTime(state, begin);
    }
}

}  // namespace

int main(int argc, char** argv) {
    chooseProcessors(&argc, argv);
    for (const auto& [name, function] :
         {std::pair("start", start), std::pair("startNothing", startNothing)}) {
        benchmark::RegisterBenchmark(name, function)
                ->UseManualTime()
                ->Unit(benchmark::kMillisecond);
    }
    const auto median = runForMedians(argc, argv);
    printf("  start                         %.1f ms\n", median("start"));
    printf("  a program that does nothing   %.1f ms\n", median("startNothing"));
}
