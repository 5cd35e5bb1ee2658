#include "V3_1/OutputExternal.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include <log/log.h>

#include "platform/config_store.h"
#include "platform/dtv_svc.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::base::unique_fd;
using ::android::hardware::Void;
using platform::readConfig;
using platform::writeConfig;

namespace {

/** 0: forced encoding of the external output on, 2: off. */
constexpr platform::ConfigKey kBitstreamOutputMode{"g_audio__bitstream_output_mode", 7};

constexpr platform::DtvSvcWait kWait{
        .tag = nullptr,
        .waiter = "hidlaudio",
        .sleepMs = 10,
        .limit = 2000,
        .timeoutPriority = ANDROID_LOG_DEBUG,
        .timeoutLine = "dtv_svc rpc server failed.",
        .logsReady = false,
};

/** Holds the bitstream output mode as a little-endian int32_t, or nothing yet. */
constexpr char kModeFile[] = "/data/vendor/zavo/hidlaudio/bitstream_output_mode.data";

constexpr int32_t kForceEncodingOn = 0;
constexpr int32_t kForceEncodingOff = 2;

constexpr char kAutoFormat[] = "auto";

platform::DtvSvcStart sStart;

bool waitDtvSvcBoot() {
    return platform::waitDtvSvcBoot(kWait);
}

/** @param mode bytes missing in the file count as zero. @return whether the file has any. */
bool readMode(int file, int32_t* mode) {
    *mode = 0;
    return read(file, mode, sizeof(*mode)) >= 1;
}

}  // namespace

OutputExternal::OutputExternal() {
    sStart.isReady = waitDtvSvcBoot();
    sStart.connectStatus = platform::connectToDtvSvc(kWait.tag, __func__);

    unique_fd file(open(kModeFile, O_RDWR | O_CREAT, 0777));
    if (file < 0) {
        ALOGE("[%s] open file %s failed, errno %d", __func__, kModeFile, errno);
        return;
    }
    int32_t mode;
    const bool isKept = readMode(file, &mode);
    file.reset();
    if (!isKept) mode = kForceEncodingOn;
    const int32_t status = writeConfig(kBitstreamOutputMode, mode);
    if (isKept) {
        ALOGD("[%s] set bitstream output mode %d,  result %d", __func__, mode, status);
    } else {
        ALOGD("[%s] prev setting not exist. set bitstream output mode %d,  result %d", __func__,
              mode, status);
    }
}

Return<int32_t> OutputExternal::setForceEncodingEnabled(bool enable) {
    ALOGD("[%s] start enable:%d", __func__, enable);
    const int32_t mode = enable ? kForceEncodingOn : kForceEncodingOff;
    const int32_t status = writeConfig(kBitstreamOutputMode, mode);
    if (status != 0) {
        ALOGE("setForceEncodingEnabled, MTKTVAPI failed:ret = %d\n", status);
    } else if (unique_fd file(open(kModeFile, O_WRONLY)); file >= 0) {
        const ssize_t written = write(file, &mode, sizeof(mode));
        ALOGD("[%s] write(data=%d) ret = %d", __func__, mode, static_cast<int>(written));
    } else {
        ALOGE("[%s] open file %s failed, errno %d", __func__, kModeFile, errno);
    }
    ALOGD("[%s] end ret:%d", __func__, status);
    return status;
}

Return<bool> OutputExternal::getForceEncodingEnabled() {
    ALOGD("[%s] start", __func__);
    int32_t mode;
    if (const int32_t status = readConfig(kBitstreamOutputMode, &mode); status != 0) {
        ALOGE("getForceEncodingEnabled, MTKTVAPI failed:ret = %d\n", status);
        return false;
    }
    const bool isEnabled = mode == kForceEncodingOn;
    ALOGD("[%s] end ret:%d", __func__, isEnabled);
    return isEnabled;
}

Return<int32_t> OutputExternal::setEncodingFormat(const hidl_string&) {
    ALOGD("[%s] start", __func__);
    return 0;
}

Return<void> OutputExternal::getEncodingFormat(getEncodingFormat_cb callback) {
    ALOGD("[%s] start", __func__);
    callback(kAutoFormat);
    return Void();
}

Return<void> OutputExternal::getAvailableEncodingFormats(getAvailableEncodingFormats_cb callback) {
    ALOGD("[%s] start", __func__);
    // The only format that getEncodingFormat() returns.
    callback({kAutoFormat});
    return Void();
}

Return<int32_t> OutputExternal::registerEncodingFormatListener(
        const sp<V2_0::IOutputEncodingStatusListener>&) {
    ALOGD("[%s] start", __func__);
    return 0;
}

Return<int32_t> OutputExternal::unregisterEncodingFormatListener(
        const sp<V2_0::IOutputEncodingStatusListener>&) {
    ALOGD("[%s] start", __func__);
    return 0;
}

Return<void> OutputExternal::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    platform::describeDtvSvc(sStart, &text);
    int32_t mode;
    if (const unique_fd file(open(kModeFile, O_RDONLY)); file < 0) {
        text.add("kept mode", "none, open failed, errno %d", errno);
    } else if (!readMode(file, &mode)) {
        text.add("kept mode", "none, the file holds nothing");
    } else {
        text.add("kept mode", "%d, forced encoding %s", mode,
                 mode == kForceEncodingOn ? "on" : "off");
    }
    text.add("listeners", "none is kept");
    text.writeTo(fd);
    return Void();
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
