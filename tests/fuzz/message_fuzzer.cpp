/* What a peer may send: calls of all interfaces, and replies to calls. */

#include <com/zavo/dtv/hardware/audio/3.1/BpHwAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/BpHwHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/5.0/BpHwHeadphoneVirtualizer.h>

#include "host/hidl/objects.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/raw_client.h"

using namespace fakes;
using Calibration = V3_1::BpHwAcousticCalibration;
using Virtualizer = V5_0::BpHwHeadphoneVirtualizer;
using hidl::base::V1_0::IBase;

namespace {

/** Bits of the third byte of an input: what is put around the rest of it. */
constexpr uint8_t kHasHeader = 1, kHasToken = 2, kHasObject = 4, kIsReply = 8, kIsBase = 16,
                  kIsBehind = 32;

const std::pair<sp<IBase>, const char*> kTargets[] = {
        {new FakeHdmiAudio(false), V1_0::IHdmiAudio::descriptor},
        {new FakeHdmiAudio(false), V1_1::IHdmiAudio::descriptor},
        {new FakeSpeaker, V2_0::IOutputSpeaker::descriptor},
        {new FakeSpeaker, V3_1::IOutputSpeaker::descriptor},
        {new FakeExternal, V2_0::IOutputExternal::descriptor},
        {new FakeListener, V2_0::IOutputEncodingStatusListener::descriptor},
        {new FakeCalibration, V3_0::IAcousticCalibration::descriptor},
        {new FakeVirtualizer, V5_0::IHeadphoneVirtualizer::descriptor},
        {new FakeVirtualizerCallback, V5_0::IHeadphoneVirtualizerCallback::descriptor},
        {new Callback([](const Words& w) { Words copy(w); }), IHdmiAudioCallback::descriptor}};

constexpr uint32_t kBaseMethods[] = {256067662, 256131655, 256136003, 256398152,
                                     256462420, 256921159, 257049926, 257120595};

/** Reads every byte of a value. */
const auto read = [](const auto& value) { [[maybe_unused]] auto copy = value; };

/** Calls of ours whose results have something to read in them. */
const std::function<void(const sp<IBinder>&)> kCalls[] = {
        [](auto& peer) { sp(new V3_1::BpHwHdmiAudio(peer))->getAudioCapabilities(read).isOk(); },
        [](auto& peer) { sp(new Calibration(peer))->getCalibratedData(read).isOk(); },
        [](auto& peer) { sp(new Virtualizer(peer))->getVirtualizerType(read).isOk(); },
        [](auto& peer) { sp(new V3_1::BpHwHdmiAudio(peer))->getHashChain(read).isOk(); },
        [](auto& peer) { sp(new V3_1::BpHwHdmiAudio(peer))->getDebugInfo(read).isOk(); }};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    __android_log_set_logger([](auto*, auto*) {});
    if (size < 3 || size > 4096) return 0;
    const auto& [object, interface] = kTargets[data[0] % std::size(kTargets)];
    const uint8_t method = data[1], around = data[2];
    std::string bytes(reinterpret_cast<const char*>(data + 3), size - 3);
    if (around & kHasToken) bytes = text(around & kIsBase ? IBase::descriptor : interface) + bytes;
    const uint32_t common = kBaseMethods[method % std::size(kBaseMethods)];
    const uint32_t code = around & kIsReply ? 0 : around & kIsBase ? common : method;
    const uint32_t kind = around & kIsReply ? MessageHeader::kReply : MessageHeader::kCall;
    if (around & kHasHeader) bytes = message(code, bytes, around & kHasObject ? 1 : 0, kind);
    if (around & kIsBehind) bytes = oneWay(message(99, "")) + bytes;

    int ends[2], more[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) || socketpair(AF_UNIX, SOCK_STREAM, 0, more)) {
        abort();
    }
    base::unique_fd passed(more[0]), kept(more[1]);
    ForeignFd ours(ends[0]);
    RawClient peer{base::unique_fd(ends[1])};
    peer.send(bytes, around & kHasObject ? passed.get() : -1);
    if (around & kIsReply) {
        peer.endSending();
        kCalls[method % std::size(kCalls)](
                new BpHwBinder({{1, 2}}, std::move(ours), getpid(), PeerKind::SERVICE));
        return 0;
    }
    if (!startServing(getOrCreateCachedBinder(object.get())->localBinder(), std::move(ours),
                      getpid(), PeerKind::CLIENT))
        abort();
    EventLoop::instance().runOnce(std::chrono::milliseconds(0));
    peer.hangUp();
    while (Peer::of(getpid())->connections() > 0)
        EventLoop::instance().runOnce(std::chrono::seconds(1));
    return 0;
}
