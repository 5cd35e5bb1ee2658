/*
 * What a call through the generated proxy and stub costs, to an object of another process: a call
 * without arguments, and an append of the largest piece. Beside it the same bytes over a bare
 * socket, and the same calls over sd-bus.
 */

#include <benchmark/benchmark.h>
#include <stdio.h>

#include <string>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include "bench/allocations.h"
#include "bench/medians.h"
#include "bench/peers.h"
#include "bench/served_set.h"
#include "tests/support/hidl_fakes.h"

using namespace com::zavo::dtv::hardware::audio::V5_0;
using android::hardware::hidl_vec;
using android::hardware::Return;

namespace {

/** Does nothing but take and give what the benchmark passes. */
struct Virtualizer : public fakes::FakeVirtualizer {
    Return<int32_t> getMaxAppendSize() override { return static_cast<int32_t>(kPieceSize); }
    Return<int32_t> append(int32_t, const hidl_vec<uint8_t>& data) override {
        return static_cast<int32_t>(data.size());
    }
};

struct HidlPeer : ServedSet<IHeadphoneVirtualizer> {
    HidlPeer() : ServedSet([] { return new Virtualizer; }) { connect(); }
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

}  // namespace

int main(int argc, char** argv) {
    chooseProcessors(&argc, argv);
    const auto median = runForMedians(argc, argv);
    printf("  small call / bare socket   %.2f\n", median("smallHidl") / median("smallRaw"));
    printf("  small call / sd-bus        %.2f\n", median("smallHidl") / median("smallSdBus"));
    printf("  throughput of pieces / bare socket   %.2f\n",
           median("pieceRaw") / median("pieceHidl"));
    printf("  throughput of pieces / sd-bus        %.2f\n",
           median("pieceSdBus") / median("pieceHidl"));
}
