#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <android-base/unique_fd.h>
#include <hidl/HidlSupport.h>
#include <hwbinder/IBinder.h>
#include <hwbinder/Message.h>

namespace android::hardware {

class Channel;

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
    Parcel() { mArena.grow(sizeof(MessageHeader)); }
    /** Reads a call that came over a channel; both must outlive the parcel. */
    Parcel(Message& message, const Channel& channel) : Parcel() { setSource(message, channel); }
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    // Writing. Each answers OK, or FAILED_TRANSACTION once the message would be too large.

    status_t writeInterfaceToken(const char* descriptor);
    status_t writeInt32(int32_t value) { return append(&value, sizeof(value)); }
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
    /** Clears the pointer of a written string or array, see writeBuffer, and writes its bytes. */
    void clearEmbedded(size_t handle, size_t offset, uint32_t count);
    status_t writeBytes(const void* data, size_t size);

    // Reading. Each answers OK, or BAD_VALUE if the peer did not send what is asked for; that
    // marks the parcel as malformed and ends the connection.

    bool enforceInterface(const char* descriptor) const;
    status_t readInt32(int32_t* value) const;
    status_t readBool(bool* value) const;
    status_t readNullableStrongBinder(sp<IBinder>* binder) const;
    /** The handle and its descriptors are the parcel's. */
    status_t readNullableNativeHandleNoDup(const native_handle_t** handle) const;
    status_t readBuffer(size_t size, size_t* handle, const void** data) const;
    /** Marks the parcel. @return BAD_VALUE. */
    status_t malformed() const;
    bool isMalformed() const { return mMalformed; }

    // Transport.

    /** Lets the parcel read a received message; both must outlive the reading. */
    void setSource(Message& message, const Channel& channel);
    /** The message that a reply is received into. */
    Message& incoming() { return mIncoming; }

    /** What is written, ready to be sent to the peer of a channel. Points into the parcel. */
    struct Outgoing {
        void add(const void* data, size_t size);
        iovec* parts() { return mMore.empty() ? mFirst.data() : mMore.data(); }
        size_t count = 0;
        std::vector<int> fds;
        /** Ends of connections made for passed objects; to be closed when they have been sent. */
        std::vector<base::unique_fd> ownedFds;

      private:
        std::array<iovec, 4> mFirst;  // small calls shall do without memory of their own
        std::vector<iovec> mMore;
    };
    /** @return OK, FAILED_TRANSACTION if it is too large, or INVALID_OPERATION for a proxy of an
     *     object of a third process. */
    status_t prepare(const MessageHeader& header, const Channel& channel, Outgoing* outgoing) const;

  private:
    /** Bytes that are copied here are cheaper to send than another part of the message. */
    static constexpr size_t kCopyLimit = 4096;

    /** A growing run of bytes; a small one needs no memory of its own. */
    class Arena {
      public:
        /** @return offset of `size` new bytes that are zero. */
        size_t grow(size_t size);
        uint8_t* at(size_t offset) { return mData + offset; }
        size_t size() const { return mSize; }

      private:
        static constexpr size_t kInlineSize = 512;
        alignas(kBodyAlignment) uint8_t mInline[kInlineSize];
        std::unique_ptr<uint8_t[]> mHeap;
        uint8_t* mData = mInline;
        size_t mCapacity = kInlineSize;
        size_t mSize = 0;
    };

    /** Bytes of the caller that belong behind the first `arenaEnd` bytes of the arena. */
    struct External {
        size_t arenaEnd;
        const void* data;
        size_t size;
    };

    /** A descriptor that comes along: that of a handle, or the connection for an object. */
    struct Attachment {
        int fd;
        sp<IBinder> object;
        size_t reference;  // where in the arena the object's reference stands
    };

    status_t append(const void* data, size_t size);
    status_t reserve(size_t size, size_t* offset);
    const void* take(size_t size) const;

    // Written. What a send settles (the header, references to objects) is filled in by prepare().
    mutable Arena mArena;
    std::vector<External> mExternals;
    std::vector<Attachment> mAttachments;
    size_t mExternalSize = 0;
    bool mTooLarge = false;

    // Read.
    Message mIncoming;
    Message* mSource = nullptr;
    const Channel* mChannel = nullptr;
    mutable size_t mPosition = 0;
    mutable size_t mNextFd = 0;
    mutable bool mMalformed = false;
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
        return writeBytes(values, count * sizeof(T));
    } else {
        if (status_t error = reserve(count * sizeof(T), handle); error != OK) return error;
        const uint8_t* mask = details::valueMask<T>();
        const uint8_t* from = reinterpret_cast<const uint8_t*>(values);
        uint8_t* to = mArena.at(*handle);
        for (size_t i = 0; i < count * sizeof(T); i++) to[i] = from[i] & mask[i % sizeof(T)];
        return OK;
    }
}

}  // namespace android::hardware
