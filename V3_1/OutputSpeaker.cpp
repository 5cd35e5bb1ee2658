#define LOG_TAG "AudioOutSp"

#include "V3_1/OutputSpeaker.h"

#include <log/log.h>

#include "platform/PrimaryHalAccessor.h"
#include "platform/config_store.h"
#include "platform/dtv_svc.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::sp;
using ::android::hardware::Void;
using platform::IPrimaryDevice;
using platform::PrimaryHalAccessor;
using platform::readConfig;
using platform::writeConfig;

namespace {

/** 0: table top, 1: wall mount. */
constexpr platform::ConfigKey kTvPosition{"g_audio__tv_position", 7};
/** Surround type of the TV's own speakers: 0, 1 or 2. */
constexpr platform::ConfigKey kSurroundType{"g_audio__spk_sur_type", 0};
/** 1 overrides the surround type with 0. */
constexpr platform::ConfigKey kSpeaker{"g_audio__aud_speaker", 0};

constexpr platform::DtvSvcWait kWait{
        .tag = LOG_TAG,
        .waiter = "hidlaudio",
        .sleepMs = 10,
        .limit = 2000,
        .timeoutPriority = ANDROID_LOG_DEBUG,
        .timeoutLine = "dtv_svc rpc server failed.",
        .logsReady = false,
};

constexpr int32_t kTableTop = static_cast<int32_t>(TvPositionType::TABLE_TOP);
constexpr int32_t kWallMount = static_cast<int32_t>(TvPositionType::WALL_MOUNT);

/** Value of the speaker configuration that overrides the surround type. */
constexpr int32_t kSpeakerOverride = 1;

/** Empty if the device could not be opened when the service was built. */
sp<IPrimaryDevice> sPrimaryDevice;

platform::DtvSvcStart sStart;

bool waitDtvSvcBoot() {
    return platform::waitDtvSvcBoot(kWait);
}

bool isSurroundType(int32_t value) {
    return value >= static_cast<int32_t>(SurroundType::TYPE_0) &&
           value <= static_cast<int32_t>(SurroundType::TYPE_2);
}

bool isPosition(int32_t value) {
    return value == kTableTop || value == kWallMount;
}

void sendPosition(int32_t position) {
    platform::setHalParameter(sPrimaryDevice, "tv_position",
                              position == kWallMount ? "wall_mount" : "table_top");
}

}  // namespace

OutputSpeaker::OutputSpeaker() {
    ALOGD("[%s] start", __func__);
    sStart.isReady = waitDtvSvcBoot();
    sStart.connectStatus = platform::connectToDtvSvc(kWait.tag, __func__);

    sPrimaryDevice = PrimaryHalAccessor().getHalPrimaryDevice();
    if (sPrimaryDevice == nullptr) {
        ALOGE("load audio interface failed");
        return;
    }
    int32_t position;
    if (const int32_t status = readConfig(kTvPosition, &position); status != 0) {
        ALOGE("a_mtktvapi_config_get_value failed:ret = %d", status);
        return;
    }
    ALOGD("get tv position:%d", position);
    if (isPosition(position)) {
        sendPosition(position);
    } else {
        ALOGE("a_mtktvapi_config_get_value:Illigal value = %d", position);
    }
    ALOGD("[%s] end", __func__);
}

Return<SurroundType> OutputSpeaker::getSurroundType() {
    ALOGD("[%s] start", __func__);
    int32_t type;
    if (const int32_t status = readConfig(kSurroundType, &type); status != 0) {
        ALOGE("getSurroundType, MTKTVAPI failed:ret = %d\n", status);
        return SurroundType::TYPE_0;
    }
    int32_t speaker;
    if (const int32_t status = readConfig(kSpeaker, &speaker); status != 0) {
        ALOGE("getSurroundType, MTKTVAPI CFG_AUD_SPEAKER failed:ret = %d\n", status);
        speaker = 0;
    }
    if (speaker == kSpeakerOverride || !isSurroundType(type)) type = 0;
    ALOGD("[%s] end ret:%d", __func__, type);
    return static_cast<SurroundType>(type);
}

Return<TvPositionType> OutputSpeaker::getTvPosition() {
    ALOGD("[%s] start", __func__);
    int32_t value;
    const int32_t status = readConfig(kTvPosition, &value);
    if (status != 0) {
        ALOGE("a_mtktvapi_config_get_value failed:ret = %d", status);
        return TvPositionType::TABLE_TOP;
    }
    ALOGD("get tv position:value = %d, result = %d", value, status);
    const int32_t position = value == kWallMount ? kWallMount : kTableTop;
    ALOGD("[%s] end:ret = %d", __func__, position);
    return static_cast<TvPositionType>(position);
}

Return<int32_t> OutputSpeaker::setTvPosition(int32_t type) {
    ALOGD("[%s] start:type = %d", __func__, type);
    int32_t position = type;
    if (!isPosition(type)) {
        ALOGW("illigal argument:type = %d", type);
        position = kTableTop;
    }
    const int32_t status = writeConfig(kTvPosition, position);
    ALOGD("set tv position:value = %d, result = %d", position, status);
    // Also after a failed write: the setting takes effect even if it could not be stored.
    sendPosition(position);
    ALOGD("[%s] end:ret = %d", __func__, status);
    return status;
}

Return<void> OutputSpeaker::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    platform::describeDtvSvc(sStart, &text);
    platform::describeHal(sPrimaryDevice, &text);
    text.add("position and surround type", "in the TV configuration store, which is not asked");
    text.writeTo(fd);
    return Void();
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
