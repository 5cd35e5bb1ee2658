#include "host/audioctl/watch.h"

#include <atomic>
#include <mutex>
#include <utility>

#include <android/hidl/manager/1.0/IServiceNotification.h>

#include "host/audioctl/errors.h"
#include "host/audioctl/text.h"
#include "host/audioctl/waiting.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using android::hidl::manager::V1_0::IServiceNotification;

namespace {

/** Keeps the changes: the service waits for each call, which must not wait for a slow terminal. */
struct Changes : public V1_1::IHdmiAudioCallback {
    Return<void> onCapabilityChanged(const hidl_vec<hidl_string>& capabilities) override {
        std::string line;
        for (const auto& name : capabilities) line += (line.empty() ? "" : " ") + printable(name);
        const std::lock_guard<std::mutex> lock(mLock);
        mLines.push_back(line);
        return {};
    }
    std::vector<std::string> take() {
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mLines, {});
    }

  private:
    std::mutex mLock;
    std::vector<std::string> mLines;  // guarded by mLock
};

/** Notes that the service is registered. */
struct Registration : public IServiceNotification {
    Return<void> onRegistration(const hidl_string&, const hidl_string&, bool) override {
        hasCome = true;
        return {};
    }
    std::atomic<bool> hasCome{false};
};

/** Prints the changes until a stop is requested. Throws ServiceError if the service dies. */
void printChanges(V1_1::IHdmiAudio& service) {
    const sp<Changes> changes = new Changes;
    examine(service.setCallback(changes));
    catchStopSignals();
    fprintf(stderr, "audioctl: watching\n");
    serveUntil(service, [&] {
        for (const auto& line : changes->take()) printLine(line);
        return isStopRequested();
    });
}

}  // namespace

void watch(sp<V1_1::IHdmiAudio> service) {
    const sp<Registration> registration = new Registration;
    if (!V1_1::IHdmiAudio::registerForNotifications("default", registration)) {
        throw ServiceError("its return could not be noticed");
    }
    while (!isStopRequested()) {
        try {
            if (service != nullptr) printChanges(*service);
        } catch (const ServiceError&) {
            fprintf(stderr, "audioctl: the service has gone; waiting for it\n");
        }
        serveUntil([&] { return isStopRequested() || registration->hasCome.exchange(false); });
        service = V1_1::IHdmiAudio::tryGetService();
    }
}

}  // namespace audioctl
