#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizerCallback.h>
#include <com/zavo/dtv/hardware/audio/5.0/types.h>

/* The two records, one for each kind, of a parameter buffer and then its transfer. */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::sp;

constexpr int32_t kNoHandle = -1;

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
 * gives it back by storing IDLE last. The RPC thread reads the atomic fields
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

/** Resets a record. Called on the thread that owns it: the worker's, if there is one. */
void initializeParameter(aud_hv_parameter& record);

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
