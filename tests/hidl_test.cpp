/* The HIDL runtime between processes: a server of small fakes, and its clients. */

#include <gtest/gtest.h>
#include <linux/securebits.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

#include <filesystem>
#include <set>

#include <com/zavo/dtv/hardware/audio/3.0/hwtypes.h>

#include "host/hidl/event_loop.h"
#include "host/hidl/rpc.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/processes.h"
#include "tests/support/raw_client.h"
#include "tests/support/temp_set.h"

namespace {

using namespace fakes;
using namespace std::chrono_literals;
using namespace std::string_literals;
using hidl::base::V1_0::DebugInfo;
using Clock = std::chrono::steady_clock;

/** A set with a running server process. A case that hangs is ended before CTest ends it. */
class HidlTest : public testing::Test {
  protected:
    HidlTest() { alarm(110); }
    void start(const std::function<void()>& body = fakes::serve) {
        mServer.reset();
        mServer = std::make_unique<Process>(body);
        ASSERT_EQ("ready", gJournal.next());
    }

    TempSet mSet;
    std::unique_ptr<Process> mServer;
};

TEST_F(HidlTest, AnObjectIsReachableUnderEveryVersionAndCanBeCastUpwards) {
    start();
    sp<V1_0::IHdmiAudio> oldest = V1_0::IHdmiAudio::getService("default");
    EXPECT_EQ(2, order(oldest, {"keep", "it"}));
    sp<V1_1::IHdmiAudio> newer = V1_1::IHdmiAudio::castFrom(oldest);
    sp<V3_1::IHdmiAudio> newest = V3_1::IHdmiAudio::castFrom(newer);
    EXPECT_TRUE(interfacesEqual(newest, hdmiAudio()));
    auto expectKept = [](const Words& kept) { EXPECT_EQ((Words{"keep", "it"}), kept); };
    EXPECT_TRUE(newest->getAudioCapabilities(expectKept).isOk());
    EXPECT_EQ(nullptr, sp<V3_1::IOutputSpeaker>(V3_1::IOutputSpeaker::castFrom(
                               sp<hidl::base::V1_0::IBase>(oldest))));
    sp<V3_1::IOutputSpeaker> speaker =
            V3_1::IOutputSpeaker::castFrom(V2_0::IOutputSpeaker::getService("default"));
    EXPECT_EQ(V2_0::SurroundType::TYPE_2, V2_0::SurroundType(speaker->getSurroundType()));
    EXPECT_EQ(-1, int32_t(speaker->setTvPosition(1)));
    EXPECT_EQ(nullptr, V1_0::IHdmiAudio::getService("other"));
    EXPECT_EQ(nullptr, V1_0::IHdmiAudio::getService("default", /* getStub */ true));
}

TEST_F(HidlTest, StringsAndNestedListsArriveAsTheyWereSent) {
    start();
    sp<V3_1::IOutputExternal> external = V3_1::IOutputExternal::getService("default");
    for (const std::string& sent : {std::string(), std::string("a\0b", 3), std::string("1234567"),
                                    std::string("12345678"), std::string(100'000, 'x')}) {
        EXPECT_EQ(int32_t(sent.size()), int32_t(external->setEncodingFormat(sent)));
        auto expectSame = [&](const hidl_string& kept) { EXPECT_EQ(sent, std::string(kept)); };
        EXPECT_TRUE(external->getEncodingFormat(expectSame).isOk());
    }
    sp<V3_1::IAcousticCalibration> calibration = V3_1::IAcousticCalibration::getService("default");
    const std::vector<V3_0::bandEqualizer> bands(31, {"Parametric", 0, 0, -9});
    const hidl_vec<V3_0::calibratedData> data = {{"FL", bands, 1.5f, 2.5f}, {"", {}, 0, 0}};
    EXPECT_EQ(2, int32_t(calibration->setCalibratedData(data)));
    auto expectData = [&](const auto& kept) { EXPECT_EQ(data, kept); };
    EXPECT_TRUE(calibration->getCalibratedData(expectData).isOk());
    auto expectAll = [](const auto& all) { EXPECT_EQ(FakeCalibration::parameters(), all); };
    EXPECT_TRUE(calibration->getCalibrationParameters(expectAll).isOk());
}

TEST_F(HidlTest, AHandleArrivesWithItsDescriptorsAndIntegersOrNotAtAll) {
    start();
    const sp<V3_1::IHdmiAudio> service = hdmiAudio();
    EXPECT_TRUE(service->debug(nullptr, {}).isOk());
    EXPECT_EQ("no handle", gJournal.next());
    constexpr int kNotOpen = 9999;
    for (const auto& [count, fd] : {std::pair(1, 2), {1, kNotOpen}, {64, 2}, {65, 2}}) {
        native_handle_t* handle = native_handle_create(count, 2);
        std::fill_n(handle->data, count, fd);
        handle->data[count] = 7;
        handle->data[count + 1] = -1;
        const bool isOk = count <= 64 && fd != kNotOpen;
        EXPECT_EQ(isOk, service->debug(handle, {}).isOk());
        EXPECT_EQ(isOk ? std::to_string(count) + ", 7 -1" : "(nothing)",
                  gJournal.next(isOk ? 10s : 0s));
        native_handle_delete(handle);
        EXPECT_TRUE(service->ping().isOk()) << "the connection stays";
    }
}

TEST_F(HidlTest, ACallThatASetCouldNotCarryFailsAloneAndTheNextOneArrives) {
    start();
    sp<V5_0::IHeadphoneVirtualizer> service = V5_0::IHeadphoneVirtualizer::getService("default");
    std::vector<uint8_t> ones(1 << 20, 1);  // larger lists are refused unread
    // The interface's name, an integer, and records of the list and of its bytes.
    constexpr uint32_t kMost = (1 << 20) - 2 * 4096 - 56 - 4 - 4 - (48 + 16) - 48;
    const std::pair<uint32_t, int32_t> cases[] = {{0, 0},
                                                  {4096, 8192},
                                                  {4097, 8194},
                                                  {262144, 524288},
                                                  {1 << 20, -99},
                                                  {0xFFFFFFF0, -99},
                                                  {kMost, 2 * int32_t(kMost)},
                                                  {kMost + 1, -99}};
    hidl_vec<uint8_t> data;
    for (const auto& [size, sum] : cases) {
        data.setToExternal(ones.data(), size);
        SCOPED_TRACE(size);
        EXPECT_EQ(sum, service->append(1, data).withDefault(-99));
    }
    EXPECT_FALSE(service->getAvailableVirtualizerTypes([](const Words&) {}).isOk());
    EXPECT_TRUE(service->ping().isOk());
    // Of a full calibration list most is taken by the records of its strings.
    const std::vector<V3_0::bandEqualizer> bands(31, {"Parametric", 0, 0, -9});
    const auto calibration = V3_1::IAcousticCalibration::getService("default");
    for (const auto& [entries, expected] : {std::pair(333, 333), {334, -99}}) {
        SCOPED_TRACE(entries);
        const std::vector<V3_0::calibratedData> list(entries, {"FL", bands, 0, 0});
        EXPECT_EQ(expected, calibration->setCalibratedData(list).withDefault(-99));
    }
    // One-way calls may take half of the room.
    const MessageHeader header{MessageHeader::kCall, 1, IBinder::FLAG_ONEWAY, 0, 0, 0, {}};
    for (const bool isTooMuch : {false, true}) {
        Parcel parcel;
        parcel.writeBytes(ones.data(), ((1 << 20) - 2 * 4096) / 2 - 48 + isTooMuch);
        EXPECT_EQ(isTooMuch, bytesOnTheWire(parcel, header) == "refused");
    }
}

TEST_F(HidlTest, CallsWithinEachOtherShareTheRoomForCalls) {
    start();
    const std::string half(600'000, 'x');
    sp<V3_1::IHdmiAudio> service = hdmiAudio();
    auto callback = give([&](const Words&) { EXPECT_EQ(-99, order(service, {"keep", half})); });
    EXPECT_EQ(0, order(service, {"tell", half}));
    EXPECT_EQ(2, order(service, {"keep", half}));
}

/** The bytes on the wire depend neither on padding nor on addresses. */
template <typename T, typename Assign>
void expectValuesAlone(const Assign& assign) {
    alignas(T) uint8_t memory[2][sizeof(T)];
    std::string bytes[2];
    for (int i : {0, 1}) {
        memset(memory[i], i == 0 ? 0x55 : 0xAA, sizeof(T));
        T* value = new (memory[i]) T;
        assign(value);
        Parcel parcel;
        size_t handle;
        EXPECT_EQ(OK, parcel.writeBuffer(value, sizeof(T), &handle));
        if constexpr (!std::is_trivially_copyable_v<T>) {
            EXPECT_EQ(OK, V3_0::writeEmbeddedToParcel(*value, &parcel, handle, 0));
        }
        bytes[i] = bytesOnTheWire(parcel);
    }
    EXPECT_EQ(bytes[0], bytes[1]);
    for (auto& value : memory) reinterpret_cast<T*>(value)->~T();
}

TEST_F(HidlTest, NeitherPointersNorPaddingLeaveTheProcess) {
    const V3_0::bandEqualizer band{"Parametric", 1, 2, 3};
    expectValuesAlone<V3_0::bandEqualizer>([&](auto* value) { *value = band; });
    expectValuesAlone<V3_0::channelCurve>([&](auto* value) {
        value->channel = std::string(5000, 'x');
        value->enabled = true;
        value->bands = {band, band};
    });
    expectValuesAlone<DebugInfo>([](auto* value) {
        value->pid = 1;
        value->ptr = 2;
        value->arch = DebugInfo::Architecture::IS_64BIT;
    });
}

TEST_F(HidlTest, AnObjectKeepsItsIdentityComesBackToItsOwnerAndCannotGoToAThirdProcess) {
    Process third([] {
        EXPECT_EQ(OK, sp(new FakeHdmiAudio)->registerAsService("third"));
        gJournal.say("third");
        pause();
    });
    ASSERT_EQ("third", gJournal.next());
    start();
    sp<IHdmiAudioCallback> one = give([](const Words&) {}), other = new Callback([](auto&) {});
    const std::tuple<const char*, sp<IHdmiAudioCallback>, const char*> cases[] = {
            {"one again", one, "the same callback"},      {"other", other, "another callback"},
            {"one after other", one, "another callback"}, {"none", nullptr, "null"},
            {"one after none", one, "another callback"},  {"one", one, "the same callback"}};
    for (const auto& [name, given, arrives] : cases) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(hdmiAudio()->setCallback(given).isOk());
        EXPECT_EQ(arrives, gJournal.next());
    }
    sp<FakeHdmiAudio> mine = new FakeHdmiAudio;
    mine->own = one;
    for (const char* name : {"a/b", "%", ".", " \n"}) {
        const sp<FakeHdmiAudio> object = new FakeHdmiAudio;
        EXPECT_EQ(OK, object->registerAsService(name));
        EXPECT_EQ(object, V3_1::IHdmiAudio::getService(name)) << name;
    }
    ASSERT_EQ(OK, mine->registerAsService("mine"));
    EXPECT_EQ(INVALID_OPERATION, mine->registerAsService("mine too"));
    EXPECT_EQ(BAD_VALUE, mine->registerAsService(""));
    EXPECT_EQ(BAD_VALUE, mine->registerAsService(std::string(250, 'x')));
    EXPECT_EQ(-1, order(hdmiAudio(), {"hand over", "third"}));
    EXPECT_EQ(0, order(hdmiAudio(), {"hand over", "mine"}));
    EXPECT_EQ("my own object", gJournal.next());
    const sp<Notification> sent = new Notification;
    const auto keeper = IServiceManager::getService();
    EXPECT_TRUE(keeper->registerForNotifications("", "", sent));
    EXPECT_EQ(sent, sp<IBase>(keeper->get("", ""))) << "a result";
}

TEST_F(HidlTest, ARegistrationThatFailsHalfWayLeavesNothingInTheWayOfTheNextOne) {
    const std::string audio = mSet.path("run/com.zavo.dtv.hardware.audio@");
    const std::string older = audio + "2.0::IOutputSpeaker%2Fmine";
    std::filesystem::create_directories(older);
    const sp<V3_1::IOutputSpeaker> speaker = new FakeSpeaker;
    EXPECT_EQ(-EISDIR, speaker->registerAsService("mine"));
    for (const auto& left : std::filesystem::directory_iterator(mSet.path("run"))) {
        EXPECT_EQ(older, left.path());
    }
    std::filesystem::remove(older);
    EXPECT_EQ(OK, speaker->registerAsService("mine"));
    EXPECT_EQ(speaker, V2_0::IOutputSpeaker::getService("mine"));
    std::filesystem::rename(older, audio + "3.1::IHdmiAudio%2Fmine");
    EXPECT_EQ(nullptr, V3_1::IHdmiAudio::getService("mine")) << "of another interface";

    const base::unique_fd locked(open(mSet.path("run").c_str(), O_RDONLY));
    ASSERT_EQ(0, flock(locked, LOCK_EX));
    std::thread late([] { EXPECT_EQ(OK, sp(new FakeSpeaker)->registerAsService("late")); });
    EXPECT_EQ(nullptr, V3_1::IOutputSpeaker::getService("late"));
    mSet.remove("run");
    late.join();
    EXPECT_NE(nullptr, V3_1::IOutputSpeaker::getService("late"));
}

TEST_F(HidlTest, ADeathIsNotifiedOnTheRpcThreadUnlessUnlinked) {
    for (const bool wantsToKnow : {true, false}) {
        Process client([] {
            gOrders.next();
            hdmiAudio()->setCallback(new Callback([](const Words&) {})).isOk();
            pause();
        });
        start();
        gOrders.say("go");
        ASSERT_EQ("another callback", gJournal.next());
        EXPECT_EQ(1, order(hdmiAudio(), {"link"}));
        EXPECT_EQ(1, order(hdmiAudio(), {wantsToKnow ? "keep" : "unlink"}));
        client.end();
        EXPECT_EQ(wantsToKnow ? "death of 7 on the RPC thread" : "(nothing)",
                  gJournal.next(wantsToKnow ? 10s : 1s));
        EXPECT_EQ(-1, order(hdmiAudio(), {"tell"}));
        EXPECT_EQ(0, order(hdmiAudio(), {"link"})) << "to a dead one";
        EXPECT_EQ("(nothing)", gJournal.next(200ms));
    }
    auto callback = give([](const Words&) {});
    for (int i = 0; i < 4096; i++) ASSERT_EQ(1, order(hdmiAudio(), {"link"}));
    EXPECT_EQ(0, order(hdmiAudio(), {"link"}));
    EXPECT_EQ(closed("its object has too many death links"), gJournal.next());
}

TEST_F(HidlTest, ADeathIsNotifiedInTheOrderOfTheLinksToRecipientsThatAreAlive) {
    start();
    std::vector<sp<DeathRecorder>> recorders;
    const sp<V3_1::IHdmiAudio> service = hdmiAudio();
    for (uint64_t cookie = 1; cookie < 6; cookie++) {
        recorders.push_back(new DeathRecorder);
        EXPECT_TRUE(service->linkToDeath(recorders.back(), cookie));
    }
    recorders.erase(recorders.begin() + 2);
    EXPECT_TRUE(service->unlinkToDeath(recorders.front()));
    mServer->end();
    for (const char* cookie : {"2", "4", "5"}) {
        EXPECT_EQ("death of " + std::string(cookie) + " elsewhere", gJournal.next());
    }
    EXPECT_EQ("(nothing)", gJournal.next(100ms));
    const sp<IBase> base = service;
    EXPECT_TRUE(V3_1::IOutputSpeaker::castFrom(base, /* emitError */ true).isDeadObject());
}

TEST_F(HidlTest, ACallbackRunsOnTheThreadThatWaitsAndMayCallTheServiceAndOthers) {
    start();
    configureRpcThreadpool(1, true);  // and nobody joins: no other thread could run the callback
    sp<V3_1::IHdmiAudio> service = hdmiAudio();
    int told = 0;
    auto callback = give([&](const Words&) {
        const int depth = ++told;
        EXPECT_EQ(depth < limits::kMaxNesting ? 0 : -99, order(service, {"tell"}));
        if (depth > 1) return;
        EXPECT_TRUE(service->notifySyspropsChanged().isOk()) << "which is on the same connection";
        EXPECT_TRUE(service->setHALInstrumentation().isOk());
        // Connections that the server cannot have accepted yet, since it waits for this callback.
        EXPECT_EQ(1, V3_1::IOutputExternal::getService("default")
                             ->registerEncodingFormatListener(
                                     V3_1::IOutputEncodingStatusListener::getService("default"))
                             .withDefault(-99));
    });
    EXPECT_EQ(0, order(service, {"tell"}));
    EXPECT_EQ(limits::kMaxNesting, told);
}

TEST_F(HidlTest, OtherClientsWaitUntilACallWithItsCallbackIsOver) {
    Process other([] {
        gOrders.next();
        order(hdmiAudio(), {"say", "the other is served"});
    });
    start();
    auto callback = give([](const Words&) {
        gOrders.say("go");
        EXPECT_EQ("(nothing)", gJournal.next(100ms));
        order(hdmiAudio(), {"say", "the first is served"});
    });
    EXPECT_EQ(0, order(hdmiAudio(), {"tell"}));
    EXPECT_EQ("the first is served", gJournal.next());
    EXPECT_EQ("the other is served", gJournal.next());
}

TEST_F(HidlTest, AWorkerAndTheRpcThreadThatCallTheSameCallbackDoNotBlockEachOther) {
    Process other([] {
        gOrders.next();
        gJournal.say("tell: " + std::to_string(order(hdmiAudio(), {"tell", "RPC thread"})));
    });
    start();
    sp<V3_1::IHdmiAudio> service = hdmiAudio();
    auto callback = give([service](const Words& words) {
        if (words[0] != "worker") return;
        gOrders.say("go");
        usleep(200'000);  // the RPC thread waits for its turn with the callback by now
        EXPECT_EQ(0, order(service, {"say", "nested"}));
    });
    order(service, {"tell from a worker", "worker"});
    EXPECT_EQ("nested", gJournal.next());
    EXPECT_EQ("tell: 0", gJournal.next());
}

TEST_F(HidlTest, ACallbackAfterTheAnswerGoesToTheClientsOwnRpcThread) {
    start();
    auto callback = give([](const Words&) {});
    order(hdmiAudio(), {"tell late"});
    EXPECT_TRUE(hdmiAudio()->getAudioCapabilities([](const Words&) {}).isOk());
    EXPECT_EQ("told", gJournal.next());
}

TEST_F(HidlTest, AOneWayCallDoesNotWait) {
    struct Slow : FakeVirtualizerCallback {
        Return<void> onTransferResult(int32_t) override {
            gOrders.next();
            gJournal.say(hdmiAudio()->ping().isOk() ? "done" : "not done");
            return Void();
        }
    };
    start();
    const auto service = V5_0::IHeadphoneVirtualizer::getService("default");
    const sp<Slow> slow = new Slow;
    for (const int result : {1, 2, 3}) {
        EXPECT_EQ(0, service->apply(result, slow));
        EXPECT_EQ("called", gJournal.next());
    }
    for (int i = 0; i < 3; i++) {
        gOrders.say("go");
        EXPECT_EQ("done", gJournal.next());
    }
}

TEST_F(HidlTest, AFloodOfOneWayCallsHoldsUpNeitherItsSenderNorOthers) {
    start();
    const auto call = [](const std::string& order, const std::string& line) {
        return message(2, token("1.0::IHdmiAudio") + head(2) + head(order.size()) +
                                  head(line.size()) + text(order) + text(line));
    };
    std::vector<RawClient> clients;
    for (int i = 0; i < 32; i++) {
        clients.emplace_back("3.1::IHdmiAudio");
        clients.back().send(call("keep", "it"));
        EXPECT_EQ("0", clients.back().reply()) << "accepted by now";
    }
    const RawClient &honest = clients.front(), &busy = clients.back();
    busy.send(call("wait", ""));
    std::string flood;
    constexpr uint32_t kNotifySyspropsChanged = 0x0F535953;
    for (int i = 0; i < 50; i++) {
        flood += oneWay(message(kNotifySyspropsChanged, text("android.hidl.base@1.0::IBase")));
    }
    for (int i = 1; i < 31; i++) EXPECT_TRUE(clients[i].send(flood));
    honest.send(call("say", "honest"));
    EXPECT_TRUE(hdmiAudio()->notifySyspropsChanged().isOk());
    EXPECT_TRUE(hdmiAudio()->setHALInstrumentation().isOk());
    EXPECT_EQ(-1, recv(busy.socket(), flood.data(), 1, MSG_DONTWAIT)) << "none of these has waited";
    gOrders.say("go on");
    int before = 0;
    while (gJournal.next() == "properties changed") before++;
    EXPECT_LE(30, before);
    EXPECT_GT(4 * 30, before) << "of 50 * 30";
    EXPECT_EQ("0", honest.reply());
}

/** Messages of IHdmiAudio and IOutputExternal, valid and invalid. */
namespace messages {

const std::string kHdmi = "3.1::IHdmiAudio", kExternal = "3.1::IOutputExternal";

std::string list(const std::string& body) {
    return message(2, token("1.0::IHdmiAudio") + body);
}
std::string object(const std::string& reference, uint32_t fdCount = 0) {
    return message(3, token("1.1::IHdmiAudio") + reference, fdCount);
}
std::string reference(uint32_t kind) {
    return item(kind, uint32_t(0), 1LL, 2LL);
}
std::string boolean(const std::string& body) {
    return message(1, token("2.0::IOutputExternal") + body);
}
const std::string kWhole = list(head(0)), kMost = kWhole.substr(0, kWhole.size() - 1);
const char *kArguments = "malformed arguments", *kHalf = "half a message", *kBig = "oversized";
const char *kFds = "descriptors missing or left over", *kMore = "bytes behind the message";

enum class Sent { NOTHING, DATAGRAM_SOCKET, OWN_SOCKET };
const struct {
    const char* name;
    std::string interface, bytes, why;
    Sent fd = Sent::NOTHING;
} kHostile[] = {
        {"noise", kHdmi, std::string(64, '\xA5'), "unknown kind of message"},
        {"a reply", kHdmi, message(0, "", 0, MessageHeader::kReply), "a reply to no call"},
        {"half a header", kHdmi, kWhole.substr(0, 20), kHalf},
        {"half a body", kHdmi, kMost, kHalf},
        {"one byte too many", kHdmi, kWhole + "x", kMore},
        {"two calls at once", kHdmi, kWhole + kWhole, kMore},
        {"a size beyond all", kHdmi, message(2, "", 0, MessageHeader::kCall, 0xFFFFFFFF), kBig},
        {"a byte too many", kHdmi, message(2, "", 0, MessageHeader::kCall, (1 << 20) - 39), kBig},
        {"no descriptor", kHdmi, object(reference(1), 1), kFds},
        {"a descriptor unasked for", kHdmi, kWhole, kFds, Sent::DATAGRAM_SOCKET},
        {"no interface", kHdmi, message(2, ""), kArguments},
        {"an interface without end", kHdmi, message(2, std::string(32, 'x')), kArguments},
        {"no list", kHdmi, list(""), kArguments},
        {"a list longer than the message", kHdmi, list(head(1)), kArguments},
        {"a list beyond all", kHdmi, list(head(0xFFFFFFFF) + head(0)), kArguments},
        {"a string beyond all", kHdmi, list(head(1) + head(0xFFFFFFFF) + text("x")), kArguments},
        {"a string without end", kHdmi, list(head(1) + head(7) + "xxxxxxxx"), kArguments},
        {"a bool of 2", kExternal, boolean(item(2)), kArguments},
        {"no bool", kExternal, boolean(""), kArguments},
        {"no object", kHdmi, object(""), kArguments},
        {"an object without a socket", kHdmi, object(reference(1)), kArguments},
        {"an object at our own", kHdmi, object(reference(1), 1), kArguments, Sent::OWN_SOCKET},
        {"an object at a datagram socket", kHdmi, object(reference(1), 1), kArguments,
         Sent::DATAGRAM_SOCKET},
        {"an object never given", kHdmi, object(reference(2)), kArguments},
        {"an object of no kind", kHdmi, object(reference(9)), kArguments},
        {"that behind a call", kHdmi, oneWay(kWhole) + object(reference(9), 1), kArguments,
         Sent::DATAGRAM_SOCKET},
};

}  // namespace messages

TEST_F(HidlTest, CallsThatDoNotFitAreAnsweredWithAnErrorOrNotAtAll) {
    start();
    const RawClient client(messages::kHdmi);
    EXPECT_TRUE(client.send(message(1, token("2.0::IOutputSpeaker"))));
    EXPECT_EQ(std::to_string(uint32_t(BAD_TYPE)), client.reply()) << "no such interface";
    EXPECT_TRUE(client.send(message(99, token("1.0::IHdmiAudio"))));
    EXPECT_EQ(std::to_string(uint32_t(UNKNOWN_TRANSACTION)), client.reply()) << "no such method";
    EXPECT_TRUE(client.send(oneWay(message(99, "")) + oneWay(messages::kWhole) + messages::kWhole));
    EXPECT_EQ("0", client.reply()) << "none of them is hostile";
    EXPECT_EQ("(nothing)", gJournal.next(0ms));
    std::string greedy = messages::kWhole;
    greedy[offsetof(MessageHeader, space) + 2] = 0x10;  // claims a mebibyte
    for (const std::string& call : {greedy, messages::list(std::string(1'044'000, 'x'))}) {
        EXPECT_TRUE(client.send(call));
        EXPECT_EQ(std::to_string(uint32_t(FAILED_TRANSACTION)), client.reply());
    }
}

TEST_F(HidlTest, HostileBytesEndTheirConnectionAloneWithOneLine) {
    using namespace messages;
    Process other([] {
        while (gOrders.next(40s) != "(nothing)") {
            gJournal.say("tell: " + std::to_string(order(hdmiAudio(), {"tell"})));
        }
    });
    start();
    int datagram[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_DGRAM, 0, datagram));
    const RawClient silent(kHdmi);
    EXPECT_TRUE(silent.send(kMost));
    for (const auto& c : kHostile) {
        SCOPED_TRACE(c.name);
        RawClient client(c.interface);
        const int fds[]{-1, *datagram, silent.socket()};
        EXPECT_TRUE(client.send(c.bytes, fds[int(c.fd)]));
        if (c.why == kHalf) client.hangUp();
        EXPECT_EQ(closed(c.why), gJournal.next());
        EXPECT_EQ(c.why == kHalf ? "silent" : "closed", client.reply());
        EXPECT_EQ(2, order(hdmiAudio(), {"keep", "it"})) << "of another client";
    }
    EXPECT_TRUE(silent.send(kWhole.substr(kWhole.size() - 1)));
    EXPECT_EQ("0", silent.reply()) << "the other half came";
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    const RawClient callback{base::unique_fd(ends[0])};
    std::string answer = message(0, item(0), 0, MessageHeader::kReply);
    while (answer.size() < 1000) answer = oneWay(message(99, "")) + answer;
    EXPECT_TRUE(silent.send(object(reference(1), 1), ends[1]));
    EXPECT_EQ("another callback", gJournal.next());
    for (int i = 0; i < 4; i++) {
        EXPECT_TRUE(callback.send(answer));
        gOrders.say("go");
        EXPECT_EQ("tell: 0", gJournal.next()) << "nobody waits for calls that are there";
    }
    EXPECT_TRUE(callback.send(std::string(64, '\xA5')));
    gOrders.say("go");
    EXPECT_EQ(closed("unknown kind of message"), gJournal.next()) << "in place of an answer";
    EXPECT_EQ("tell: -2", gJournal.next());
    gOrders.say("go");
    EXPECT_EQ("tell: -1", gJournal.next());
    EXPECT_EQ("(nothing)", gJournal.next(0ms));
}

TEST_F(HidlTest, AClientThatDoesNotAnswerIsGivenUpAndWelcomeAgain) {
    Process client([] {
        sp<Callback> callback = new Callback([](const Words& words) {
            gJournal.say(words[1]);
            sp<V3_1::IHdmiAudio> service = hdmiAudio();
            while (words[1] == "call on" && order(service, {"keep", "it"}) == 2) continue;
        });
        while (gOrders.next() != "(nothing)") {
            while (!hdmiAudio()->setCallback(callback).isOk()) continue;
        }
    });
    for (const std::string what : {"stop", "call on"}) {
        SCOPED_TRACE(what);
        start();
        gOrders.say("register");
        ASSERT_EQ("another callback", gJournal.next());
        if (what == "stop") client.stop();
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(-2, order(hdmiAudio(), {"tell", what})) << "neither told nor dead";
        EXPECT_GE(Clock::now() - begin, 900ms);
        EXPECT_LE(Clock::now() - begin, 5s);
        EXPECT_EQ(-1, order(hdmiAudio(), {"tell", "again"})) << "dead from then on";
        client.resume();
        gOrders.say("register");
        const std::string givenUp = closed("it did not answer", client.pid());
        const std::set<std::string> lines{gJournal.next(), gJournal.next(), gJournal.next()};
        EXPECT_EQ((std::set<std::string>{"another callback", what, givenUp}), lines);
        EXPECT_EQ(0, order(hdmiAudio(), {"tell", "again"}));
        EXPECT_EQ("again", gJournal.next());
    }
}

constexpr int kLongText = 900'000;
/**
 * Asks for what the service keeps, again whenever an answer is there, until one has not come whole
 * for as long as `patience`. Returns the number of calls.
 */
int askWithoutReading(const RawClient& raw, std::chrono::milliseconds patience) {
    for (int calls = 1;; calls++) {
        raw.send(message(1, token("1.0::IHdmiAudio")));
        const auto end = Clock::now() + patience;
        for (int unread = 0; unread < calls * kLongText; usleep(10'000)) {
            ioctl(raw.socket(), FIONREAD, &unread);
            if (Clock::now() > end) return calls;
        }
    }
}

TEST_F(HidlTest, AnAnswerIsSentInPartsUnlessItsClientNeverReads) {
    Process client([] {
        gOrders.next();
        askWithoutReading(RawClient("3.1::IHdmiAudio"), 30s);
    });
    start();
    EXPECT_EQ(2, order(hdmiAudio(), {"keep", std::string(kLongText, 'x')}));
    const RawClient late("3.1::IHdmiAudio");
    for (int calls = askWithoutReading(late, 100ms); calls > 0; calls--) {
        EXPECT_EQ("0", late.reply());
    }
    EXPECT_TRUE(late.send(message(99, token("1.0::IHdmiAudio"))));
    EXPECT_EQ(std::to_string(uint32_t(UNKNOWN_TRANSACTION)), late.reply()) << "the next answer";
    gOrders.say("go");
    EXPECT_EQ(closed("it did not read an answer", client.pid()), gJournal.next());
    EXPECT_TRUE(hdmiAudio()->ping().isOk());
}

TEST_F(HidlTest, AClientThatDoesNotReadItsOneWayCallsIsGivenUp) {
    __android_log_set_logger(logToJournal);
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    const RawClient client{base::unique_fd(ends[0])};
    Channel channel(ForeignFd(ends[1]), getpid(), PeerKind::CLIENT);
    const std::string words(400'000, 'x');
    Parcel call;
    EXPECT_EQ(OK, call.writeBytes(words.data(), words.size()));
    for (int sent = 0; sendOneWay(channel, {}, call) == OK; sent++) ASSERT_GT(99, sent);
    EXPECT_EQ(closed("it did not read its calls"), gJournal.next());
    EXPECT_TRUE(channel.isShutDown());
}

TEST_F(HidlTest, AnotherUserIsTurnedAway) {
    if (getuid() != 0) GTEST_SKIP() << "only root can be two users";
    start();
    const Process other([] {
        prctl(PR_SET_SECUREBITS, SECBIT_NO_SETUID_FIXUP);  // may enter the run directory still
        EXPECT_EQ(0, seteuid(9));
        gJournal.say(RawClient("3.1::IHdmiAudio").reply());
        pause();
    });
    EXPECT_EQ((std::set<std::string>{"closed", closed("it belongs to another user", -1)}),
              (std::set<std::string>{gJournal.next(), gJournal.next()}));
}

TEST_F(HidlTest, ADescriptorThatIsSlowToCloseBlocksNobody) {
    start();
    // A TCP connection whose other end does not read: closing it waits for what is on the way.
    base::unique_fd listener(socket(AF_INET, SOCK_STREAM, 0)),
            full(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof(address);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(0, bind(listener, generic, size) || listen(listener, 1) ||
                         getsockname(listener, generic, &size) || connect(full, generic, size));
    const linger slowly{1, 20};
    setsockopt(full, SOL_SOCKET, SO_LINGER, &slowly, sizeof(slowly));
    const std::string bytes(1 << 20, 'x');
    while (::send(full, bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) continue;
    const std::string call = message(3, token("1.1::IHdmiAudio") + item(1, 0, 1LL, 2LL), 1);
    const RawClient client("3.1::IHdmiAudio");
    EXPECT_TRUE(client.send(call, full));
    full.reset();  // the server has the last one
    const auto begin = Clock::now();
    EXPECT_EQ(closed("malformed arguments"), gJournal.next());
    EXPECT_TRUE(hdmiAudio()->ping().isOk());
    EXPECT_GT(5s, Clock::now() - begin);
}

TEST_F(HidlTest, UnfinishedMessagesOfAPeerTakeAsMuchMemoryAsIsAllowed) {
    start();
    std::vector<RawClient> clients;
    const std::string unfinished = message(2, std::string(1'000'000, 'x')).substr(0, 900'000);
    for (int i = 0; i < 5; i++) {
        clients.emplace_back("3.1::IHdmiAudio");
        EXPECT_EQ(i < 4, clients.back().send(unfinished)) << i;
    }
    EXPECT_EQ(closed("its unfinished messages take too much memory"), gJournal.next());
    EXPECT_EQ(2, order(hdmiAudio(), {"keep", "it"}));
    clients.front().hangUp();
    EXPECT_EQ(closed("half a message"), gJournal.next());
    EXPECT_TRUE(RawClient("3.1::IHdmiAudio").send(unfinished)) << "there is room again";
}

TEST_F(HidlTest, ANameBelongsToALiveProcessAndIsFreeWhenThatIsDead) {
    Process second([] {
        for (int i = 0; i < 2; i++) {
            gOrders.next();
            gJournal.say(std::to_string(sp(new FakeHdmiAudio)->registerAsService("default")));
        }
        pause();
    });
    const auto expectListed = [](const Words& names) {
        const auto compare = [&](const Words& listed) { EXPECT_EQ(names, listed); };
        EXPECT_TRUE(defaultServiceManager()->list(compare).isOk());
    };
    start();
    gOrders.say("register");
    EXPECT_EQ(std::to_string(ALREADY_EXISTS), gJournal.next());
    EXPECT_TRUE(hdmiAudio()->ping().isOk());
    mServer->end();
    EXPECT_EQ(nullptr, hdmiAudio());
    expectListed({});
    gOrders.say("register");
    EXPECT_EQ("0", gJournal.next());
    const std::string oldest = V1_0::IHdmiAudio::descriptor;
    EXPECT_TRUE(sp<IBase>(defaultServiceManager()->get(oldest, "default"))->ping().isOk());
    expectListed({oldest + "/default", V1_1::IHdmiAudio::descriptor + "/default"s,
                  V3_1::IHdmiAudio::descriptor + "/default"s});
    EXPECT_EQ(std::filesystem::perms(0700),
              std::filesystem::status(mSet.path("run")).permissions());
}

TEST_F(HidlTest, AServerWhoseDirectoryIsRemovedLeavesOthersTheNamesThatTheyTook) {
    start();
    mServer->stop();
    mSet.remove("run");
    const sp<FakeHdmiAudio> mine = new FakeHdmiAudio;
    EXPECT_EQ(OK, mine->registerAsService("default"));
    mServer->resume();
    EXPECT_EQ(mSet.path("run") + " was removed; its sockets are lost: File exists",
              gJournal.next());
    EXPECT_EQ(mine, hdmiAudio());
    EXPECT_TRUE(V2_0::IOutputSpeaker::getService("default")->ping().isOk())
            << "all others are back";
}

TEST_F(HidlTest, FiveHundredClientsAreServedAtOnceAndOnePeerHasABound) {
    const rlimit enough{3000, 3000};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &enough));
    start();
    std::vector<RawClient> clients;
    for (int i = 0; i < 500; i++) clients.emplace_back("3.1::IHdmiAudio");
    for (RawClient& client : clients) client.send(message(1, token("1.0::IHdmiAudio")));
    for (RawClient& client : clients) ASSERT_EQ("0", client.reply());
    while (clients.size() < 2048) clients.emplace_back("3.1::IHdmiAudio");
    EXPECT_EQ("closed", RawClient("3.1::IHdmiAudio").reply());
    EXPECT_EQ(closed("it has too many connections"), gJournal.next());
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
    clients[0].send(message(3, token("1.1::IHdmiAudio") + item(1, 0, 1LL, 2LL), 1), ends[0]);
    EXPECT_EQ(closed("it has too many connections"), gJournal.next()) << "with that of an object";
    clients.clear();
    while (order(hdmiAudio(), {"keep", "it"}) != 2) usleep(10'000);  // until they are noticed
}

TEST_F(HidlTest, WithoutDescriptorsNewClientsWaitAndTheServerRests) {
    start([] {
        const rlimit few{64, 64};
        setrlimit(RLIMIT_NOFILE, &few);
        serve();
    });
    sp<V3_1::IHdmiAudio> known = hdmiAudio();
    EXPECT_TRUE(known->ping().isOk());
    std::vector<RawClient> clients;
    for (int i = 0; i < 100; i++) clients.emplace_back("3.1::IHdmiAudio");
    clients.back().send(message(1, token("1.0::IHdmiAudio")));
    EXPECT_TRUE(known->ping().isOk());
    const auto before = mServer->workTime();
    usleep(300'000);
    EXPECT_LT(mServer->workTime() - before, 50ms);
    clients.erase(clients.begin(), clients.begin() + 60);
    EXPECT_EQ("0", clients.back().reply());
}

TEST_F(HidlTest, AnIdleServerIsNotWokenUp) {
    start();
    auto callback = give([](const Words&) {});
    EXPECT_EQ(1, order(hdmiAudio(), {"link"}));
    std::chrono::nanoseconds before;
    do {  // until it has come to rest
        before = mServer->workTime();
        usleep(300'000);
    } while (before != mServer->workTime());
    EXPECT_EQ(0, order(hdmiAudio(), {"work", "1"}));  // sleeps before it answers
    EXPECT_NE(before, mServer->workTime());
}

TEST_F(HidlTest, AFailureThatNobodyExaminesEndsTheProcess) {
    start();
    sp<V3_1::IHdmiAudio> service = hdmiAudio();
    const hidl_string huge(std::string(1 << 20, 'x'));
    EXPECT_FALSE(service->setAudioCapabilities({huge}).isOk());
    EXPECT_DEATH(service->setAudioCapabilities({huge}).isDeadObject(), "more room than a set has");
    mServer->end();
    EXPECT_DEATH(service->ping(), "a failed call was not examined: the other side is gone");
    EXPECT_DEATH(service->ping().description(), "was not examined");
    EXPECT_DEATH(int32_t(service->setAudioCapabilities({})), "was not examined");
    EXPECT_TRUE(service->ping().isDeadObject());
    EXPECT_EQ(5, service->setAudioCapabilities({}).withDefault(5));
}

TEST_F(HidlTest, ADeclaredServiceIsWaitedForByAProcessThatThenHasASecondThread) {
    const std::string descriptor = V3_1::IHdmiAudio::descriptor;
    mSet.write("declared", descriptor + "/late\n");
    EXPECT_EQ(nullptr, V3_1::IHdmiAudio::tryGetService("late"));
    EXPECT_EQ(nullptr, V3_1::IHdmiAudio::getService("undeclared"));
    for (const bool isLimited : {false, true}) {
        Process server([] {
            gOrders.next();
            EXPECT_EQ(OK, sp(new FakeHdmiAudio)->registerAsService("late"));
            pause();
        });
        Process client([=] {
            __android_log_set_logger(logToJournal);
            if (isLimited) configureRpcThreadpool(1, true);
            const auto service = V3_1::IHdmiAudio::getService("late");
            configureRpcThreadpool(1, true);  // too late for a thread that is there
            const sp<DeathRecorder> recorder = new DeathRecorder;
            gJournal.say(service->linkToDeath(recorder, 7) ? "linked" : "not linked");
            joinRpcThreadpool();
        });
        EXPECT_EQ(descriptor + "/late is declared but not registered; waited 1 s for it",
                  gJournal.next());
        gOrders.say("register");
        EXPECT_EQ("linked", gJournal.next());
        server.end();
        EXPECT_EQ(isLimited ? "death of 7 on the RPC thread" : "death of 7 elsewhere",
                  gJournal.next());
    }
}

TEST_F(HidlTest, RegistrationsAreNotified) {
    Process client([] {
        gOrders.next();
        EXPECT_TRUE(V1_0::IHdmiAudio::registerForNotifications("default", new Notification));
        pause();
    });
    const std::string name = std::string(V1_0::IHdmiAudio::descriptor) + "/default";
    start();
    gOrders.say("register");
    EXPECT_EQ(name + " is there", gJournal.next());
    const int most = std::stoi(readFile("/proc/sys/fs/inotify/max_queued_events"));
    ASSERT_GT(100'000, most) << "lower it: so many files are renamed twice";
    for (const bool areLost : {true, false}) {
        for (const char* removed : {"none", "run"}) {
            SCOPED_TRACE(removed + std::string(areLost ? ", and events are lost" : ""));
            mServer.reset();
            client.stop();
            std::string from = mSet.path("run/a"), to = mSet.path("run/b");
            mSet.write("run/a", "");
            for (int i = 0; areLost && i <= most; i++, swap(from, to))
                rename(from.c_str(), to.c_str());
            mSet.remove(removed);
            start();
            client.resume();
            EXPECT_EQ(name + " has come", gJournal.next());
            EXPECT_EQ("(nothing)", gJournal.next(300ms));
        }
    }
}

TEST(EventLoop, SaysWhyADescriptorIsNotWatched) {
    EventLoop::Key key;
    // A regular file has no events.
    EXPECT_FALSE(EventLoop::instance().add(base::unique_fd(open(SOURCE_DIR "/README.md", O_RDONLY)),
                                           EPOLLIN, nullptr, &key));
    EXPECT_EQ(EPERM, errno);
}

TEST(HidlSupport, TextsAreThoseOfThePlatform) {
    EXPECT_EQ("[2]{\"a\", \"\"}", toString(Words{"a", ""}));
    EXPECT_EQ("true, false", toString(true) + ", " + toString(false));
    EXPECT_EQ("TYPE_0 (0)", V2_0::toString<V2_0::SurroundType>(0));
    Return<void> result;
    std::string texts = Status::fromExceptionCode(-5).description();
    for (const status_t error :
         std::vector<status_t>{DEAD_OBJECT, TIMED_OUT, FAILED_TRANSACTION, BAD_VALUE, NO_MEMORY,
                               WOULD_BLOCK, -ELOOP, -EIO, OK}) {
        result = Status::fromStatusT(error);
        EXPECT_EQ(error == OK, result.isOk());
        texts += '\n' + result.description();
    }
    EXPECT_EQ(readFile(SOURCE_DIR "/tests/data/status_descriptions.txt"), texts + '\n');
}

}  // namespace
