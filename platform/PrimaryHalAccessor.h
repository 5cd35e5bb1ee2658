#pragma once

#include <string>

#include <android/hardware/audio/5.0/IDevicesFactory.h>

#include "platform/debug_text.h"

/*
 * How the services pass settings to the platform's primary audio HAL. Called on the main thread
 * while a service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::platform {

using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::audio::V5_0::IPrimaryDevice;
using ::android::hardware::audio::V5_0::Result;

/**
 * Opens the primary audio device, of which the process has one: an open one is never opened again,
 * also after the HAL has gone. A service builds an accessor, takes the device once and keeps it.
 */
class PrimaryHalAccessor {
  public:
    /**
     * Opens the device unless it is open. A device that cannot be opened stays empty. Waits only as
     * long as the HIDL runtime waits for the HAL.
     */
    PrimaryHalAccessor();

    /** @return the device; empty if it has not been opened. */
    Return<sp<IPrimaryDevice>> getHalPrimaryDevice();
};

/** Makes `device`, empty or not, the process's device, whatever the result of opening it. */
void openDeviceCallback(Result result, const sp<IPrimaryDevice>& device);

/**
 * Passes one parameter to the HAL. A parameter that the HAL refuses or cannot take is lost; the
 * failure is not reported.
 *
 * @param device nothing is sent to an empty one.
 */
void setHalParameter(const sp<IPrimaryDevice>& device, const char* key, const std::string& value);

/** Adds whether a service has the device, and the outcome of the process's last parameter. */
void describeHal(const sp<IPrimaryDevice>& device, DebugText* text);

}  // namespace com::zavo::dtv::hardware::audio::platform
