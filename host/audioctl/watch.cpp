#include "host/audioctl/watch.h"

#include <utility>

#include "host/audioctl/errors.h"
#include "host/audioctl/text.h"
#include "host/audioctl/waiting.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;

namespace {

/** Keeps the changes: the service waits for each call, which must not wait for a slow terminal. */
struct Changes : public V1_1::IHdmiAudioCallback {
    Return<void> onCapabilityChanged(const hidl_vec<hidl_string>& capabilities) override {
        std::string line;
        for (const auto& name : capabilities) line += (line.empty() ? "" : " ") + printable(name);
        lines.push_back(line);
        return {};
    }
    std::vector<std::string> lines;
};

}  // namespace

void watch(V1_1::IHdmiAudio& service) {
    const sp<Changes> changes = new Changes;
    examine(service.setCallback(changes));
    catchStopSignals();
    fprintf(stderr, "audioctl: watching\n");
    serveUntil(service, [&] {
        for (const auto& line : std::exchange(changes->lines, {})) printLine(line);
        return isStopRequested();
    });
}

}  // namespace audioctl
