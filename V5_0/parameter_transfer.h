#pragma once

#include <string>

#include "V5_0/parameter_record.h"

/*
 * The transfer of a full buffer to the back-end controller: by a worker thread, at most one for
 * each kind, one transfer at a time. Called on the RPC thread.
 */
namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

/**
 * Asks whether a new transfer may begin as far as the controller is concerned, which may be busy
 * with one that a former process left behind.
 *
 * @return SUCCESS; BUSY; or FAILED if the controller's completion files cannot be read.
 */
int32_t checkResuming();

/**
 * Hands an idle record with a full buffer to a worker, which will tell the callback the outcome,
 * exactly once, and then reset the record.
 *
 * @return whether the worker could be started; if not, the record is as it was.
 */
bool startTransfer(aud_hv_parameter& record, const sp<IHeadphoneVirtualizerCallback>& callback);

/**
 * Asks for the end of a transfer. The outcome still comes from the worker.
 *
 * @return SUCCESS; NOT_CANCELLED if there is no transfer or the controller refuses.
 */
int32_t cancelInt(aud_hv_parameter& record);

/** @return the last transfer of the record that has come to an outcome, in words. */
std::string describeLastTransfer(const aud_hv_parameter& record);

/** Waits until no worker has the record. @return 0; -1 after 20 seconds. */
int32_t waitSelfParamTransferThreadFinish(const aud_hv_parameter& record);

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
