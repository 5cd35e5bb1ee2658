/*
 * What a call through the generated proxy and stub costs, to an object of another process: a call
 * without arguments, and an append of the largest piece. Beside it the same bytes over a bare
 * socket, and the same calls over sd-bus.
 */

#include <benchmark/benchmark.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>
#include <hidl/HidlTransportSupport.h>

#include "bench/allocations.h"
#include "bench/peers.h"

using namespace com::zavo::dtv::hardware::audio::V5_0;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::Void;

namespace {

/** Does nothing but take and give what the benchmark passes. */
struct Virtualizer : public IHeadphoneVirtualizer {
    Return<int32_t> getMaxAppendSize() override { return static_cast<int32_t>(kPieceSize); }
    Return<int32_t> append(int32_t, const hidl_vec<uint8_t>& data) override {
        return static_cast<int32_t>(data.size());
    }
    Return<int32_t> setVirtualizerEnabled(bool) override { return 0; }
    Return<bool> getVirtualizerEnabled() override { return false; }
    Return<int32_t> setVirtualizerType(const hidl_string&) override { return 0; }
    Return<void> getVirtualizerType(getVirtualizerType_cb callback) override {
        callback("");
        return Void();
    }
    Return<void> getAvailableVirtualizerTypes(getAvailableVirtualizerTypes_cb callback) override {
        callback({});
        return Void();
    }
    Return<int32_t> setUpmixEnabled(bool) override { return 0; }
    Return<bool> getUpmixEnabled() override { return false; }
    Return<int32_t> allocateParameterBuffer(ParamType, int32_t) override { return 0; }
    Return<int32_t> discardParameterBuffer(int32_t) override { return 0; }
    Return<int32_t> apply(int32_t, const sp<IHeadphoneVirtualizerCallback>&) override { return 0; }
    Return<int32_t> cancel(int32_t) override { return 0; }
};

/** A set's directory with a process that serves a virtualizer in it. */
class HidlPeer {
  public:
    HidlPeer() {
        std::string root = std::filesystem::temp_directory_path() / "hidl-bench-XXXXXX";
        mRoot = mkdtemp(root.data());
        setenv("TVSET_ROOT", mRoot.c_str(), 1);
        mServer = std::make_unique<ChildProcess>([] {
            android::hardware::configureRpcThreadpool(1, true);
            sp<IHeadphoneVirtualizer> service = new Virtualizer;
            if (service->registerAsService() != android::OK) return;
            android::hardware::joinRpcThreadpool();
        });
        for (int tries = 0; service == nullptr && tries < 500; tries++) {
            usleep(10000);
            service = IHeadphoneVirtualizer::getService();
        }
        if (service == nullptr) {
            fprintf(stderr, "the benchmark's service did not start\n");
            exit(1);
        }
    }
    ~HidlPeer() { std::filesystem::remove_all(mRoot); }

    sp<IHeadphoneVirtualizer> service;

  private:
    std::string mRoot;
    std::unique_ptr<ChildProcess> mServer;
};

// Sizes of the messages on the socket of the two calls.
constexpr size_t kSmallRequest = 104;
constexpr size_t kSmallReply = 56;
constexpr size_t kPieceRequest = kPieceSize + 128;

void smallHidl(benchmark::State& state) {
    HidlPeer peer;
    const uint64_t before = countAllocations();
    for (auto _ : state) benchmark::DoNotOptimize(int32_t{peer.service->getMaxAppendSize()});
    state.counters["allocations"] = benchmark::Counter(
            static_cast<double>(countAllocations() - before), benchmark::Counter::kAvgIterations);
}

void smallRaw(benchmark::State& state) {
    RawPeer peer(kSmallRequest, kSmallReply);
    for (auto _ : state) peer.call();
}

void smallSdBus(benchmark::State& state) {
    SdBusPeer peer;
    for (auto _ : state) peer.callSmall();
}

void pieceHidl(benchmark::State& state) {
    HidlPeer peer;
    hidl_vec<uint8_t> piece(kPieceSize);
    for (auto _ : state) benchmark::DoNotOptimize(int32_t{peer.service->append(1, piece)});
}

void pieceRaw(benchmark::State& state) {
    RawPeer peer(kPieceRequest, kSmallReply);
    for (auto _ : state) peer.call();
}

void pieceSdBus(benchmark::State& state) {
    SdBusPeer peer;
    std::vector<uint8_t> piece(kPieceSize);
    for (auto _ : state) peer.callPiece(piece);
}

BENCHMARK(smallHidl);
BENCHMARK(smallRaw);
BENCHMARK(smallSdBus);
BENCHMARK(pieceHidl);
BENCHMARK(pieceRaw);
BENCHMARK(pieceSdBus);

/** Keeps the median of each benchmark's repetitions, for the ratios at the end. */
class MedianReporter : public benchmark::ConsoleReporter {
  public:
    MedianReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                mMedians[run.run_name.function_name] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    double ratio(const char* name, const char* to) { return mMedians[name] / mMedians[to]; }

  private:
    std::map<std::string, double> mMedians;
};

/** A wake-up of the other processor may take longer than the call, or not: then nothing repeats. */
void useOneProcessor() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    sched_setaffinity(0, sizeof(one), &one);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && argv[1] == std::string("--two-processors")) {
        std::rotate(argv + 1, argv + 2, argv + argc--);
    } else {
        useOneProcessor();
    }
    // Turns of the peers are mixed, so that what else the machine does meets all of them.
    std::vector<std::string> words = {
            argv[0], "--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
            "--benchmark_report_aggregates_only=true", "--benchmark_min_time=0.2"};
    words.insert(words.end(), argv + 1, argv + argc);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printf("\nMedian times, as ratios:\n");
    printf("  small call / bare socket   %.2f  (goal: 1.2 or less)\n",
           reporter.ratio("smallHidl", "smallRaw"));
    printf("  small call / sd-bus        %.2f  (goal: 0.7 or less)\n",
           reporter.ratio("smallHidl", "smallSdBus"));
    printf("  throughput of pieces / bare socket   %.2f  (goal: 0.95 or more)\n",
           reporter.ratio("pieceRaw", "pieceHidl"));
    printf("  throughput of pieces / sd-bus        %.2f\n",
           reporter.ratio("pieceSdBus", "pieceHidl"));
}
