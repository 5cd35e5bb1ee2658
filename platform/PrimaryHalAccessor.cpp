#include "platform/PrimaryHalAccessor.h"

#include <log/log.h>

namespace com::zavo::dtv::hardware::audio::platform {

using ::android::hardware::hidl_vec;
using ::android::hardware::audio::V5_0::IDevicesFactory;
using ::android::hardware::audio::V5_0::ParameterValue;

namespace {

sp<IDevicesFactory> sDevicesFactory;
sp<IPrimaryDevice> sPrimaryDevice;

/**
 * Ends a call to the HAL. A failure in transport that nobody asks about would end the process, and
 * the HAL's death must not be ours. Nothing is sent again.
 */
void discard(const ::android::hardware::details::return_status& status) {
    status.isOk();
}

}  // namespace

PrimaryHalAccessor::PrimaryHalAccessor() {
    if (sPrimaryDevice != nullptr) return;
    sDevicesFactory = IDevicesFactory::getService("default", false);
    if (sDevicesFactory == nullptr) {
        ALOGE("load audio interface failed");
        return;
    }
    discard(sDevicesFactory->openPrimaryDevice(openDeviceCallback));
}

Return<sp<IPrimaryDevice>> PrimaryHalAccessor::getHalPrimaryDevice() {
    return sPrimaryDevice;
}

void openDeviceCallback(Result, const sp<IPrimaryDevice>& device) {
    sPrimaryDevice = device;
}

void setHalParameter(const sp<IPrimaryDevice>& device, const char* key, const std::string& value) {
    if (device == nullptr) return;
    discard(device->setParameters({}, hidl_vec<ParameterValue>{{key, value}}));
}

}  // namespace com::zavo::dtv::hardware::audio::platform
