#pragma once

#include <string>

#include "V5_0/parameter_record.h"

/*
 * The transfer of a full buffer to the back-end controller: by a worker thread, at most one for
 * each kind, one transfer at a time. Called on the RPC thread.
 */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

/**
 * Checks whether the controller is free for a new transfer: it may be busy with one that an earlier
 * process started.
 *
 * @return SUCCESS; BUSY; or FAILED if the controller's completion files cannot be read.
 */
int32_t checkResuming();

/**
 * Passes an idle record with a full buffer to a worker, which reports the outcome to the callback,
 * exactly once, and then resets the record.
 *
 * @return whether the worker could be started; if not, the record is unchanged.
 */
bool startTransfer(aud_hv_parameter& record, const sp<IHeadphoneVirtualizerCallback>& callback);

/**
 * Requests the cancellation of a transfer. The worker reports the outcome.
 *
 * @return SUCCESS; NOT_CANCELLED if there is no transfer or the controller refuses.
 */
int32_t cancelInt(aud_hv_parameter& record);

/** @return the record's last transfer that has an outcome, as text. */
std::string describeLastTransfer(const aud_hv_parameter& record);

/** Waits until no worker has the record. @return 0; -1 after 20 seconds. */
int32_t waitSelfParamTransferThreadFinish(const aud_hv_parameter& record);

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
