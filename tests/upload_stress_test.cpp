/*
 * Uploads of many clients at once to the running service, in random order, by clients that cancel,
 * discard, stop and die. STRESS_SECONDS says for how long.
 */

#include <gtest/gtest.h>

#include <atomic>
#include <random>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include "tests/support/debug.h"
#include "tests/support/processes.h"
#include "tests/support/program.h"
#include "tests/support/resource_usage.h"

namespace {

using namespace com::zavo::dtv::hardware::audio;
using namespace std::chrono_literals;
using android::sp;
using android::hardware::hidl_vec;
using android::hardware::Return;
using Clock = std::chrono::steady_clock;

/** The waits of the set are shorter by this factor: 20 s take 400 ms. */
constexpr char kSpeed[] = "50";

struct Random : std::mt19937 {
    using std::mt19937::mt19937;
    /** From 0 to end - 1. */
    unsigned below(unsigned end) { return (*this)() % end; }
    template <typename T, size_t N>
    const T& oneOf(const T (&values)[N]) {
        return values[below(N)];
    }
};

/** The outcome of one transfer. */
class Outcome : public V5_0::IHeadphoneVirtualizerCallback {
  public:
    Outcome(const sp<V5_0::IHeadphoneVirtualizer>& service, int32_t handle)
        : mService(service), mHandle(handle) {}
    Return<void> onTransferResult(int32_t) override {
        const int32_t status = mService->append(mHandle, {}).withDefault(-99);
        mStatusInside = status;
        mTimes++;
        return android::hardware::Void();
    }
    /** Waits for it, for some time. @return an error, or nothing. */
    std::string waitForIt() {
        if (!Program::poll([&] { return mTimes > 0; })) return "no outcome";
        if (mStatusInside == -3 || mStatusInside == -1) return "";
        return "no answer inside: " + std::to_string(mStatusInside);
    }
    int times() const { return mTimes; }

  private:
    const sp<V5_0::IHeadphoneVirtualizer> mService;
    const int32_t mHandle;
    std::atomic<int> mTimes{0};
    std::atomic<int32_t> mStatusInside{0};
};

/** A client that uploads until a point in time, and reports errors. */
class Client {
  public:
    explicit Client(unsigned seed) : mRandom(seed) {}

    void live(Clock::time_point end) {
        mService = V5_0::IHeadphoneVirtualizer::getService();
        while (Clock::now() < end) {
            upload();
            usleep(mRandom.below(5000));
        }
        for (const sp<Outcome>& outcome : mOutcomes) {
            if (outcome->times() != 1) fail("not one outcome: " + std::to_string(outcome->times()));
        }
    }

  private:
    void upload() {
        static const int32_t kSizes[] = {0, 1, 1000, 262144, 300'000, 4'000'000};
        const int32_t size = mRandom.oneOf(kSizes);
        const auto kind = V5_0::ParamType(mRandom.below(2));
        const int32_t handle = answer(mService->allocateParameterBuffer(kind, size));
        if (handle == 0) return;
        for (int32_t left = size; left > 0;) {
            const int32_t piece = std::min(left, 262144);
            hidl_vec<uint8_t> data;
            data.setToExternal(sBytes, size_t(piece));
            if (answer(mService->append(handle, data)) != 0)
                return;  // another client took over the kind
            left -= piece;
        }
        const sp<Outcome> outcome = new Outcome(mService, handle);
        const int32_t status = answer(mService->apply(handle, outcome));
        if (status == 0) mOutcomes.push_back(outcome);
        for (int i = mRandom.below(4); i > 0; i--) meddle(handle, kind);
        if (status != 0) return;
        if (const std::string wrong = outcome->waitForIt(); wrong != "") fail(wrong);
    }

    void meddle(int32_t handle, V5_0::ParamType kind) {
        const std::function<Return<int32_t>()> ways[] = {
                [&] { return mService->cancel(handle); },
                [&] { return mService->discardParameterBuffer(handle); },
                [&] { return mService->allocateParameterBuffer(kind, 10); },
                [&] { return mService->apply(handle, new Outcome(mService, handle)); },
                [&] { return Return<int32_t>(debug(*mService, mUnread.to) ? 0 : 1); }};
        usleep(mRandom.below(3) * 2000);
        answer(mRandom.oneOf(ways)());
    }

    /** A failed call ends the client. */
    int32_t answer(const Return<int32_t>& result) {
        if (!result.isOk()) fail("lost");
        return result;
    }

    [[noreturn]] void fail(const std::string& what) {
        gJournal.say(what);
        _exit(1);
    }

    static inline uint8_t sBytes[262144];
    Random mRandom;
    const Ends mUnread;
    sp<V5_0::IHeadphoneVirtualizer> mService;
    std::vector<sp<Outcome>> mOutcomes;
};

/** Runs clients that upload, stop and die, and ends the last of them. */
void letClientsLive(const TempSet& set, unsigned seed) {
    Random random(seed);
    const Clock::time_point end = Clock::now() + std::chrono::seconds(STRESS_SECONDS);
    const auto start = [&] {
        const unsigned own = random.below(UINT32_MAX);
        return std::make_unique<Process>([&] { Client(own).live(end); });
    };
    struct Slot {
        std::unique_ptr<Process> client;
        bool isStuck = false;
    } slots[6];
    for (Slot& slot : slots) slot.client = start();
    const char* const reactions[] = {"0 1 300", "", "1 0 100\n0 1 1000", "0 1 0", "0 0xF3 2000"};
    while (Clock::now() < end) {
        usleep(random.below(100'000));
        set.write("bectrl/reaction", random.oneOf(reactions));
        Slot& slot = slots[random.below(std::size(slots))];
        const unsigned what = random.below(6);
        if (what < 2) slot = {start()};
        if (what < 4 || slot.isStuck) continue;
        slot.client->stop();
        slot.isStuck = what == 4;
        if (slot.isStuck) continue;
        usleep(random.below(200'000));
        slot.client->resume();
    }
    for (Slot& slot : slots) {
        EXPECT_TRUE(slot.isStuck || Program::poll([&] { return slot.client->hasEnded(); }));
        const int status = slot.client->signalAndWait(SIGKILL);
        EXPECT_TRUE(slot.isStuck || status == 0) << status;
    }
}

/** Each lock is acquired and released alternately. @return the number of both. */
size_t countTurns(const std::string& operations) {
    size_t turns = 0;
    for (const std::string name : {"HidlAudioDevice", "HidlAudioHrtf"}) {
        const auto own = find(operations, "(\\w+)_wake_lock.*" + name);
        for (size_t i = 0; i < own.size(); i++) {
            EXPECT_EQ(i % 2 == 0 ? "acquire" : "release", own[i]);
        }
        turns += own.size();
    }
    return turns;
}

TEST(Upload, EveryWorkerReportsOneOutcomeAndLeavesNothingWhateverItsClientsDo) {
    TempSet set({.hasBackEnd = true});
    setenv("TVSET_SPEED", kSpeed, 1);
    setenv("ASAN_OPTIONS", "quarantine_size_mb=16", 1);  // returns freed memory
    Service service;
    ASSERT_EQ(0, Program({"audioctl", "upload", "hrtf", set.path("eeprom.bin")}).wait());
    usleep(300'000);  // until the death of its first client is noticed
    const ResourceUsage before(service.pid());

    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    letClientsLive(set, seed);
    EXPECT_EQ("(nothing)", gJournal.next(0ms));

    std::string log;
    size_t workers = 0;
    EXPECT_TRUE(Program::poll([&] {
        log = service.err();
        workers = countOf(log, "[apply] end. Return:0");
        return workers == countOf(log, "paramTransferThread finished");
    }));
    EXPECT_LT(1u, workers);
    EXPECT_EQ(2 * workers, countTurns(set.read("journal")));
    EXPECT_EQ(0u, countOf(log, "Sanitizer")) << log.substr(log.find("Sanitizer"), 5000);
    EXPECT_TRUE(
            Program::poll([&] { return ResourceUsage(service.pid()).isNoMoreThan(before, 64); }));
    EXPECT_EQ(128 + SIGTERM, service.signalAndWait(SIGTERM));
}

}  // namespace
