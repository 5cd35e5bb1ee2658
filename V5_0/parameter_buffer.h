#pragma once

#include <string>

#include <hidl/HidlSupport.h>

#include "V5_0/parameter_record.h"
#include "V5_0/result_code.h"

/* The buffers in which clients upload parameters. All functions are called on the RPC thread. */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::hardware::hidl_vec;

constexpr int32_t kMaxAppendSize = 262144;  // bytes; a set carries a little less than 1 MiB

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

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
