#include <hwbinder/Parcel.h>

#include <hidl/HidlTransportSupport.h>

#include "host/hidl/channel.h"
#include "host/hidl/objects.h"

namespace android::hardware {

using base::unique_fd;

namespace {

/** How a reference to an object stands in a body. */
struct ObjectReference {
    enum : uint32_t {
        kNull = 0,
        kSentAlong = 1,  // an object of the sender; a connection to it comes along
        kReturned = 2,   // an object that the receiver gave to the sender
    };
    uint32_t kind = kNull;
    uint32_t reserved = 0;
    Identity identity;
};

struct HandleHead {
    uint32_t isPresent = 0;
    uint32_t numFds = 0;
    uint32_t numInts = 0;
    uint32_t reserved = 0;
};

constexpr size_t padding(size_t size) {
    return (kBodyAlignment - size % kBodyAlignment) % kBodyAlignment;
}

/** What is left of a written string or array: its pointer is set anew by the reader. */
struct EmbeddedHead {
    uint64_t pointer = 0;
    uint32_t count = 0;
    uint32_t owned = 0;
};
static_assert(sizeof(EmbeddedHead) == sizeof(hidl_string));
static_assert(sizeof(EmbeddedHead) == sizeof(hidl_vec<int>));

}  // namespace

size_t Parcel::Arena::grow(size_t size) {
    size_t offset = mSize;
    if (mSize + size > mCapacity) {
        size_t capacity = std::max(mCapacity * 2, mSize + size);
        std::unique_ptr<uint8_t[]> larger(new uint8_t[capacity]);
        memcpy(larger.get(), mData, mSize);
        mHeap = std::move(larger);
        mData = mHeap.get();
        mCapacity = capacity;
    }
    memset(mData + offset, 0, size);
    mSize += size;
    return offset;
}

void Parcel::Outgoing::add(const void* data, size_t size) {
    iovec part{const_cast<void*>(data), size};
    if (mMore.empty() && count < mFirst.size()) {
        mFirst[count++] = part;
        return;
    }
    if (mMore.empty()) mMore.assign(mFirst.begin(), mFirst.end());
    mMore.push_back(part);
    count++;
}

status_t Parcel::reserve(size_t size, size_t* offset) {
    if (mTooLarge || size > kMaxMessageSize ||
        mArena.size() + mExternalSize + size + padding(size) > kMaxMessageSize) {
        mTooLarge = true;
        return FAILED_TRANSACTION;
    }
    *offset = mArena.grow(size + padding(size));
    return OK;
}

status_t Parcel::append(const void* data, size_t size) {
    size_t offset;
    if (status_t error = reserve(size, &offset); error != OK) return error;
    if (size > 0) memcpy(mArena.at(offset), data, size);
    return OK;
}

status_t Parcel::writeBytes(const void* data, size_t size) {
    if (size <= kCopyLimit) return append(data, size);
    size_t behind;
    if (status_t error = reserve(0, &behind); error != OK) return error;
    if (mArena.size() + mExternalSize + size + padding(size) > kMaxMessageSize) {
        mTooLarge = true;
        return FAILED_TRANSACTION;
    }
    mExternals.push_back({behind, data, size});
    mExternalSize += size;
    mArena.grow(padding(size));
    return OK;
}

void Parcel::clearEmbedded(size_t handle, size_t offset, uint32_t count) {
    EmbeddedHead head;
    head.count = count;
    memcpy(mArena.at(handle + offset), &head, sizeof(head));
}

status_t Parcel::writeInterfaceToken(const char* descriptor) {
    return writeBytes(descriptor, strlen(descriptor) + 1);
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& binder) {
    size_t offset;
    if (status_t error = reserve(sizeof(ObjectReference), &offset); error != OK) return error;
    if (binder != nullptr) mAttachments.push_back({-1, binder, offset});
    return OK;
}

status_t Parcel::writeNativeHandleNoDup(const native_handle_t* handle) {
    HandleHead head;
    if (handle != nullptr) {
        head = {1, static_cast<uint32_t>(handle->numFds), static_cast<uint32_t>(handle->numInts)};
    }
    if (status_t error = append(&head, sizeof(head)); error != OK || handle == nullptr) {
        return error;
    }
    for (int i = 0; i < handle->numFds; i++) mAttachments.push_back({handle->data[i], nullptr, 0});
    return append(handle->data + handle->numFds, head.numInts * sizeof(int));
}

status_t Parcel::prepare(const MessageHeader& header, const Channel& channel,
                         Outgoing* outgoing) const {
    if (mTooLarge || mAttachments.size() > kMaxMessageFds) return FAILED_TRANSACTION;
    for (const Attachment& attachment : mAttachments) {
        if (attachment.object == nullptr) {
            outgoing->fds.push_back(attachment.fd);
            continue;
        }
        ObjectReference reference;
        BpHwBinder* remote = attachment.object->remoteBinder();
        if (remote == nullptr) {
            reference.kind = ObjectReference::kSentAlong;
            sp<BHwBinder> local = attachment.object->localBinder();
            unique_fd end = exportObject(local, channel.peer(), &reference.identity);
            if (end < 0) return NO_MEMORY;
            outgoing->fds.push_back(end);
            outgoing->ownedFds.push_back(std::move(end));
        } else if (remote->peer() == channel.peer()) {
            reference.kind = ObjectReference::kReturned;
            reference.identity = remote->identity();
        } else {
            return INVALID_OPERATION;
        }
        memcpy(mArena.at(attachment.reference), &reference, sizeof(reference));
    }

    MessageHeader head = header;
    head.bodySize = static_cast<uint32_t>(mArena.size() + mExternalSize - sizeof(MessageHeader));
    head.fdCount = static_cast<uint32_t>(outgoing->fds.size());
    memcpy(mArena.at(0), &head, sizeof(head));

    size_t sent = 0;
    for (const External& external : mExternals) {
        outgoing->add(mArena.at(sent), external.arenaEnd - sent);
        outgoing->add(external.data, external.size);
        sent = external.arenaEnd;
    }
    if (sent < mArena.size()) outgoing->add(mArena.at(sent), mArena.size() - sent);
    return OK;
}

void Parcel::setSource(Message& message, const Channel& channel) {
    mSource = &message;
    mChannel = &channel;
    mPosition = 0;
    mNextFd = 0;
}

status_t Parcel::malformed() const {
    if (!mMalformed && mSource != nullptr) {
        const bool isCall = mSource->header().kind == MessageHeader::kCall;
        mChannel->turnAway(isCall ? "malformed arguments" : "malformed results");
    }
    mMalformed = true;
    return BAD_VALUE;
}

const void* Parcel::take(size_t size) const {
    if (mSource == nullptr || mMalformed) return nullptr;
    size_t left = mSource->header().bodySize - mPosition;
    if (size > left || padding(size) > left - size) return nullptr;
    const void* data = mSource->body() + mPosition;
    mPosition += size + padding(size);
    return data;
}

status_t Parcel::readBuffer(size_t size, size_t* handle, const void** data) const {
    *handle = 0;  // readers follow pointers, not handles
    *data = take(size);
    return *data != nullptr ? OK : malformed();
}

bool Parcel::enforceInterface(const char* descriptor) const {
    if (mSource == nullptr) return false;
    const char* token = reinterpret_cast<const char*>(mSource->body()) + mPosition;
    size_t length = strnlen(token, mSource->header().bodySize - mPosition);
    if (take(length + 1) == nullptr) {
        malformed();
        return false;
    }
    return strcmp(token, descriptor) == 0;
}

status_t Parcel::readInt32(int32_t* value) const {
    const void* data = take(sizeof(*value));
    if (data == nullptr) return malformed();
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
    const void* data = take(sizeof(ObjectReference));
    if (data == nullptr) return malformed();
    ObjectReference reference;
    memcpy(&reference, data, sizeof(reference));
    switch (reference.kind) {
        case ObjectReference::kNull:
            *binder = nullptr;
            return OK;
        case ObjectReference::kSentAlong:
            if (mNextFd >= mSource->fds().size() || reference.identity.isNull()) break;
            *binder = importObject(reference.identity, std::move(mSource->fds()[mNextFd++]),
                                   mChannel->peer());
            if (*binder == nullptr) break;
            return OK;
        case ObjectReference::kReturned:
            *binder = findExported(reference.identity, mChannel->peer());
            if (*binder == nullptr) break;
            return OK;
    }
    return malformed();
}

status_t Parcel::readNullableNativeHandleNoDup(const native_handle_t** handle) const {
    *handle = nullptr;
    const void* data = take(sizeof(HandleHead));
    if (data == nullptr) return malformed();
    HandleHead head;
    memcpy(&head, data, sizeof(head));
    if (head.isPresent == 0) return OK;
    if (head.isPresent != 1 || head.numFds > mSource->fds().size() - mNextFd ||
        head.numInts > NATIVE_HANDLE_MAX_INTS) {
        return malformed();
    }
    const void* ints = take(head.numInts * sizeof(int));
    if (ints == nullptr) return malformed();
    native_handle_t* made =
            native_handle_create(static_cast<int>(head.numFds), static_cast<int>(head.numInts));
    if (made == nullptr) return NO_MEMORY;
    mHandles.emplace_back(made, native_handle_delete);
    for (uint32_t i = 0; i < head.numFds; i++) made->data[i] = mSource->fds()[mNextFd++];
    memcpy(made->data + head.numFds, ints, head.numInts * sizeof(int));
    *handle = made;
    return OK;
}

}  // namespace android::hardware
