/*
 * What the room calibration costs in the service's own process: a start, and the calls that only
 * touch files. The virtual set stands in for the platform; nothing is logged.
 */

#include <benchmark/benchmark.h>

#include <fstream>
#include <limits>

#include <android/log.h>

#include "V3_1/AcousticCalibration.h"
#include "V3_1/OutputExternal.h"
#include "V3_1/OutputSpeaker.h"
#include "host/tvset/virtual_clock/virtual_clock.h"
#include "platform/PrimaryHalAccessor.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio;
using namespace com::zavo::dtv::hardware::audio::V3_1::implementation;
using android::sp;

namespace {

/** A primary audio HAL that takes everything, and writes no journal. */
struct PrimaryDevice : public fakes::FakeDevice {
    Return<platform::Result> setParameters(const Parameters&, const Parameters&) override {
        return platform::Result::OK;
    }
};

void logNothing(const __android_logger_data*, const char*) {}

/** How often this process has called write() and its kin since it started. */
uint64_t countWrites() {
    std::ifstream io("/proc/self/io");
    for (std::string word; io >> word;) {
        if (word != "syscw:") continue;
        uint64_t count;
        io >> count;
        return count;
    }
    return std::numeric_limits<uint64_t>::max();
}

hidl_vec<V3_0::calibratedData> nineChannels() {
    hidl_vec<V3_0::calibratedData> data(9);
    const char* names[] = {"FL", "FR", "C", "LS", "RS", "LB", "RB", "TFL", "TFR"};
    for (size_t i = 0; i < data.size(); i++) {
        data[i] = {names[i], hidl_vec<V3_0::bandEqualizer>(kBandCount), 1.0f, 2.0f};
    }
    return data;
}

/** The services, made anew on a set that is ready; `slept_ms` is how long they slept for it. */
void start(benchmark::State& state) {
    TempSet set;
    tvset::VirtualClock clock;
    for (auto _ : state) {
        benchmark::DoNotOptimize(sp<OutputExternal>(new OutputExternal));
        benchmark::DoNotOptimize(sp<OutputSpeaker>(new OutputSpeaker));
        benchmark::DoNotOptimize(sp<AcousticCalibration>(new AcousticCalibration));
    }
    state.counters["slept_ms"] = std::chrono::duration<double, std::milli>(clock.now()).count();
}

void setNineChannels(benchmark::State& state) {
    TempSet set;
    const sp<AcousticCalibration> service = new AcousticCalibration;
    const auto data = nineChannels();
    const uint64_t before = countWrites();
    for (auto _ : state) {
        if (int32_t{service->setCalibratedData(data)} != 0) state.SkipWithError("not stored");
    }
    state.counters["writes"] = benchmark::Counter(static_cast<double>(countWrites() - before),
                                                  benchmark::Counter::kAvgIterations);
}

void getNineChannels(benchmark::State& state) {
    TempSet set;
    const sp<AcousticCalibration> service = new AcousticCalibration;
    if (int32_t{service->setCalibratedData(nineChannels())} != 0) state.SkipWithError("not stored");
    for (auto _ : state) {
        size_t count = 0;
        service->getCalibratedData([&](const auto& list) { count = list.size(); }).isOk();
        if (count != 9) state.SkipWithError("not read");
    }
}

void getEnabled(benchmark::State& state) {
    TempSet set;
    set.write("fs/data/vendor/zavo/hidlaudio/aud_ac_enabled.data", "\1");
    const sp<AcousticCalibration> service = new AcousticCalibration;
    for (auto _ : state) {
        if (!bool{service->getEnabled()}) state.SkipWithError("not enabled");
    }
}

BENCHMARK(start)->Unit(benchmark::kMicrosecond);
BENCHMARK(setNineChannels)->Unit(benchmark::kMicrosecond);
BENCHMARK(getNineChannels)->Unit(benchmark::kMicrosecond);
BENCHMARK(getEnabled)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    __android_log_set_logger(logNothing);
    platform::openDeviceCallback(platform::Result::OK, new PrimaryDevice);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
