#include "platform/PrimaryHalAccessor.h"

#include <log/log.h>

namespace com::zavo::dtv::hardware::audio::platform {

using ::android::hardware::hidl_vec;
using ::android::hardware::audio::V5_0::IDevicesFactory;
using ::android::hardware::audio::V5_0::ParameterValue;

namespace {

sp<IDevicesFactory> sDevicesFactory;
sp<IPrimaryDevice> sPrimaryDevice;

/** The parameter that was sent last, and what became of it. For debug() only. */
std::string sLastParameter = "none";

}  // namespace

PrimaryHalAccessor::PrimaryHalAccessor() {
    if (sPrimaryDevice != nullptr) return;
    sDevicesFactory = IDevicesFactory::getService("default", false);
    if (sDevicesFactory == nullptr) {
        ALOGE("load audio interface failed");
        return;
    }
    // An unchecked transport error would abort the process, here and below.
    sDevicesFactory->openPrimaryDevice(openDeviceCallback).isOk();
}

Return<sp<IPrimaryDevice>> PrimaryHalAccessor::getHalPrimaryDevice() {
    return sPrimaryDevice;
}

void openDeviceCallback(Result, const sp<IPrimaryDevice>& device) {
    sPrimaryDevice = device;
}

void setHalParameter(const sp<IPrimaryDevice>& device, const char* key, const std::string& value) {
    if (device == nullptr) return;
    const Return<Result> result = device->setParameters({}, hidl_vec<ParameterValue>{{key, value}});
    const char* const outcome = !result.isOk()         ? "lost"
                                : result == Result::OK ? "taken"
                                                       : "refused";
    sLastParameter = key + (" = " + value) + ", " + outcome;
}

void describeHal(const sp<IPrimaryDevice>& device, DebugText* text) {
    text->add("primary HAL", "%s", device == nullptr ? "not there at start" : "there at start");
    text->add("last parameter to it", "%s", sLastParameter.c_str());
}

}  // namespace com::zavo::dtv::hardware::audio::platform
