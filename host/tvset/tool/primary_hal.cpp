#include "host/tvset/tool/primary_hal.h"

#include <cstdio>
#include <iomanip>
#include <sstream>

#include <android/hardware/audio/5.0/IDevicesFactory.h>
#include <hidl/HidlTransportSupport.h>

#include "host/tvset/devices/operation.h"

using android::sp;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hardware::Void;
using namespace android::hardware::audio::V5_0;

namespace tvset {
namespace {

/** As the journal shows them: `[{"key", "value"}, ...]`. */
std::string text(const hidl_vec<ParameterValue>& parameters) {
    std::ostringstream out;
    out << '[';
    const char* separator = "";
    for (const ParameterValue& parameter : parameters) {
        out << separator << '{' << std::quoted(std::string(parameter.key)) << ", "
            << std::quoted(std::string(parameter.value)) << '}';
        separator = ", ";
    }
    out << ']';
    return out.str();
}

Result performHal(const char* name, const std::string& arguments) {
    return static_cast<Result>(
            perform(name, arguments, [] { return static_cast<int32_t>(Result::OK); }));
}

struct PrimaryDevice : public IPrimaryDevice {
    Return<Result> setParameters(const hidl_vec<ParameterValue>& context,
                                 const hidl_vec<ParameterValue>& parameters) override {
        return performHal("setParameters", text(context) + ", " + text(parameters));
    }
};

struct DevicesFactory : public IDevicesFactory {
    Return<void> openPrimaryDevice(openPrimaryDevice_cb callback) override {
        const Result result = performHal("openPrimaryDevice", "");
        callback(result, result == Result::OK ? mDevice : nullptr);
        return Void();
    }

  private:
    const sp<IPrimaryDevice> mDevice = new PrimaryDevice;
};

}  // namespace

int servePrimaryHal() {
    android::hardware::configureRpcThreadpool(1, true);
    const sp<IDevicesFactory> factory = new DevicesFactory;
    if (factory->registerAsService() != android::OK) {
        fputs("tvset: cannot register the primary audio HAL; is it running already?\n", stderr);
        return 1;
    }
    puts("primary audio HAL is ready");
    fflush(stdout);
    android::hardware::joinRpcThreadpool();
    return 1;
}

}  // namespace tvset
