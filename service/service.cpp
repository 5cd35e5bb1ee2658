#define LOG_TAG "HidlAudio"

#include <array>

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>

#include "V3_1/AcousticCalibration.h"
#include "V3_1/HdmiAudio.h"
#include "V3_1/OutputEncodingStatusListener.h"
#include "V3_1/OutputExternal.h"
#include "V3_1/OutputSpeaker.h"
#include "V4_0/CenterSpeaker.h"
#include "V5_0/HeadphoneVirtualizer.h"

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::configureRpcThreadpool;
using android::hardware::joinRpcThreadpool;
using android::hidl::base::V1_0::IBase;

namespace {

/** A service of this process: how it is made, and how it is registered under its interface. */
struct Service {
    sp<IBase> (*create)();
    android::status_t (*registerAs)(const sp<IBase>& service, const char* instance);
    const char* failureLine;
};

template <typename Interface, typename Implementation>
constexpr Service service(const char* failureLine) {
    return {
            [] { return sp<IBase>(new Implementation); },
            [](const sp<IBase>& made, const char* instance) {
                return static_cast<Interface*>(made.get())->registerAsService(instance);
            },
            failureLine,
    };
}

/** All services, in the order in which they are made and registered. */
constexpr std::array kServices{
        service<V3_1::IHdmiAudio, V3_1::implementation::HdmiAudio>(
                "########## HIDL server side: registerAsService() is failed:"),
        service<V3_1::IOutputEncodingStatusListener,
                V3_1::implementation::OutputEncodingStatusListener>(
                "########## HIDL OutputEncodingStatusListener server side: registerAsService() is "
                "failed:"),
        service<V3_1::IOutputExternal, V3_1::implementation::OutputExternal>(
                "########## HIDL OutputExternal server side: registerAsService() is failed:"),
        service<V3_1::IOutputSpeaker, V3_1::implementation::OutputSpeaker>(
                "########## HIDL OutputSpeaker server side: registerAsService() is failed:"),
        service<V3_1::IAcousticCalibration, V3_1::implementation::AcousticCalibration>(
                "########## HIDL AcousticCalibration server side: registerAsService() is failed:"),
        service<V4_0::ICenterSpeaker, V4_0::implementation::CenterSpeaker>(
                "########## HIDL CenterSpeaker server side: registerAsService() is failed:"),
        service<V5_0::IHeadphoneVirtualizer, V5_0::implementation::HeadphoneVirtualizer>(
                "########## HIDL HeadphoneVirtualizer server side: registerAsService() is failed:"),
};

}  // namespace

int main() {
    ALOGD("########## HIDL server side: main() is called:");

    // A constructor may look for the primary HAL. On a set, looking for a HAL that is not up yet
    // starts the thread pool, with a thread of its own unless the pool is limited before.
    configureRpcThreadpool(1, true);

    // The elements of an array are destroyed last to first: the services go in reverse order.
    std::array<sp<IBase>, kServices.size()> services;
    for (size_t i = 0; i < kServices.size(); i++) services[i] = kServices[i].create();

    // This thread alone serves all calls. The services rely on it, whatever a constructor has set.
    configureRpcThreadpool(1, true);

    for (size_t i = 0; i < kServices.size(); i++) {
        if (kServices[i].registerAs(services[i], "default") != android::OK) {
            ALOGE("%s", kServices[i].failureLine);
            return 1;
        }
    }
    joinRpcThreadpool();

    ALOGD("########## HIDL server side: Service exited");
    return 1;
}
