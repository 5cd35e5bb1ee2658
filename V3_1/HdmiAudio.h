#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <com/zavo/dtv/hardware/audio/3.1/IHdmiAudio.h>

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hidl::base::V1_0::IBase;

/**
 * What the TV announces over its HDMI audio return channel. The capabilities live in the TV
 * configuration store; the object keeps the callbacks of the clients that want to know of changes,
 * each for as long as its process lives.
 */
class HdmiAudio : public V3_1::IHdmiAudio, public ::android::hardware::hidl_death_recipient {
  public:
    /** Waits for the TV middleware, 20 seconds at most. */
    HdmiAudio();

    Return<void> getAudioCapabilities(getAudioCapabilities_cb callback) override;
    Return<int32_t> setAudioCapabilities(const hidl_vec<hidl_string>& capabilities) override;
    Return<void> setCallback(const sp<V1_1::IHdmiAudioCallback>& callback) override;
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;

    /** The end of a client's process, on the RPC thread. */
    void serviceDied(uint64_t cookie, const wp<IBase>& who) override;

  private:
    /** @return the stored capability by its name; "NONE" if there is none. */
    std::string getArcDdCapability();
    std::string getEarcDdCapability();
    std::string getArcMp4Capability();

    /**
     * Stores the highest capability of its kind that a list names.
     *
     * @return 0; -1 if the list names none; or the configuration store's error code.
     */
    int32_t setArcDdCapability(std::vector<std::string> capabilities);
    int32_t setArcMp4Capability(std::vector<std::string> capabilities);

    /** Tells every callback, whatever became of the others. */
    void notify(const std::vector<std::string>& changed);
    /** Forgets every callback that is the object. */
    void removeCallback(const sp<IBase>& died);

    std::vector<sp<V1_1::IHdmiAudioCallback>> mCallbacks;
    /** Held for every change. notify() reads without it, on the only thread that changes the list:
     *  held during a call, it would block the callback that registers another. */
    std::mutex mCallbackLock;
};

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
