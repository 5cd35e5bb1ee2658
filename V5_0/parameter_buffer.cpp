#define LOG_TAG "AudioHV"

#include "V5_0/parameter_buffer.h"

#include <algorithm>

#include <android-base/stringprintf.h>
#include <log/log.h>

#include "V5_0/parameter_transfer.h"

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

namespace {

constexpr int32_t kHandleEnd = 255;
int32_t nHandleCounter = 0;  // the handle given out last, of either kind

int32_t makeHandle() {
    do {
        if (++nHandleCounter >= kHandleEnd) nHandleCounter = 1;
    } while (nHandleCounter == hrtfParam.handle || nHandleCounter == deviceParam.handle);
    return nHandleCounter;
}

void logNotFound() {
    ALOGE("[getParamFromHandle] handle is not found!");
}

void logTaken(const char* caller) {
    ALOGW("[%s] HIDL is waiting or BeCtrl is transferring!!", caller);
}

bool isIdle(const aud_hv_parameter& record) {
    return record.transferState == TransferState::IDLE;
}

/** Null for a negative size. A buffer of no bytes is allocated, too. */
uint8_t* allocate(int32_t size) {
    if (size < 0) return nullptr;
    return static_cast<uint8_t*>(malloc(std::max<size_t>(size, 1)));
}

}  // namespace

aud_hv_parameter* getParamFromType(ParamType type) {
    for (aud_hv_parameter* record : {&deviceParam, &hrtfParam}) {
        if (record->type == type) return record;
    }
    ALOGE("[%s] ParamType(%d) is not supported.", __func__, static_cast<int32_t>(type));
    return nullptr;
}

aud_hv_parameter* getParamFromHandle(int32_t handle) {
    if (handle != kNoHandle) {
        for (aud_hv_parameter* record : {&deviceParam, &hrtfParam}) {
            if (record->handle == handle) return record;
        }
    }
    logNotFound();
    return nullptr;
}

int32_t checkIdle(const aud_hv_parameter& record, const char* caller) {
    if (!isIdle(record)) {
        logTaken(caller);
        return BUSY;
    }
    if (record.handle == kNoHandle) {  // the worker ended after the record was found
        logNotFound();
        return NO_SUCH_HANDLE;
    }
    return SUCCESS;
}

int32_t allocateParameterBufferInt(aud_hv_parameter& record, int32_t size) {
    ALOGD("[%s] start. type=%d, handle=%d", __func__, static_cast<int32_t>(record.type),
          record.handle.load());
    discardParameterBufferInt(record);
    if (!isIdle(record)) {
        logTaken(__func__);
        return 0;
    }
    record.data.reset(allocate(size));
    if (record.data == nullptr) {
        ALOGD("[%s] malloc fail.", __func__);
        return 0;
    }
    ALOGD("[%s] malloc success! data=%p", __func__, record.data.get());
    record.handle = makeHandle();
    record.registeredSize = size;
    ALOGD("[%s] end. Return:%d", __func__, record.handle.load());
    return record.handle;
}

int32_t discardParameterBufferInt(aud_hv_parameter& record) {
    ALOGD("[%s] star", __func__);
    if (!isIdle(record)) {
        ALOGD("[%s] call cancel()", __func__);
        cancelInt(record);
        waitSelfParamTransferThreadFinish(record);
    }
    if (isIdle(record) && record.data != nullptr) {
        ALOGD("[%s] release memory.", __func__);
        initializeParameter(record);
    }
    ALOGD("[%s] end", __func__);
    return SUCCESS;
}

int32_t appendInt(aud_hv_parameter& record, const hidl_vec<uint8_t>& data) {
    const int32_t size = static_cast<int32_t>(data.size());
    ALOGD("[%s] start.  registered size=%d,  append accumulation=%d, data size=%d", __func__,
          record.registeredSize.load(), record.appendAccumulation.load(), size);
    if (const int32_t status = checkIdle(record, __func__); status != SUCCESS) return status;
    if (data.size() > static_cast<size_t>(record.registeredSize - record.appendAccumulation)) {
        ALOGE("[%s] data size error", __func__);
        return WRONG_SIZE;
    }
    std::copy(data.begin(), data.end(), record.data.get() + record.appendAccumulation);
    record.appendAccumulation += size;
    ALOGD("[%s] end", __func__);
    return SUCCESS;
}

int32_t checkDataSize(const aud_hv_parameter& record) {
    if (record.registeredSize == record.appendAccumulation) return SUCCESS;
    ALOGE("[%s] data size error! registered size:%d, array size:%d", __func__,
          record.registeredSize.load(), record.appendAccumulation.load());
    return WRONG_SIZE;
}

std::string describeBuffer(const aud_hv_parameter& record) {
    constexpr const char* kStates[] = {"idle", "waiting", "transferring"};
    const int32_t handle = record.handle;
    const std::string text = ::android::base::StringPrintf(
            "handle %d, %d of %d bytes, %s%s", handle, record.appendAccumulation.load(),
            record.registeredSize.load(),
            kStates[static_cast<uint32_t>(record.transferState.load())],
            record.cancelRequested ? ", cancel requested" : "");
    // A worker that resets the record begins with the handle.
    return handle == kNoHandle || record.handle != handle ? "none" : text;
}

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
