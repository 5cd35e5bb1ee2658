#include <inttypes.h>
#include <unistd.h>

#include <hidl/HidlSupport.h>

namespace android::hardware {

std::string toString(bool value) {
    return value ? "true" : "false";
}

std::string toString(const hidl_string& value) {
    return "\"" + std::string(value) + "\"";
}

namespace details {

std::string toHexString(uint64_t value) {
    char text[24];
    snprintf(text, sizeof(text), "%#" PRIx64, value);
    return text;
}

int32_t getPidIfSharable() {
    return getpid();
}

bool debuggable() {
    return false;
}

HidlInstrumentor::HidlInstrumentor(const std::string&, const std::string&) {}

}  // namespace details
}  // namespace android::hardware
