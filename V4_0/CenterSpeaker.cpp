#include "V4_0/CenterSpeaker.h"

#include <cstddef>

#include <log/log.h>

#include "platform/dtv_svc.h"
#include "platform/eeprom.h"
#include "platform/middleware.h"
#include "platform/quality_data.h"

namespace com::zavo::dtv::hardware::audio::V4_0::implementation {

using ::android::hardware::Void;

namespace {

constexpr platform::DtvSvcWait kWait{
        nullptr, "hidlaudio",       10,
        2000,    ANDROID_LOG_ERROR, "[CenterSpeaker] dtv_svc rpc server failed [TimeOut].",
        true};

constexpr uint32_t kMmCecOffset = 0x5D74;

/** The centre speaker's record in the audio-quality data file, little endian. */
struct MmCecData {
    uint32_t acousticsType; /**< 0 to 255; a larger one counts as 0 */
    int32_t latency;        /**< samples at 48 kHz */
    uint8_t unused[12];
};
static_assert(sizeof(MmCecData) == 20);
static_assert(offsetof(MmCecData, latency) == 4);

constexpr uint32_t kMostAcousticsType = 255;
constexpr int32_t kSamplingRate = 48000;
constexpr int32_t kDefaultLatency = 576;

// EEPROM addresses.
constexpr uint32_t kSegmentAddress = 0x10089;
constexpr uint32_t kCenterSpeakerModeAddress = 0x10116;

/** Segments of the sets that have a centre-speaker input. */
constexpr uint8_t kSegmentS = 0x53;
constexpr uint8_t kSegmentT = 0x54;

int32_t sAQReadState = -1;  // 0 once the record has been read whole
MmCecData sMmCecData;
bool bCenterInputAvailable = false;
bool bSyncCenterInputAvailable = false;

bool waitDtvSvcBoot() {
    return platform::waitDtvSvcBoot(kWait);
}

/** @return 0, or -1. */
int32_t readMmCecFromAqdata() {
    const bool isRead = platform::readQualityData(
            LOG_TAG, __func__, {{kMmCecOffset, sizeof(sMmCecData), &sMmCecData}});
    return isRead ? 0 : -1;
}

/** @param name of the byte in the line on a failure. */
bool readEeprom(uint32_t address, const char* name, uint8_t* value) {
    if (MTEEPROM_Read(address, value, sizeof(*value)) == 0) return true;
    ALOGE("[CenterSpeaker] Eeprom read fail.(%s)", name);
    return false;
}

void readAvailability() {
    DRV_Init();
    if (MTAL_Init() != 0) {
        ALOGE("[CenterSpeaker] MTAL_Init fail.");
        return;
    }
    if (!platform::openEeprom()) {
        ALOGE("[CenterSpeaker] Eeprom init fail.");
        return;
    }
    uint8_t value;
    if (readEeprom(kSegmentAddress, "segment", &value)) {
        bCenterInputAvailable = value == kSegmentS || value == kSegmentT;
    }
    if (readEeprom(kCenterSpeakerModeAddress, "center_speaker_mode", &value)) {
        bSyncCenterInputAvailable = value != 0;
    }
}

bool isRecordRead(const char* caller) {
    if (sAQReadState == 0) return true;
    ALOGW("[%s] Exist problem in AQData access.", caller);
    return false;
}

}  // namespace

CenterSpeaker::CenterSpeaker() {
    ALOGD("[%s] start", __func__);
    sAQReadState = readMmCecFromAqdata();
    if (sAQReadState != 0 || !waitDtvSvcBoot()) return;
    readAvailability();
    ALOGD("[%s] end", __func__);
}

Return<void> CenterSpeaker::getCenterSpeakerAcousticsType(
        getCenterSpeakerAcousticsType_cb callback) {
    ALOGD("[%s] start", __func__);
    int16_t type = 0;
    if (isRecordRead(__func__) && sMmCecData.acousticsType <= kMostAcousticsType) {
        type = static_cast<int16_t>(sMmCecData.acousticsType);
    }
    ALOGD("[%s] Return: TvSpeakerType=%d", __func__, type);
    callback({type});
    return Void();
}

Return<void> CenterSpeaker::getCenterSpeakerLatency(getCenterSpeakerLatency_cb callback) {
    ALOGD("[%s] start", __func__);
    SampleLatency latency{kSamplingRate, kDefaultLatency};
    if (isRecordRead(__func__)) latency.samples = sMmCecData.latency;
    ALOGD("[%s] Return: samplingRate=%d, samples=%d", __func__, latency.samplingRate,
          latency.samples);
    callback(latency);
    return Void();
}

Return<bool> CenterSpeaker::isCenterSpeakerInputAvailable() {
    ALOGD("[%s] Return: %d", __func__, bCenterInputAvailable);
    return bCenterInputAvailable;
}

Return<bool> CenterSpeaker::isSynchronizedCenterSpeakerInputAvailable() {
    ALOGD("[%s] Return: %d", __func__, bSyncCenterInputAvailable);
    return bSyncCenterInputAvailable;
}

}  // namespace com::zavo::dtv::hardware::audio::V4_0::implementation
