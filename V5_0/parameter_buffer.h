#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include "V5_0/result_code.h"

/*
 * The two buffers in which clients upload parameters, one for each kind. All functions are called
 * on the RPC thread, except for initializeParameter().
 */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::sp;
using ::android::hardware::hidl_vec;

constexpr int32_t kNoHandle = -1;
constexpr int32_t kMaxAppendSize = 262144;  // bytes; a message carries 1 MiB in all

enum class TransferState : uint32_t {
    IDLE = 0,
    WAITING = 1,      /**< taken by a worker, which has not given the data to the controller yet */
    TRANSFERRING = 2, /**< the worker waits for the controller's answer */
};

struct FreeMemory {
    void operator()(uint8_t* memory) const { free(memory); }
};

/**
 * The buffer of a kind, and the transfer of it.
 *
 * While it is IDLE the record is the RPC thread's alone; from apply() on it is the worker's, which
 * gives it back by storing IDLE as the last thing of all. The RPC thread reads the atomic fields
 * at any time, and `data` and `callback` only after it has read IDLE.
 */
struct aud_hv_parameter {
    const ParamType type;
    std::atomic<int32_t> handle{kNoHandle};     /**< 1 to 254 while there is a buffer */
    std::atomic<int32_t> registeredSize{0};     /**< of the buffer, in bytes */
    std::atomic<int32_t> appendAccumulation{0}; /**< bytes that have come so far */
    std::atomic<TransferState> transferState{TransferState::IDLE};
    std::unique_ptr<uint8_t, FreeMemory> data{};  /**< null without a buffer */
    sp<IHeadphoneVirtualizerCallback> callback{}; /**< told the outcome; null without a transfer */
    std::atomic<bool> cancelRequested{false};     /**< set by the RPC thread while WAITING */
    const uint32_t transferRequest;               /**< BECTRL_TRANSFER_... */
    const uint32_t cancelRequest;                 /**< BECTRL_CANCEL_... */
    std::atomic<uint32_t> turn{0};                /**< rank of the transfer among all, by apply() */
};

extern aud_hv_parameter deviceParam;
extern aud_hv_parameter hrtfParam;

/** @return the record of a kind; null, with a line, if there is none. */
aud_hv_parameter* getParamFromType(ParamType type);

/** @return the record with this handle; null, with a line, if there is none. */
aud_hv_parameter* getParamFromHandle(int32_t handle);

/**
 * Asks whether the RPC thread may work on a record that it found by its handle. If so, this stays
 * true to the end of the call, since nobody else starts a worker.
 *
 * @param caller name of the function in the line on a refusal.
 * @return SUCCESS; BUSY if a worker has the record; NO_SUCH_HANDLE if one had it and has reset it.
 */
int32_t checkIdle(const aud_hv_parameter& record, const char* caller);

/**
 * Makes the buffer anew.
 *
 * @return the new handle; 0 if there is no memory of this size, or if a worker still has the buffer
 *     that was there.
 */
int32_t allocateParameterBufferInt(aud_hv_parameter& record, int32_t size);

/**
 * Gives the buffer up. A worker is asked to stop and waited for, 20 seconds at most; one that does
 * not end in time keeps the record, and releases it at its end.
 *
 * @return SUCCESS
 */
int32_t discardParameterBufferInt(aud_hv_parameter& record);

/** @return SUCCESS, or, with nothing copied, WRONG_SIZE or what checkIdle() says. */
int32_t appendInt(aud_hv_parameter& record, const hidl_vec<uint8_t>& data);

/** @return SUCCESS if the buffer is full, else WRONG_SIZE. */
int32_t checkDataSize(const aud_hv_parameter& record);

/** @return handle, sizes and state in words, also while a worker has the record. */
std::string describeBuffer(const aud_hv_parameter& record);

/** Takes buffer, handle and transfer off a record. Called by who has it: the worker, if any. */
void initializeParameter(aud_hv_parameter& record);

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
