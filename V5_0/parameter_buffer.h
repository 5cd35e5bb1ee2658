#pragma once

#include <string>

#include <hidl/HidlSupport.h>

#include "V5_0/parameter_record.h"
#include "V5_0/result_code.h"

/* The buffers in which clients upload parameters. All functions are called on the RPC thread. */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::hardware::hidl_vec;

constexpr int32_t kMaxAppendSize = 262144;  // bytes; a set carries a little less than 1 MiB

/** @return the record of a kind; null, which is logged, if there is none. */
aud_hv_parameter* getParamFromType(ParamType type);

/** @return the record with this handle; null, which is logged, if there is none. */
aud_hv_parameter* getParamFromHandle(int32_t handle);

/**
 * Checks whether the RPC thread may use a record that it found by its handle. If so, it may until
 * the call ends, since only the RPC thread starts workers.
 *
 * @param caller function name in the log line for a refusal.
 * @return SUCCESS; BUSY if a worker has the record; NO_SUCH_HANDLE if one had it and has reset it.
 */
int32_t checkIdle(const aud_hv_parameter& record, const char* caller);

/**
 * Replaces the buffer.
 *
 * @return the new handle; 0 if there is no memory of this size, or if a worker still uses the
 *     previous buffer.
 */
int32_t allocateParameterBufferInt(aud_hv_parameter& record, int32_t size);

/**
 * Discards the buffer. Waits for a worker to cancel its transfer, 20 seconds at most. A worker that
 * takes longer keeps the record, and resets it when it ends.
 *
 * @return SUCCESS
 */
int32_t discardParameterBufferInt(aud_hv_parameter& record);

/** @return SUCCESS; or, with nothing copied, WRONG_SIZE or the result of checkIdle(). */
int32_t appendInt(aud_hv_parameter& record, const hidl_vec<uint8_t>& data);

/** @return SUCCESS if the buffer is full, else WRONG_SIZE. */
int32_t checkDataSize(const aud_hv_parameter& record);

/** @return handle, sizes and state as text, also while a worker has the record. */
std::string describeBuffer(const aud_hv_parameter& record);

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
