#include "V4_0/CenterSpeaker.h"

#include <cstddef>
#include <optional>

#include <log/log.h>

#include "platform/dtv_svc.h"
#include "platform/eeprom.h"
#include "platform/middleware.h"
#include "platform/quality_data.h"

namespace com::zavo::dtv::hardware::audio::V4_0::implementation {

using ::android::hardware::Void;

namespace {

constexpr platform::DtvSvcWait kWait{
        .tag = nullptr,
        .waiter = "hidlaudio",
        .sleepMs = 10,
        .limit = 2000,
        .timeoutPriority = ANDROID_LOG_ERROR,
        .timeoutLine = "[CenterSpeaker] dtv_svc rpc server failed [TimeOut].",
        .logsReady = true,
};

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

/** Where the answers come from. For debug() only. */
struct {
    const char* eeprom = "not asked: no tuning";
    std::optional<uint8_t> segment;
    std::optional<uint8_t> mode;
} sNotes;

bool waitDtvSvcBoot() {
    return platform::waitDtvSvcBoot(kWait);
}

/** @return 0, or -1. */
int32_t readMmCecFromAqdata() {
    const bool isRead = platform::readQualityData(
            LOG_TAG, __func__, {{kMmCecOffset, sizeof(sMmCecData), &sMmCecData}});
    return isRead ? 0 : -1;
}

/** @param name of the byte in the log line for a failure. */
std::optional<uint8_t> readEeprom(uint32_t address, const char* name) {
    uint8_t value;
    if (MTEEPROM_Read(address, &value, sizeof(value)) == 0) return value;
    ALOGE("[CenterSpeaker] Eeprom read fail.(%s)", name);
    return std::nullopt;
}

void readAvailability() {
    sNotes.eeprom = "could not be opened";
    DRV_Init();
    if (MTAL_Init() != 0) {
        ALOGE("[CenterSpeaker] MTAL_Init fail.");
        return;
    }
    if (!platform::openEeprom()) {
        ALOGE("[CenterSpeaker] Eeprom init fail.");
        return;
    }
    sNotes.eeprom = "opened";
    sNotes.segment = readEeprom(kSegmentAddress, "segment");
    if (sNotes.segment) {
        bCenterInputAvailable = sNotes.segment == kSegmentS || sNotes.segment == kSegmentT;
    }
    sNotes.mode = readEeprom(kCenterSpeakerModeAddress, "center_speaker_mode");
    if (sNotes.mode) bSyncCenterInputAvailable = sNotes.mode != 0;
}

bool isRecordRead(const char* caller) {
    if (sAQReadState == 0) return true;
    ALOGW("[%s] Exist problem in AQData access.", caller);
    return false;
}

bool hasAcousticsType() {
    return sMmCecData.acousticsType <= kMostAcousticsType;
}

void describe(const char* input, bool isAvailable, const std::optional<uint8_t>& byte,
              const char* name, platform::DebugText* text) {
    const char* const answer = isAvailable ? "available" : "not available";
    if (byte) {
        text->add(input, "%s, %s byte 0x%02X", answer, name, *byte);
    } else {
        text->add(input, "%s, by default: no %s byte", answer, name);
    }
}

}  // namespace

CenterSpeaker::CenterSpeaker() {
    ALOGD("[%s] start", __func__);
    sAQReadState = readMmCecFromAqdata();
    if (sAQReadState != 0) return;
    sNotes.eeprom = "not asked: no middleware";
    if (!waitDtvSvcBoot()) return;
    readAvailability();
    ALOGD("[%s] end", __func__);
}

Return<void> CenterSpeaker::getCenterSpeakerAcousticsType(
        getCenterSpeakerAcousticsType_cb callback) {
    ALOGD("[%s] start", __func__);
    int16_t type = 0;
    if (isRecordRead(__func__) && hasAcousticsType()) {
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

Return<void> CenterSpeaker::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    platform::describeDtvSvc(&text);
    if (sAQReadState == 0) {
        const uint32_t type = sMmCecData.acousticsType;
        text.add("tuning", "read at start");
        text.add("acoustics type", hasAcousticsType() ? "%u" : "0, by default: %u is too large",
                 type);
        text.add("latency", "%d samples at %d Hz", sMmCecData.latency, kSamplingRate);
    } else {
        text.add("tuning", "not read at start");
        text.add("acoustics type", "0, by default");
        text.add("latency", "%d samples at %d Hz, by default", kDefaultLatency, kSamplingRate);
    }
    text.add("EEPROM at start", "%s", sNotes.eeprom);
    describe("input", bCenterInputAvailable, sNotes.segment, "segment", &text);
    describe("synchronised input", bSyncCenterInputAvailable, sNotes.mode, "mode", &text);
    text.writeTo(fd);
    return Void();
}

}  // namespace com::zavo::dtv::hardware::audio::V4_0::implementation
