#include "platform/back_end.h"

#include <log/log.h>

#include "platform/dtv_svc.h"
#include "platform/eeprom.h"
#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::platform {

namespace {

constexpr int64_t kReadySleepMs = 10;
constexpr int kReadyLimit = 2000;

constexpr int64_t kLaunchSleepMs = 500;
constexpr int kLaunchLimit = 30;
constexpr uint8_t kLaunched = 1;

/** EEPROM address of the model byte: 0 on a set without a back-end controller. */
constexpr uint32_t kModelAddress = 0x1001A;

enum LaunchResult : int32_t { LAUNCHED = 0, NO_ANSWER = 1, NOT_LAUNCHED = 2 };
constexpr const char* kLaunchWords[] = {"launched", "no answer", "not launched in time"};

}  // namespace

int32_t checkDtvSvcBoot(const BackEndVariant& variant) {
    int count = 0;
    while (!isDtvSvcReady()) {
        sleepMs(kReadySleepMs);
        if (++count == kReadyLimit) {
            ALOG(LOG_ERROR, variant.tag, "[%s] dtv_svc rpc server failed [TimeOut].", __func__);
            return variant.notReady;
        }
    }
    ALOG(LOG_INFO, variant.tag, "%s<<<<<hidlaudio dtv_svc is ready !>>>>> count:%d",
         variant.readyPrefix, count);
    return 0;
}

bool isBeModel(const BackEndVariant& variant, bool* isRead) {
    DRV_Init();
    if (MTAL_Init() != 0) return variant.isBeModelByDefault;
    if (!openEeprom()) {
        ALOG(LOG_ERROR, variant.tag, "[%s] Eeprom init %s.", __func__, variant.eepromFailed);
        return variant.isBeModelByDefault;
    }
    uint8_t model;
    if (MTEEPROM_Read(kModelAddress, &model, sizeof(model)) != 0) {
        ALOG(LOG_ERROR, variant.tag, "[%s] Eeprom read %s.", __func__, variant.eepromFailed);
        return variant.isBeModelByDefault;
    }
    *isRead = true;
    return model != 0;
}

int32_t checkBeCtrlBoot(const BackEndVariant& variant) {
    if (connectToBeCtrl(variant, __func__) != 0) return NO_ANSWER;
    MTDRVCUST_ItemRecord item{};
    item.identifier = MTDRVCUST_ITEM_LAUNCH_STATE;
    item.dataLength = 1;
    uint32_t size = sizeof(item);
    for (int i = 0; i < kLaunchLimit; i++) {
        const int32_t status =
                MTDRVCUST_dcustom_cust_spec_get(MTDRVCUST_GET_LAUNCH_STATE, &item, &size);
        if (status != 0) {
            ALOG(LOG_ERROR, variant.tag, "[%s] MTDRVCUST_dcustom_cust_spec_get failed!!(%d)",
                 __func__, status);
            return NO_ANSWER;
        }
        if (item.data[0] == kLaunched) return LAUNCHED;
        sleepMs(kLaunchSleepMs);
    }
    ALOG(LOG_ERROR, variant.tag, "[%s] wait BeCtrl launch timeout.", __func__);
    return NOT_LAUNCHED;
}

void describeBackEnd(const BackEndStart& start, DebugText* text) {
    describeDtvSvc(text);
    text->add("middleware at start", "%s", start.isReady ? "ready" : "not ready");
    text->add("model byte of the EEPROM", "%s", start.isModelRead ? "read" : "not read");
    text->add("controller at start", "%s",
              start.launched ? kLaunchWords[*start.launched] : "not asked");
}

int32_t connectToBeCtrl(const BackEndVariant& variant, const char* caller) {
    const int32_t status = MTAL_InitExCb(0);
    if (status != 0) ALOG(LOG_ERROR, variant.tag, "[%s] %s%d ", caller, variant.mtalFailed, status);
    return status;
}

}  // namespace com::zavo::dtv::hardware::audio::platform
