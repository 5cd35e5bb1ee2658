#include <hidl/HidlTransportSupport.h>
#include <hwbinder/Parcel.h>

#include "host/hidl/channel.h"
#include "host/hidl/objects.h"

namespace android::hardware {

using limits::kMaxMessageSize;

namespace {

/** Bytes that are cheaper to copy than to send as another part of the message. */
constexpr size_t kCopyLimit = 4096;

/** How a native handle begins; its integers follow, its descriptors come along. */
struct HandleHead {
    uint32_t isPresent = 0;
    uint32_t numFds = 0;
    uint32_t numInts = 0;
    uint32_t reserved = 0;
};

/** What is left of a written string or array: its pointer is set anew by the reader. */
struct EmbeddedHead {
    uint64_t pointer = 0;
    uint32_t count = 0;
    uint32_t owned = 0;
};
static_assert(sizeof(EmbeddedHead) == sizeof(hidl_string));
static_assert(sizeof(EmbeddedHead) == sizeof(hidl_vec<int>));

}  // namespace

Parcel::Parcel() {
    mBytes.grow(sizeof(MessageHeader));
}

bool Parcel::claim(uint64_t bytes, uint64_t space) {
    mIsTooLarge |= size() + alignUp(bytes) > kMaxMessageSize || bytes > kMaxMessageSize;
    mSpace += space;
    return !mIsTooLarge;
}

status_t Parcel::reserve(uint64_t size, uint64_t space, size_t* offset) {
    if (!claim(size, space)) return FAILED_TRANSACTION;
    *offset = mBytes.size();
    const size_t padded = alignUp(size);
    memset(mBytes.grow(padded) + size, 0, padded - size);
    return OK;
}

status_t Parcel::append(const void* data, size_t size, uint64_t space) {
    size_t offset;
    if (status_t error = reserve(size, space, &offset); error != OK) return error;
    if (size > 0) memcpy(mBytes.data() + offset, data, size);
    return OK;
}

status_t Parcel::writeBytes(const void* data, uint64_t size) {
    if (size <= kCopyLimit) return append(data, size, space::ofBuffer(size));
    if (!claim(size, space::ofBuffer(size))) return FAILED_TRANSACTION;
    mExternals.push_back({mBytes.size(), data, static_cast<size_t>(size)});
    mExternalSize += size;
    const size_t padding = alignUp(size) - size;
    memset(mBytes.grow(padding), 0, padding);
    return OK;
}

void Parcel::clearEmbedded(size_t handle, size_t offset, uint32_t count) {
    EmbeddedHead head;
    head.count = count;
    memcpy(mBytes.data() + handle + offset, &head, sizeof(head));
}

status_t Parcel::writeInterfaceToken(const char* descriptor) {
    const size_t size = strlen(descriptor) + 1;
    return append(descriptor, size, alignUp(size, 4));
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& binder) {
    const ObjectReference null;
    if (status_t error = append(&null, sizeof(null), space::kObject); error != OK) return error;
    if (binder != nullptr) mAttachments.push_back({-1, binder, mBytes.size() - sizeof(null)});
    return OK;
}

status_t Parcel::writeNativeHandleNoDup(const native_handle_t* handle) {
    HandleHead head;
    uint64_t space = sizeof(uint64_t);
    if (handle != nullptr) {
        head = {1, static_cast<uint32_t>(handle->numFds), static_cast<uint32_t>(handle->numInts)};
        const uint64_t size = sizeof(*handle) + sizeof(int) * (head.numFds + head.numInts);
        space += space::ofBuffer(size) + space::kDescriptorArray;
    }
    if (status_t error = append(&head, sizeof(head), space); error != OK || handle == nullptr) {
        return error;
    }
    for (int i = 0; i < handle->numFds; i++) mAttachments.push_back({handle->data[i], nullptr, 0});
    return append(handle->data + handle->numFds, head.numInts * sizeof(int), 0);
}

status_t Parcel::malformed() const {
    if (!mIsMalformed && mChannel != nullptr && !mChannel->isShutDown()) {
        const auto* head = reinterpret_cast<const MessageHeader*>(mBytes.data());
        const bool isCall = head->kind == MessageHeader::kCall;
        mChannel->reject(isCall ? "malformed arguments" : "malformed results");
    }
    mIsMalformed = true;
    return BAD_VALUE;
}

const void* Parcel::take(uint64_t size) const {
    if (mChannel == nullptr || mIsMalformed || alignUp(size) > mBytes.size() - mPosition) {
        malformed();
        return nullptr;
    }
    const void* data = mBytes.data() + mPosition;
    mPosition += alignUp(size);
    return data;
}

status_t Parcel::readBuffer(uint64_t size, size_t* handle, const void** data) const {
    *handle = 0;  // readers follow pointers, not handles
    *data = take(size);
    return *data != nullptr ? OK : BAD_VALUE;
}

bool Parcel::enforceInterface(const char* descriptor) const {
    const auto* token = reinterpret_cast<const char*>(mBytes.data()) + mPosition;
    const size_t length = strnlen(token, mBytes.size() - mPosition);
    return take(length + 1) != nullptr && strcmp(token, descriptor) == 0;
}

status_t Parcel::readInt32(int32_t* value) const {
    const void* data = take(sizeof(*value));
    if (data == nullptr) return BAD_VALUE;
    memcpy(value, data, sizeof(*value));
    return OK;
}

status_t Parcel::readBool(bool* value) const {
    int32_t number;
    if (readInt32(&number) != OK || (number != 0 && number != 1)) return malformed();
    *value = number == 1;
    return OK;
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* binder) const {
    *binder = nullptr;
    const auto* reference = static_cast<const ObjectReference*>(take(sizeof(ObjectReference)));
    if (reference == nullptr) return BAD_VALUE;
    if (reference->kind == ObjectReference::NO_OBJECT) return OK;
    ForeignFd socket;
    if (reference->kind == ObjectReference::SENT_ALONG && mNextFd < mFds.size()) {
        socket = std::move(mFds[mNextFd++]);
    }
    *binder = resolve(*reference, std::move(socket), *mChannel);
    return *binder != nullptr ? OK : malformed();
}

status_t Parcel::readNullableNativeHandleNoDup(const native_handle_t** handle) const {
    *handle = nullptr;
    const auto* head = static_cast<const HandleHead*>(take(sizeof(HandleHead)));
    if (head == nullptr) return BAD_VALUE;
    if (head->isPresent == 0) return OK;
    if (head->isPresent != 1 || head->numFds > mFds.size() - mNextFd ||
        head->numInts > NATIVE_HANDLE_MAX_INTS) {
        return malformed();
    }
    const void* ints = take(head->numInts * sizeof(int));
    if (ints == nullptr) return BAD_VALUE;
    native_handle_t* made =
            native_handle_create(static_cast<int>(head->numFds), static_cast<int>(head->numInts));
    if (made == nullptr) return NO_MEMORY;
    mHandles.emplace_back(made, native_handle_delete);
    for (uint32_t i = 0; i < head->numFds; i++) made->data[i] = mFds[mNextFd++];
    memcpy(made->data + head->numFds, ints, head->numInts * sizeof(int));
    *handle = made;
    return OK;
}

}  // namespace android::hardware
