/* The running service and its clients: many, at once, hostile, stopped and dying. */

#include "tests/support/hidl_fakes.h"
#include "tests/support/program.h"
#include "tests/support/raw_client.h"
#include "tests/support/resource_usage.h"

namespace {

using namespace fakes;
using android::base::unique_fd;
using V3_1::IHdmiAudio;
using Clock = std::chrono::steady_clock;

/** A set with the running service. */
class Crowd : public testing::Test {
  protected:
    TempSet mSet;
    std::unique_ptr<Service> mService = std::make_unique<Service>();
};

/** A process with a callback that reports each notice and then does something. */
std::unique_ptr<Process> listener(
        const std::string& name, int registrations,
        const std::function<void(const sp<IHdmiAudio>&, const sp<IHdmiAudioCallback>&)>& then) {
    auto process = std::make_unique<Process>([&] {
        const sp<IHdmiAudio> service = IHdmiAudio::getService();
        sp<IHdmiAudioCallback> callback;
        callback = new Callback([&](const Words& names) {
            gJournal.say(name + ": " + std::string(names[0]));
            then(service, callback);
        });
        for (int i = 0; i < registrations; i++) service->setCallback(callback).isOk();
        gJournal.say(name);
        while (true) pause();
    });
    EXPECT_EQ(name, gJournal.next());
    return process;
}

TEST_F(Crowd, ListenersAreNotifiedWhateverOneOfThemDoes) {
    const auto nothing = [](const auto&, const auto&) {};
    const auto twice = listener("twice", 2, nothing);
    const auto dying = listener("dying", 1, [](const auto&, const auto&) { _exit(0); });
    const auto asking = listener("asking", 1, [](const auto& service, const auto&) {
        service->getAudioCapabilities([](const Words& names) { gJournal.say(names[0]); }).isOk();
    });
    const auto again = listener("again", 1, [](const auto& service, const auto& callback) {
        service->setCallback(callback).isOk();
    });
    const sp<IHdmiAudio> service = IHdmiAudio::getService();
    const auto expectTold = [&](const Lines& told) {
        EXPECT_EQ(0, service->setAudioCapabilities({"ARC_DD_ATMOS"}));
        for (const std::string& line : told) EXPECT_EQ(line, gJournal.next());
        EXPECT_EQ("(nothing)", gJournal.next(std::chrono::milliseconds(50)));
    };
    const std::string dd = ": ARC_DD_ATMOS";
    expectTold({"twice" + dd, "twice" + dd, "dying" + dd, "asking" + dd, "ARC_DD_ATMOS",
                "again" + dd});
    EXPECT_TRUE(mService->hasLogged("D hdmiaudio: remove callback"));

    twice->stop();
    const Clock::time_point begin = Clock::now();
    expectTold({"asking" + dd, "ARC_DD_ATMOS", "again" + dd, "again" + dd});
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(10));
    // Its first death notice takes both of its registrations.
    EXPECT_TRUE(mService->hasLogged(": remove callback\nD hdmiaudio: remove callback\n"));
}

constexpr int kAtOnce = 50;

/** Registers callbacks on separate connections and closes those: deaths without processes. */
void registerAndHangUp(int count) {
    std::vector<RawClient> clients;
    std::vector<unique_fd> objects;
    for (int i = 0; i < count; i++) {
        int ends[2];
        ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
        objects.emplace_back(ends[0]);
        const unique_fd theirs(ends[1]);
        const std::string object = item(uint32_t(1), uint32_t(0), uint64_t(getpid()), uint64_t(i));
        clients.emplace_back("3.1::IHdmiAudio");
        clients.back().send(message(3, token("1.1::IHdmiAudio") + object, 1), theirs);
    }
    for (const RawClient& client : clients) ASSERT_EQ("0", client.reply());
}

TEST_F(Crowd, ClientsThatComeAndDieLeaveNothing) {
    const auto comeAndDie = [] {
        Process client([] {
            const sp<IHdmiAudioCallback> callback = new Callback([](const Words&) {});
            const bool isOk = IHdmiAudio::getService()->setCallback(callback).isOk();
            _exit(isOk ? 0 : 1);
        });
        ASSERT_EQ(0, client.wait());
    };
    for (int i = 0; i < 10; i++) comeAndDie();  // warm-up: some memory grows once
    registerAndHangUp(kAtOnce);
    const auto areNoticed = [&](int deaths) {
        return Program::poll([&] {
            return countOf(mService->err(), "D hdmiaudio: remove callback") == size_t(deaths);
        });
    };
    EXPECT_TRUE(areNoticed(10 + kAtOnce));
    const ResourceUsage before(mService->pid());
    for (int i = 0; i < CROWD / 20; i++) comeAndDie();
    for (int i = 0; i < CROWD; i += kAtOnce) registerAndHangUp(kAtOnce);
    EXPECT_TRUE(areNoticed(10 + CROWD / 20 + kAtOnce + CROWD));
    EXPECT_TRUE(
            Program::poll([&] { return ResourceUsage(mService->pid()).isNoMoreThan(before, 4); }));
    EXPECT_EQ(0, IHdmiAudio::getService()->setAudioCapabilities({"ARC_DD_PLUS"}));
}

/** Calls the services through restarts, and reports errors. */
class Caller {
  public:
    Caller(bool isWriter, Clock::time_point end) : mIsWriter(isWriter), mEnd(end) {}

    void run() {
        while (Clock::now() < mEnd) {
            alarm(30);  // a call that hangs ends the client, whose report is missing then
            const sp<V3_1::IOutputSpeaker> speaker = V3_1::IOutputSpeaker::getService();
            const sp<V3_1::IAcousticCalibration> room = V3_1::IAcousticCalibration::getService();
            const sp<IHdmiAudio> hdmi = IHdmiAudio::getService();
            if (speaker == nullptr || room == nullptr || hdmi == nullptr) {
                usleep(10'000);
                continue;
            }
            while (Clock::now() < mEnd && callAll(*speaker, *room, *hdmi)) mAnswers++;
        }
        gJournal.say(mAnswers > 0 ? "well" : "no answers");
    }

  private:
    bool callAll(V3_1::IOutputSpeaker& speaker, V3_1::IAcousticCalibration& room,
                 IHdmiAudio& hdmi) {
        if (mIsWriter && !writeAndRead(speaker)) return false;
        const Return<int32_t> set = hdmi.setAudioCapabilities({"ARC_DD_PLUS"});
        const auto ignore = [](const auto&) {};
        return examine(set) && examine(room.getEnabled()) &&
               examine(room.getCalibratedData(ignore)) &&
               examine(hdmi.getAudioCapabilities(ignore));
    }
    /** A stored setting keeps its value until the next write, across restarts. */
    bool writeAndRead(V3_1::IOutputSpeaker& speaker) {
        Return<V3_1::TvPositionType> position = speaker.getTvPosition();
        if (!examine(position)) return false;
        if (mStored >= 0 && int32_t(V3_1::TvPositionType(position)) != mStored) {
            gJournal.say("a setting is lost");
            _exit(1);
        }
        const int32_t next = mAnswers % 2;
        mStored = -1;  // unknown until the answer
        const Return<int32_t> status = speaker.setTvPosition(next);
        if (examine(status) && status == 0) mStored = next;
        return mStored >= 0;
    }
    /** An answer, or a clear error. */
    bool examine(const android::hardware::details::return_status& result) {
        if (result.isOk()) return true;
        if (!result.isDeadObject()) gJournal.say("unclear: " + result.description());
        return false;
    }

    const bool mIsWriter;
    const Clock::time_point mEnd;
    int32_t mStored = -1;
    int mAnswers = 0;
};

TEST_F(Crowd, CallsAreAnsweredOrFailClearlyWhileTheServiceIsRestarted) {
    const Clock::time_point end = Clock::now() + std::chrono::seconds(STRESS_SECONDS / 2);
    std::unique_ptr<Process> clients[20];
    for (auto& client : clients) {
        const bool isWriter = &client == clients;
        client = std::make_unique<Process>([=] { Caller(isWriter, end).run(); });
    }
    for (int i = 0; Clock::now() < end; i++) {
        usleep(1'500'000);
        mService->signalAndWait(i % 2 == 0 ? SIGKILL : SIGTERM);
        EXPECT_EQ(0u, countOf(mService->err(), "Sanitizer")) << mService->err();
        mService = std::make_unique<Service>();
    }
    for (size_t i = 0; i < std::size(clients); i++) EXPECT_EQ("well", gJournal.next());
}

}  // namespace
