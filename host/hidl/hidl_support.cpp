#include <hidl/HidlSupport.h>

#include <inttypes.h>
#include <stdlib.h>
#include <unistd.h>

namespace android::hardware {

hidl_handle& hidl_handle::operator=(const hidl_handle& other) {
    if (this == &other) return *this;
    if (other.mHandle == nullptr) {
        release();
    } else {
        setTo(native_handle_clone(other.mHandle), true);
    }
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept {
    if (this == &other) return *this;
    release();
    std::swap(mHandle, other.mHandle);
    std::swap(mOwnsHandle, other.mOwnsHandle);
    return *this;
}

hidl_handle& hidl_handle::operator=(const native_handle_t* handle) {
    release();
    mHandle = handle;
    return *this;
}

void hidl_handle::setTo(native_handle_t* handle, bool shouldOwn) {
    release();
    mHandle = handle;
    mOwnsHandle = shouldOwn;
}

void hidl_handle::release() {
    if (mOwnsHandle) {
        auto* handle = const_cast<native_handle_t*>(mHandle);
        native_handle_close(handle);
        native_handle_delete(handle);
    }
    mHandle = nullptr;
    mOwnsHandle = false;
}

hidl_string& hidl_string::operator=(const hidl_string& other) {
    return this == &other ? *this : *this = hidl_string(other);
}

hidl_string& hidl_string::operator=(hidl_string&& other) noexcept {
    if (this == &other) return *this;
    clear();
    moveFrom(std::move(other));
    return *this;
}

void hidl_string::setToExternal(const char* text, size_t length) {
    if (length > UINT32_MAX) abort();
    clear();
    mBuffer = text;
    mSize = static_cast<uint32_t>(length);
}

void hidl_string::clear() {
    if (mOwnsBuffer) delete[] mBuffer;
    mBuffer = "";
    mSize = 0;
    mOwnsBuffer = false;
}

void hidl_string::copyFrom(const char* text, size_t length) {
    if (length == 0) return;
    char* copy = new char[length + 1];
    memcpy(copy, text, length);
    copy[length] = '\0';
    setToExternal(copy, length);
    mOwnsBuffer = true;
}

void hidl_string::moveFrom(hidl_string&& other) noexcept {
    std::swap(mBuffer, other.mBuffer);
    std::swap(mSize, other.mSize);
    std::swap(mOwnsBuffer, other.mOwnsBuffer);
}

std::string toString(bool value) {
    return value ? "true" : "false";
}

std::string toString(const hidl_string& value) {
    return "\"" + std::string(value) + "\"";
}

namespace details {

std::string toHexString(uint64_t value) {
    char text[24];
    snprintf(text, sizeof(text), "0x%" PRIx64, value);
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
