#include "V5_0/parameter_record.h"

#include "platform/bectrl.h"

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

aud_hv_parameter deviceParam{
        .type = ParamType::DEVICE_PARAMETER,
        .transferRequest = BECTRL_TRANSFER_DEVICE,
        .cancelRequest = BECTRL_CANCEL_DEVICE,
};
aud_hv_parameter hrtfParam{
        .type = ParamType::HRTF_PARAMETER,
        .transferRequest = BECTRL_TRANSFER_HRTF,
        .cancelRequest = BECTRL_CANCEL_HRTF,
};

void initializeParameter(aud_hv_parameter& record) {
    record.handle = kNoHandle;
    record.registeredSize = 0;
    record.appendAccumulation = 0;
    record.data.reset();
    record.callback.clear();
    record.cancelRequested = false;
    record.transferState = TransferState::IDLE;
}

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
