/*
 * What it costs the service to tell its clients that the capabilities have changed, beside one
 * round trip each over a bare socket. The callbacks are objects of one other process.
 */

#include <benchmark/benchmark.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <vector>

#include <android-base/unique_fd.h>
#include <com/zavo/dtv/hardware/audio/3.1/IHdmiAudio.h>

#include "V3_1/HdmiAudio.h"
#include "bench/medians.h"
#include "bench/peers.h"
#include "bench/served_set.h"
#include "tests/support/hidl_fakes.h"

using namespace com::zavo::dtv::hardware::audio;
using android::sp;

namespace {

// On the socket: the call of a callback with one name, and its answer.
constexpr size_t kCallSize = 150;
constexpr size_t kAnswerSize = 56;

/** A set whose service has so many callbacks, all of one client. */
struct ToldSet : ServedSet<V3_1::IHdmiAudio> {
    explicit ToldSet(int callbackCount)
        : ServedSet([] { return new V3_1::implementation::HdmiAudio; }), mClient([=] {
              connect();
              std::vector<sp<fakes::Callback>> callbacks;
              for (int i = 0; i < callbackCount; i++) {
                  callbacks.push_back(new fakes::Callback([](const auto&) {}));
                  service->setCallback(callbacks.back()).isOk();
              }
              eventfd_write(mIsReady, 1);
              pause();
          }) {
        eventfd_t ignored;
        eventfd_read(mIsReady, &ignored);
    }

  private:
    const android::base::unique_fd mIsReady{eventfd(0, 0)};
    const ChildProcess mClient;
};

void notify(benchmark::State& state, ToldSet* set) {
    for (auto _ : state) {
        if (set->service->setAudioCapabilities({"ARC_DD_PLUS"}) != 0) {
            state.SkipWithError("refused");
        }
    }
}

void callBack(benchmark::State& state) {
    RawPeer peer(kCallSize, kAnswerSize);
    for (auto _ : state) peer.call();
}

}  // namespace

int main(int argc, char** argv) {
    chooseProcessors(&argc, argv);
    ToldSet none(0), some(100), many(1000);
    for (ToldSet* set : {&none, &some, &many}) set->connect();
    const auto add = [](const char* name, ToldSet* set) {
        benchmark::RegisterBenchmark(name, notify, set)
                ->UseRealTime()
                ->Unit(benchmark::kMicrosecond);
    };
    add("notify0", &none);
    add("notify100", &some);
    add("notify1000", &many);
    benchmark::RegisterBenchmark("callBack", callBack)
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);

    const auto median = runForMedians(argc, argv);
    const double zero = median("notify0");
    const double each100 = (median("notify100") - zero) / 100;
    const double each1000 = (median("notify1000") - zero) / 1000;
    printf("  a callback of 1000 / raw round trip     %.2f\n", each1000 / median("callBack"));
    printf("  a callback of 1000 / a callback of 100  %.2f\n", each1000 / each100);
}
