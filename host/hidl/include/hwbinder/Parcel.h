#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <hidl/HidlSupport.h>
#include <hwbinder/IBinder.h>

#include "host/hidl/foreign_fd.h"
#include "host/hidl/layout.h"
#include "host/hidl/small_vector.h"

namespace android::hardware {

class Channel;
class Message;
class Outgoing;

/**
 * The arguments or results of one call, as one linear stream: the reader takes every item in the
 * order in which the writer put it, each at a multiple of eight bytes.
 *
 * Structures travel as they stand in memory, followed by what they point to. Pointers and padding
 * are cleared on the way out and set on the way in. Large runs of plain bytes are sent from the
 * caller's memory, which must stay unchanged until the parcel has been sent.
 */
class Parcel {
  public:
    Parcel();
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    // Writing. Each answers OK, or FAILED_TRANSACTION once the message would be too large.

    status_t writeInterfaceToken(const char* descriptor);
    status_t writeInt32(int32_t value) { return append(&value, sizeof(value), sizeof(value)); }
    status_t writeBool(bool value) { return writeInt32(value ? 1 : 0); }
    /** Null, an object of this process, or one of the process that the parcel goes to. */
    status_t writeStrongBinder(const sp<IBinder>& binder);
    /** The descriptors must stay open until the parcel has been sent. */
    status_t writeNativeHandleNoDup(const native_handle_t* handle);
    /** @param handle set to a value that writes of embedded items take. */
    template <typename T>
    status_t writeBuffer(const T* value, size_t size, size_t* handle) {
        return writeStructures(value, size / sizeof(T), handle);
    }
    template <typename T>
    status_t writeStructures(const T* values, size_t count, size_t* handle);
    /** Clears the pointer of a written string or array, see writeBuffer. */
    void clearEmbedded(size_t handle, size_t offset, uint32_t count);
    status_t writeBytes(const void* data, uint64_t size);

    // Reading. Each returns OK, or BAD_VALUE if the peer did not send such a value; that
    // marks the parcel as malformed and ends the connection.

    bool enforceInterface(const char* descriptor) const;
    status_t readInt32(int32_t* value) const;
    status_t readBool(bool* value) const;
    status_t readNullableStrongBinder(sp<IBinder>* binder) const;
    /** The handle and its descriptors are the parcel's. */
    status_t readNullableNativeHandleNoDup(const native_handle_t** handle) const;
    status_t readBuffer(uint64_t size, size_t* handle, const void** data) const;
    /** Marks the parcel. @return BAD_VALUE. */
    status_t malformed() const;
    bool isMalformed() const { return mIsMalformed; }

  private:
    friend class Message;   // fills it
    friend class Outgoing;  // sends it

    /** Bytes of the caller that belong behind the first `end` bytes of the parcel's own. */
    struct External {
        size_t end;
        const void* data;
        size_t size;
    };

    /** What goes along as a descriptor: that of a handle, or the connection for an object. */
    struct Attachment {
        int fd;
        sp<IBinder> object;
        size_t reference;  // where the object's reference stands
    };

    size_t size() const { return mBytes.size() + mExternalSize; }
    bool claim(uint64_t size, uint64_t space);
    status_t append(const void* data, size_t size, uint64_t space);
    status_t reserve(uint64_t size, uint64_t space, size_t* offset);
    const void* take(uint64_t size) const;

    /** A message: header, then the body as it is written, or as it was received. The header and
     *  references to objects are filled in when it is sent. */
    mutable SmallVector<uint8_t, 1024> mBytes;

    // Written.
    std::vector<External> mExternals;
    std::vector<Attachment> mAttachments;
    size_t mExternalSize = 0;
    uint64_t mSpace = 0;  // what the message would take of a set's transaction space, in bytes
    bool mIsTooLarge = false;

    // Read.
    const Channel* mChannel = nullptr;
    mutable std::vector<ForeignFd> mFds;
    mutable size_t mPosition = 0;
    mutable size_t mNextFd = 0;
    mutable bool mIsMalformed = false;
    mutable std::vector<std::unique_ptr<native_handle_t, int (*)(native_handle_t*)>> mHandles;
};

namespace details {

/**
 * Bytes of a T that carry a value are 0xFF, padding is 0. Found by copying a T into memory of two
 * different fillings: the language has no way to ask. What is copied with its padding needs a
 * compiler that tells.
 */
template <typename T>
const uint8_t* valueMask() {
    static const auto mask = [] {
        std::array<uint8_t, sizeof(T)> bytes;
        alignas(T) uint8_t ones[sizeof(T)];
        memset(ones, 0xFF, sizeof(ones));
#if __has_builtin(__builtin_clear_padding)
        if constexpr (std::is_trivially_copyable_v<T>) {
            __builtin_clear_padding(reinterpret_cast<T*>(ones));
            memcpy(bytes.data(), ones, sizeof(ones));
            return bytes;
        }
#endif
        alignas(T) uint8_t zeros[sizeof(T)];
        memset(zeros, 0x00, sizeof(zeros));
        // Memory of an object has no content before and beside its values, as compilers see it:
        // these keep them from acting on that.
        asm volatile("" ::"r"(zeros), "r"(ones) : "memory");
        const T value{};
        T* copies[] = {new (zeros) T(value), new (ones) T(value)};
        asm volatile("" ::"r"(zeros), "r"(ones) : "memory");
        for (size_t i = 0; i < sizeof(T); i++) bytes[i] = zeros[i] == ones[i] ? 0xFF : 0x00;
        for (T* copy : copies) copy->~T();
        return bytes;
    }();
    return mask.data();
}

}  // namespace details

template <typename T>
status_t Parcel::writeStructures(const T* values, size_t count, size_t* handle) {
    if constexpr (std::is_arithmetic_v<T> || std::has_unique_object_representations_v<T>) {
        *handle = 0;  // nothing is embedded in such values
        return writeBytes(values, uint64_t{count} * sizeof(T));
    } else {
        const uint64_t size = uint64_t{count} * sizeof(T);
        if (status_t error = reserve(size, space::ofBuffer(size), handle); error != OK)
            return error;
        const uint8_t* mask = details::valueMask<T>();
        const uint8_t* from = reinterpret_cast<const uint8_t*>(values);
        uint8_t* to = mBytes.data() + *handle;
        for (size_t i = 0; i < size; i++) to[i] = from[i] & mask[i % sizeof(T)];
        return OK;
    }
}

}  // namespace android::hardware
