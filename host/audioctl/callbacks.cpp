#include "host/audioctl/callbacks.h"

#include <com/zavo/dtv/hardware/audio/1.1/IHdmiAudioCallback.h>
#include <com/zavo/dtv/hardware/audio/2.0/IOutputEncodingStatusListener.h>
#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizerCallback.h>

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;

namespace {

template <typename Interface>
class RecordingCallback : public Interface {
  public:
    explicit RecordingCallback(Callbacks* callbacks) : mCallbacks(*callbacks) {}

  protected:
    Callbacks& mCallbacks;
};

class HdmiAudioCallback : public RecordingCallback<V1_1::IHdmiAudioCallback> {
    using RecordingCallback::RecordingCallback;
    Return<void> onCapabilityChanged(const hidl_vec<hidl_string>& capabilities) override {
        return mCallbacks.arrived("onCapabilityChanged", capabilities);
    }
};

class EncodingStatusListener : public RecordingCallback<V2_0::IOutputEncodingStatusListener> {
    using RecordingCallback::RecordingCallback;
    Return<void> onForceEncodingChanged(bool enabled) override {
        return mCallbacks.arrived("onForceEncodingChanged", enabled);
    }
    Return<void> onEncodingFormatChanged(const hidl_string& format) override {
        return mCallbacks.arrived("onEncodingFormatChanged", format);
    }
};

class HeadphoneVirtualizerCallback : public RecordingCallback<V5_0::IHeadphoneVirtualizerCallback> {
    using RecordingCallback::RecordingCallback;
    Return<void> onTransferResult(int32_t result) override {
        return mCallbacks.arrived("onTransferResult", result);
    }
};

}  // namespace

template <>
sp<V1_1::IHdmiAudioCallback> Callbacks::serve() {
    mAreServed = true;
    return new HdmiAudioCallback(this);
}

template <>
sp<V2_0::IOutputEncodingStatusListener> Callbacks::serve() {
    mAreServed = true;
    return new EncodingStatusListener(this);
}

template <>
sp<V5_0::IHeadphoneVirtualizerCallback> Callbacks::serve() {
    mAreServed = true;
    return new HeadphoneVirtualizerCallback(this);
}

}  // namespace audioctl
