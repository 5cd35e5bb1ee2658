#define LOG_TAG "hdmiaudio"

#include "V3_1/HdmiAudio.h"

#include <algorithm>

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>

#include "platform/config_store.h"
#include "platform/dtv_svc.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::interfacesEqual;
using ::android::hardware::Void;
using platform::ConfigKey;

namespace {

constexpr platform::DtvSvcWait kWait{
        .tag = LOG_TAG,
        .waiter = "hdmiaudio",
        .sleepMs = 100,
        .limit = 200,
        .timeoutPriority = ANDROID_LOG_DEBUG,
        .timeoutLine = "dtv_svc rpc server failed.",
        .logsReady = false,
};

/** One capability: its names, indexed by the number that is stored for it. */
struct Capability {
    ConfigKey key;
    const char* getter;
    const char* setter;  // null if clients only read it
    std::vector<std::string> names;
};

const Capability arcDdCapaList{{"g_audio__arc_dd_plus_capab", 4},
                               "getArcDdCapability",
                               "setArcDdCapability",
                               {"ARC_DD_NONE", "ARC_DD_PLUS", "ARC_DD_ATMOS"}};
const Capability earcDdCapaList{{"g_audio__earc_ddp_cap", 0},
                                "getEarcDdCapability",
                                nullptr,
                                {"EARC_DD_NONE", "EARC_DD_PLUS", "EARC_DD_ATMOS"}};
const Capability arcMp4CapaList{
        {"g_audio__arc_mpeg4_aac_lc_capab", 4},
        "getArcMp4Capability",
        "setArcMp4Capability",
        {"ARC_MP4AAC_NONE", "ARC_MP4AAC_5_1", "ARC_MP4AAC_7_1", "ARC_MP4AAC_22_2"}};

/** Name of a capability that cannot be read; never stored. */
constexpr char kNone[] = "NONE";

constexpr char kArcDdPrefix[] = "ARC_DD_";
constexpr char kArcMp4Prefix[] = "ARC_MP4AAC_";

platform::DtvSvcStart sStart;

bool waitDtvSvcBoot() {
    return platform::waitDtvSvcBoot(kWait);
}

bool startsWith(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

std::string get(const Capability& capability) {
    int32_t value;
    if (const int32_t status = platform::readConfig(capability.key, &value); status != 0) {
        ALOGE("%s, MTKTVAPI failed:ret = %d\n", capability.getter, status);
        return kNone;
    }
    if (value < 0 || static_cast<size_t>(value) >= capability.names.size()) {
        ALOGE("%s, invalid value = %d\n", capability.getter, value);
        return kNone;
    }
    const std::string& name = capability.names[static_cast<size_t>(value)];
    ALOGD("%s, caps = %s\n", capability.getter, name.c_str());
    return name;
}

int32_t set(const Capability& capability, const std::vector<std::string>& wanted) {
    int32_t level = -1;
    ALOGD("%s, capas list length: %d\n", capability.setter, static_cast<int>(wanted.size()));
    for (const std::string& name : wanted) {
        if (name.empty()) continue;
        ALOGD("%s, capas : %s\n", capability.setter, name.c_str());
        const auto found = std::find(capability.names.begin(), capability.names.end(), name);
        if (found == capability.names.end()) continue;
        level = std::max(level, static_cast<int32_t>(found - capability.names.begin()));
    }
    if (level == -1) return -1;
    ALOGD("%s, call set API capas : %d\n", capability.setter, level);
    return platform::writeConfig(capability.key, level);
}

}  // namespace

HdmiAudio::HdmiAudio() {
    sStart.isReady = waitDtvSvcBoot();
    sStart.connectStatus = platform::connectToDtvSvc(kWait.tag, __func__);
}

Return<void> HdmiAudio::getAudioCapabilities(getAudioCapabilities_cb callback) {
    ALOGD("HIDL getAudioCapabilities");
    // A braced list is evaluated in order, which is the order of the log lines.
    const std::vector<std::string> names{getArcDdCapability(), getEarcDdCapability(),
                                         getArcMp4Capability()};
    callback(hidl_vec<hidl_string>(names.begin(), names.end()));
    return Void();
}

Return<int32_t> HdmiAudio::setAudioCapabilities(const hidl_vec<hidl_string>& capabilities) {
    int32_t status = -1;
    int32_t lastWrite = -1;
    ALOGD("HIDL hdmiaudio set");
    const std::vector<std::string> wanted(capabilities.begin(), capabilities.end());
    std::vector<std::string> changed;
    for (const std::string& name : wanted) {
        if (name.empty()) continue;
        const bool isArcDd = startsWith(name, kArcDdPrefix);
        const bool isArcMp4 = startsWith(name, kArcMp4Prefix);
        if (isArcDd || isArcMp4) {
            lastWrite = isArcDd ? setArcDdCapability(wanted) : setArcMp4Capability(wanted);
            if (lastWrite == 0) changed.push_back(name);
        }
        // The call succeeds if any of the writes does.
        if (status != 0) status = lastWrite;
    }
    if (!mCallbacks.empty() && !changed.empty()) notify(changed);
    ALOGD("HIDL hdmiaudio set finish");
    return status;
}

Return<void> HdmiAudio::setCallback(const sp<V1_1::IHdmiAudioCallback>& callback) {
    const std::lock_guard<std::mutex> lock(mCallbackLock);
    if (callback == nullptr) {
        ALOGD("callback is nullptr. skip setCallback");
        return Void();
    }
    // Fails if the client's process has just died; the callback stays, and calls to it fail.
    callback->linkToDeath(this, 0).isOk();
    ALOGD("set callback");
    mCallbacks.push_back(callback);
    return Void();
}

Return<void> HdmiAudio::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    platform::describeDtvSvc(sStart, &text);
    {
        const std::lock_guard<std::mutex> lock(mCallbackLock);
        text.add("callbacks", "%zu", mCallbacks.size());
    }
    text.add("capabilities", "in the TV configuration store, which is not asked");
    text.writeTo(fd);
    return Void();
}

void HdmiAudio::serviceDied(uint64_t, const wp<IBase>& who) {
    ALOGE("Monitored process died");
    // Without the object there is nothing to compare with and nothing to unlink.
    if (const sp<IBase> died = who.promote(); died != nullptr) removeCallback(died);
}

std::string HdmiAudio::getArcDdCapability() {
    return get(arcDdCapaList);
}

std::string HdmiAudio::getEarcDdCapability() {
    return get(earcDdCapaList);
}

std::string HdmiAudio::getArcMp4Capability() {
    return get(arcMp4CapaList);
}

int32_t HdmiAudio::setArcDdCapability(std::vector<std::string> capabilities) {
    return set(arcDdCapaList, capabilities);
}

int32_t HdmiAudio::setArcMp4Capability(std::vector<std::string> capabilities) {
    return set(arcMp4CapaList, capabilities);
}

void HdmiAudio::notify(const std::vector<std::string>& changed) {
    ALOGD("issue capability changed callback event");
    const hidl_vec<hidl_string> names(changed.begin(), changed.end());
    // A copy, since a client may register another callback from within its callback.
    const std::vector<sp<V1_1::IHdmiAudioCallback>> callbacks = mCallbacks;
    for (const auto& callback : callbacks) callback->onCapabilityChanged(names).isOk();
}

void HdmiAudio::removeCallback(const sp<IBase>& died) {
    const std::lock_guard<std::mutex> lock(mCallbackLock);
    if (mCallbacks.empty()) return;
    const auto isOfDied = [&](const sp<V1_1::IHdmiAudioCallback>& callback) {
        if (!interfacesEqual(callback, died)) return false;
        ALOGD("remove callback");
        return true;
    };
    mCallbacks.erase(std::remove_if(mCallbacks.begin(), mCallbacks.end(), isOfDied),
                     mCallbacks.end());
    died->unlinkToDeath(this).isOk();
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
