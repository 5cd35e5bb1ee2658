#define LOG_TAG "AudioHV"

#include "V5_0/HeadphoneVirtualizer.h"

#include <string_view>

#include <log/log.h>

#include "V5_0/parameter_buffer.h"
#include "V5_0/parameter_transfer.h"
#include "V5_0/result_code.h"
#include "platform/back_end.h"
#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::hardware::Void;

namespace {

constexpr platform::BackEndVariant kBackEnd{
        .tag = LOG_TAG,
        .readyPrefix = "[checkDtvSvcBoot] ",
        .notReady = NOT_SUPPORTED,
        .isBeModelByDefault = false,
        .eepromFailed = "failed",
        .mtalFailed = "HV MTAL_Init failed, Return:",
};

constexpr char kType[] = "Zavo";

bool bBeModel = false;
bool bHrtfSupported = false;

// The values that the controller accepted last. At start they are neither read from it nor sent.
bool bVirtualizerEnabled = false;
bool bUpmixEnabled = true;

platform::BackEndStart sStart;

int32_t checkDtvSvcBoot() {
    return platform::checkDtvSvcBoot(kBackEnd);
}

bool isBeModel() {
    return platform::isBeModel(kBackEnd, &sStart.isModelRead);
}

int32_t checkBeCtrlBoot() {
    return platform::checkBeCtrlBoot(kBackEnd);
}

bool isHrtfSupportModel() {
    if (checkDtvSvcBoot() != 0) {
        ALOGE("[%s] checkDtvSvcBoot failed. Return:%d", __func__, false);
        return false;
    }
    sStart.isReady = true;
    bBeModel = isBeModel();
    return bBeModel;
}

int32_t prepareHeadphoneVirtualize() {
    if (!bBeModel) return NOT_SUPPORTED;
    sStart.launched = checkBeCtrlBoot();
    return sStart.launched == 0 ? SUCCESS : NOT_SUPPORTED;
}

int32_t setEnabledToBeCtrl(uint32_t identifier, bool value) {
    if (const int32_t status = checkDtvSvcBoot(); status != 0) {
        ALOGE("[%s] BECtrl Boot failed [TimeOut].", __func__);
        return status;
    }
    MTDRVCUST_ItemRecord item{};
    item.identifier = identifier;
    item.data[0] = value;
    item.dataLength = 1;
    if (const int32_t status = platform::connectToBeCtrl(kBackEnd, __func__); status != 0) {
        return status;
    }
    const int32_t status =
            MTDRVCUST_dcustom_cust_spec_set(MTDRVCUST_SET_ITEM, &item, sizeof(item), 0);
    if (status != 0) {
        ALOGE("[%s] MTDRVCUST_dcustom_cust_spec_set failed!!(%d) type:%x", __func__, status,
              identifier);
    }
    return status;
}

/** @param caller method name in the log lines. @param kept value that the controller accepted. */
int32_t setEnabled(const char* caller, uint32_t item, bool enable, bool* kept) {
    ALOGD("[%s] start. enable:%d", caller, enable);
    if (!bHrtfSupported) {
        ALOGE("[%s] end. HRTF is not supported. Return:%d", caller, NOT_SUPPORTED);
        return NOT_SUPPORTED;
    }
    const int32_t result = setEnabledToBeCtrl(item, enable);
    if (result == 0) {
        *kept = enable;
    } else {
        ALOGE("[%s] Notification to BeCtrl failed.", caller);
    }
    ALOGD("[%s] end. Return:%d", caller, result);
    return result;
}

bool getEnabled(const char* caller, bool kept) {
    ALOGD("[%s] start", caller);
    if (!bHrtfSupported) {
        ALOGE("[%s] end. HRTF is not supported.", caller);
        return false;
    }
    ALOGD("[%s] end. Return:%d", caller, kept);
    return kept;
}

int32_t workOnRecord(const char* caller, int32_t handle, int32_t (*work)(aud_hv_parameter&)) {
    ALOGD("[%s] start. handle=%d", caller, handle);
    int32_t result = NO_SUCH_HANDLE;
    if (aud_hv_parameter* const record = getParamFromHandle(handle)) {
        ALOGD("[%s] ParamType=%d", caller, static_cast<int32_t>(record->type));
        result = work(*record);
    }
    ALOGD("[%s] end. Return:%d", caller, result);
    return result;
}

}  // namespace

HeadphoneVirtualizer::HeadphoneVirtualizer() {
    ALOGD("[%s] start", __func__);
    sStart = {};
    bHrtfSupported = isHrtfSupportModel();
    if (!bHrtfSupported) {
        ALOGE("[%s] end. HRTF is not supported.", __func__);
        return;
    }
    prepareHeadphoneVirtualize();  // settings are sent later, whether or not the controller is up
    ALOGD("[%s] end", __func__);
}

Return<int32_t> HeadphoneVirtualizer::setVirtualizerEnabled(bool enable) {
    return setEnabled(__func__, MTDRVCUST_ITEM_VIRTUALIZER, enable, &bVirtualizerEnabled);
}

Return<bool> HeadphoneVirtualizer::getVirtualizerEnabled() {
    return getEnabled(__func__, bVirtualizerEnabled);
}

Return<int32_t> HeadphoneVirtualizer::setVirtualizerType(const hidl_string& type) {
    ALOGD("[%s] start type=[%s]", __func__, type.c_str());
    int32_t result = SUCCESS;
    if (std::string_view(type.c_str(), type.size()) != kType) {
        ALOGE("[%s] %s is not supported", __func__, type.c_str());
        result = NOT_SUPPORTED;
    }
    ALOGD("[%s] end Return: %d", __func__, result);
    return result;
}

Return<void> HeadphoneVirtualizer::getVirtualizerType(getVirtualizerType_cb callback) {
    ALOGD("[%s] start", __func__);
    ALOGD("[%s] end Return type=[%s]", __func__, kType);
    callback(kType);
    return Void();
}

Return<void> HeadphoneVirtualizer::getAvailableVirtualizerTypes(
        getAvailableVirtualizerTypes_cb callback) {
    ALOGD("[%s] start", __func__);
    const hidl_vec<hidl_string> types{kType};
    for (const hidl_string& type : types) ALOGD("[%s] types[i]=[%s]", __func__, type.c_str());
    callback(types);
    return Void();
}

Return<int32_t> HeadphoneVirtualizer::setUpmixEnabled(bool enable) {
    return setEnabled(__func__, MTDRVCUST_ITEM_UPMIX, enable, &bUpmixEnabled);
}

Return<bool> HeadphoneVirtualizer::getUpmixEnabled() {
    return getEnabled(__func__, bUpmixEnabled);
}

Return<int32_t> HeadphoneVirtualizer::allocateParameterBuffer(ParamType type, int32_t size) {
    ALOGD("[%s] start. ParamType=%d, size=%d", __func__, static_cast<int32_t>(type), size);
    aud_hv_parameter* const record = getParamFromType(type);
    const int32_t handle = record == nullptr ? 0 : allocateParameterBufferInt(*record, size);
    ALOGD("[%s] end. handle:%d", __func__, handle);
    return handle;
}

Return<int32_t> HeadphoneVirtualizer::discardParameterBuffer(int32_t handle) {
    return workOnRecord(__func__, handle, discardParameterBufferInt);
}

Return<int32_t> HeadphoneVirtualizer::getMaxAppendSize() {
    ALOGD("[%s] start", __func__);
    ALOGD("[%s] end. Return:%d", __func__, kMaxAppendSize);
    return kMaxAppendSize;
}

Return<int32_t> HeadphoneVirtualizer::append(int32_t handle, const hidl_vec<uint8_t>& data) {
    ALOGD("[%s] start. handle=%d", __func__, handle);
    int32_t result = NO_SUCH_HANDLE;
    if (aud_hv_parameter* const record = getParamFromHandle(handle)) {
        ALOGD("[%s] ParamType=%d", __func__, static_cast<int32_t>(record->type));
        if (data.size() > kMaxAppendSize) {
            ALOGE("[%s] data size error. max append size=%d, append size=%zu", __func__,
                  kMaxAppendSize, data.size());
            return WRONG_SIZE;
        }
        result = appendInt(*record, data);
    }
    ALOGD("[%s] end. Return:%d", __func__, result);
    return result;
}

Return<int32_t> HeadphoneVirtualizer::apply(int32_t handle,
                                            const sp<IHeadphoneVirtualizerCallback>& callback) {
    ALOGD("[%s] start. handle:%d", __func__, handle);
    aud_hv_parameter* const record = getParamFromHandle(handle);
    if (record == nullptr) return NO_SUCH_HANDLE;
    ALOGD("[%s] ParamType=%d", __func__, static_cast<int32_t>(record->type));
    // The sizes of a record that a worker has may be reset just now.
    if (const int32_t status = checkIdle(*record, __func__); status != SUCCESS) return status;
    if (const int32_t status = checkDataSize(*record); status != SUCCESS) return status;
    if (const int32_t status = checkResuming(); status != SUCCESS) return status;
    if (callback == nullptr) {
        ALOGE("[%s] callback object is nullptr.", __func__);
        return FAILED;
    }
    if (!startTransfer(*record, callback)) {
        ALOGE("[%s] paramTransferThread create Failed.", __func__);
        return FAILED;
    }
    ALOGD("[%s] end. Return:%d", __func__, SUCCESS);
    return SUCCESS;
}

Return<int32_t> HeadphoneVirtualizer::cancel(int32_t handle) {
    return workOnRecord(__func__, handle, cancelInt);
}

Return<void> HeadphoneVirtualizer::debug(const hidl_handle& fd, const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    platform::describeBackEnd(sStart, &text);
    text.add("back-end controller", "%s", bHrtfSupported ? "there" : "none: HRTF is not supported");
    text.add("virtualizer", "%s", bVirtualizerEnabled ? "on" : "off");
    text.add("upmix", "%s", bUpmixEnabled ? "on" : "off");
    for (const aud_hv_parameter* record : {&deviceParam, &hrtfParam}) {
        const std::string kind = record == &deviceParam ? "device" : "HRTF";
        text.add(kind + " buffer", "%s", describeBuffer(*record).c_str());
        text.add("last " + kind + " transfer", "%s", describeLastTransfer(*record).c_str());
    }
    text.writeTo(fd);
    return Void();
}

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
