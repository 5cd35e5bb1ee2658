/*
 * What an upload of parameters costs a client, beside a copy of the same pieces over a bare socket;
 * and what one client's calls cost while another's upload is transferred to the controller.
 */

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include "V5_0/HeadphoneVirtualizer.h"
#include "bench/medians.h"
#include "bench/peers.h"
#include "bench/served_set.h"
#include "tests/support/hidl_fakes.h"

using namespace com::zavo::dtv::hardware::audio::V5_0;
using android::hardware::hidl_vec;

namespace {

constexpr int32_t kUploadSize = 64 << 20;
constexpr size_t kReplySize = 56;  // of an append, on the socket

void check(bool isRight, const char* what) {
    if (isRight) return;
    fprintf(stderr, "the benchmark's service failed: %s\n", what);
    exit(1);
}

struct Tv : ServedSet<IHeadphoneVirtualizer> {
    Tv() : ServedSet([] { return new implementation::HeadphoneVirtualizer; }) {}

    int32_t upload(int32_t size) {
        static const hidl_vec<uint8_t> piece(std::vector<uint8_t>(kPieceSize, 'x'));
        const int32_t handle = service->allocateParameterBuffer(ParamType::HRTF_PARAMETER, size);
        check(handle > 0, "allocate");
        for (int32_t sent = 0; sent < size; sent += kPieceSize) {
            check(service->append(handle, piece) == 0, "append");
        }
        return handle;
    }

    /** Begins a transfer that the controller does not answer: it goes on for 20 seconds. */
    void beginTransfer() {
        set.write("bectrl/reaction", "");
        const int32_t handle = upload(kPieceSize);  // ends the one before
        set.write("journal", "");
        check(service->apply(handle, new fakes::FakeVirtualizerCallback) == 0, "apply");
        while (set.read("journal").find("ioctl") == std::string::npos) usleep(10000);
    }
};

void uploadHidl(benchmark::State& state, Tv* tv) {
    for (auto _ : state) tv->upload(kUploadSize);
}

void copyPieces(benchmark::State& state, size_t keptSize) {
    RawPeer peer(kPieceSize, kReplySize, keptSize);
    for (auto _ : state) {
        for (int32_t sent = 0; sent < kUploadSize; sent += kPieceSize) peer.call();
    }
}

void callSmall(benchmark::State& state, Tv* tv, bool isTransferring) {
    if (isTransferring) tv->beginTransfer();
    for (auto _ : state) benchmark::DoNotOptimize(int32_t{tv->service->getMaxAppendSize()});
}

}  // namespace

int main(int argc, char** argv) {
    chooseProcessors(&argc, argv);
    Tv idle, busy;
    for (Tv* tv : {&idle, &busy}) tv->connect();
    const auto add = [](const char* name, auto... function) {
        benchmark::RegisterBenchmark(name, function...)->UseRealTime();
    };
    add("upload", uploadHidl, &idle);
    add("copy", copyPieces, kPieceSize);  // into the same memory again and again
    add("copyAndKeep", copyPieces,
        kUploadSize);  // into memory for all of it, as the service has to
    add("call", callSmall, &idle, false);
    add("callDuringTransfer", callSmall, &busy, true);

    const auto median = runForMedians(argc, argv);
    printf("  throughput of an upload / copy of its pieces            %.2f\n",
           median("copy") / median("upload"));
    printf("  throughput of an upload / copy that keeps them          %.2f\n",
           median("copyAndKeep") / median("upload"));
    printf("  call during a transfer / call of an idle service        %.2f\n",
           median("callDuringTransfer") / median("call"));
}
