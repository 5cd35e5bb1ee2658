#pragma once

#include <sched.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <android-base/macros.h>
#include <cutils/native_handle.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#ifndef SCHED_NORMAL
#define SCHED_NORMAL SCHED_OTHER
#endif

namespace android {

namespace hidl::base::V1_0 {
struct IBase;
}

namespace hardware {

namespace details {
// Tags by which templates distinguish interfaces, stubs, proxies and passthrough wrappers.
struct i_tag {};
struct bnhw_tag {};
struct bphw_tag {};
struct bs_tag {};

std::string toHexString(uint64_t value);

// Generated headers specialise this without `inline`. To g++ each file then has its own anyway.
#ifdef __clang__
namespace {
#endif
template <typename T>
constexpr std::array<T, 0> hidl_enum_values{};
#ifdef __clang__
}  // namespace
#endif

/** Process id that an object may tell of itself. */
int32_t getPidIfSharable();

/** Whether an object may tell its address: never, it would help an attacker only. */
bool debuggable();

/** A pointer as messages carry it: in eight bytes, also in a process of 32 bits. */
template <typename T>
struct hidl_pointer {
    hidl_pointer() : mBits(0) {}
    hidl_pointer& operator=(T* pointer) {
        mBits = 0;
        mPointer = pointer;
        return *this;
    }
    operator T*() const { return mPointer; }

  private:
    union {
        uint64_t mBits;
        T* mPointer;
    };
};

/** Hooks for test instrumentation; none is ever loaded here. */
class HidlInstrumentor {
  public:
    HidlInstrumentor(const std::string& package, const std::string& interface);
    virtual ~HidlInstrumentor() = default;
    void configureInstrumentation() {}
};
}  // namespace details

/** Told of the death of a remote object, on the process's RPC thread. */
struct hidl_death_recipient : public virtual RefBase {
    virtual void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) = 0;
};

/** A native handle that may be owned; its size is part of the interface format. */
struct hidl_handle {
    hidl_handle() = default;
    hidl_handle(const native_handle_t* handle) { mHandle = handle; }
    hidl_handle(const hidl_handle& other) {
        if (other.mHandle != nullptr) setTo(native_handle_clone(other.mHandle), true);
    }
    hidl_handle(hidl_handle&& other) noexcept { swap(other); }
    ~hidl_handle() { release(); }

    hidl_handle& operator=(hidl_handle other) noexcept {
        swap(other);
        return *this;
    }

    /** Takes the handle; with `shouldOwn` its descriptors are closed when this object ends. */
    void setTo(native_handle_t* handle, bool shouldOwn = false) {
        release();
        mHandle = handle;
        mOwnsHandle = shouldOwn;
    }
    const native_handle_t* getNativeHandle() const { return mHandle; }
    const native_handle_t* operator->() const { return mHandle; }
    operator const native_handle_t*() const { return mHandle; }

  private:
    void release() {
        if (!mOwnsHandle) return;
        native_handle_close(mHandle);
        native_handle_delete(const_cast<native_handle_t*>(getNativeHandle()));
    }
    void swap(hidl_handle& other) noexcept {
        std::swap(mHandle, other.mHandle);
        std::swap(mOwnsHandle, other.mOwnsHandle);
    }

    details::hidl_pointer<const native_handle_t> mHandle;
    bool mOwnsHandle = false;
};

/** A counted array. Owns its elements, or points into a received message while that lives. */
template <typename T>
struct hidl_vec {
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    hidl_vec() = default;
    explicit hidl_vec(size_t size) { resize(size); }
    hidl_vec(std::initializer_list<T> list) : hidl_vec(list.begin(), list.end()) {}
    hidl_vec(const std::vector<T>& other) : hidl_vec(other.begin(), other.end()) {}
    template <typename Iterator,
              typename = std::enable_if_t<std::is_base_of_v<
                      std::forward_iterator_tag,
                      typename std::iterator_traits<Iterator>::iterator_category>>>
    hidl_vec(Iterator first, Iterator last) {
        allocate(static_cast<size_t>(std::distance(first, last)));
        std::copy(first, last, data());
    }
    hidl_vec(const hidl_vec& other) : hidl_vec(other.begin(), other.end()) {}
    hidl_vec(hidl_vec&& other) noexcept { swap(other); }
    ~hidl_vec() { release(); }

    hidl_vec& operator=(hidl_vec other) noexcept {
        swap(other);
        return *this;
    }
    operator std::vector<T>() const { return {begin(), end()}; }

    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    size_t size() const { return mSize; }
    bool empty() const { return mSize == 0; }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }
    T* begin() { return mBuffer; }
    T* end() { return mBuffer + mSize; }
    const T* begin() const { return mBuffer; }
    const T* end() const { return mBuffer + mSize; }

    /** Keeps the first elements; new ones are value-initialised. */
    void resize(size_t size) {
        hidl_vec grown;
        grown.allocate(size);
        std::move(begin(), begin() + std::min<size_t>(size, mSize), grown.begin());
        swap(grown);
    }

    /** Points to elements that must outlive this object, or takes them when `shouldOwn` is set. */
    void setToExternal(T* data, size_t size, bool shouldOwn = false) {
        release();
        mBuffer = data;
        mSize = checked(size);
        mOwnsBuffer = shouldOwn;
    }

  private:
    static uint32_t checked(uint64_t size) {
        if (size > UINT32_MAX) abort();
        return static_cast<uint32_t>(size);
    }
    void allocate(size_t size) {
        if (size == 0) return;
        mSize = checked(size);
        mBuffer = new T[size]();
        mOwnsBuffer = true;
    }
    void release() {
        if (mOwnsBuffer) delete[] data();
        mBuffer = nullptr;
        mSize = 0;
        mOwnsBuffer = false;
    }
    void swap(hidl_vec& other) noexcept {
        std::swap(mBuffer, other.mBuffer);
        std::swap(mSize, other.mSize);
        std::swap(mOwnsBuffer, other.mOwnsBuffer);
    }

    details::hidl_pointer<T> mBuffer;
    uint32_t mSize = 0;
    bool mOwnsBuffer = false;
};

/**
 * A counted string, NUL-terminated as well; may hold NUL bytes. Owns its text, or points into a
 * received message while that lives.
 */
struct hidl_string {
    hidl_string() = default;
    hidl_string(const char* text) : hidl_string(text, text == nullptr ? 0 : strlen(text)) {}
    hidl_string(const char* text, size_t length) {
        if (length == 0) return;
        char* copy = new char[length + 1];
        memcpy(copy, text, length);
        copy[length] = '\0';
        mText.setToExternal(copy, length, /* shouldOwn */ true);
    }
    hidl_string(const std::string& text) : hidl_string(text.data(), text.size()) {}
    hidl_string(const hidl_string& other) : hidl_string(other.c_str(), other.size()) {}
    hidl_string(hidl_string&& other) noexcept = default;

    hidl_string& operator=(hidl_string other) noexcept {
        mText = std::move(other.mText);
        return *this;
    }
    hidl_string& operator=(const char* text) { return *this = hidl_string(text); }
    operator std::string() const { return {c_str(), size()}; }

    const char* c_str() const { return mText.data() == nullptr ? "" : mText.data(); }
    size_t size() const { return mText.size(); }
    bool empty() const { return mText.empty(); }

    /** Points to a text of `length` bytes and a NUL behind them, which must outlive this object. */
    void setToExternal(const char* text, size_t length) {
        mText.setToExternal(const_cast<char*>(text), length);
    }
    void clear() { mText = {}; }

  private:
    hidl_vec<char> mText;
};

inline bool operator==(const hidl_string& a, const hidl_string& b) {
    return a.size() == b.size() && memcmp(a.c_str(), b.c_str(), a.size()) == 0;
}
inline bool operator!=(const hidl_string& a, const hidl_string& b) {
    return !(a == b);
}
inline bool operator==(const hidl_string& a, const char* b) {
    return a.size() == strlen(b) && memcmp(a.c_str(), b, a.size()) == 0;
}
inline bool operator!=(const hidl_string& a, const char* b) {
    return !(a == b);
}
inline bool operator<(const hidl_string& a, const hidl_string& b) {
    return std::string(a) < std::string(b);
}

template <typename T>
bool operator==(const hidl_vec<T>& a, const hidl_vec<T>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}
template <typename T>
bool operator!=(const hidl_vec<T>& a, const hidl_vec<T>& b) {
    return !(a == b);
}

/** An array of fixed size. */
template <typename T, size_t SIZE>
struct hidl_array {
    hidl_array() = default;
    hidl_array(const T (&source)[SIZE]) { std::copy(source, source + SIZE, mBuffer); }

    T* data() { return mBuffer; }
    const T* data() const { return mBuffer; }
    T& operator[](size_t index) { return mBuffer[index]; }
    const T& operator[](size_t index) const { return mBuffer[index]; }
    static constexpr size_t size() { return SIZE; }

  private:
    T mBuffer[SIZE];
};

/** Shared memory; no interface here carries any, only its size is part of the format. */
struct hidl_memory {
  private:
    hidl_handle mHandle;
    [[maybe_unused]] alignas(8) uint64_t mSize = 0;
    hidl_string mName;
};

template <typename T>
using hidl_bitfield = std::underlying_type_t<T>;

/** All values of an enumeration, in the order of its definition. */
template <typename T>
struct hidl_enum_range {
    constexpr auto begin() const { return details::hidl_enum_values<T>.begin(); }
    constexpr auto end() const { return details::hidl_enum_values<T>.end(); }
};

std::string toString(bool value);
std::string toString(const hidl_string& value);
template <typename T>
std::enable_if_t<std::is_arithmetic_v<T>, std::string> toString(T value) {
    return std::to_string(value);
}
template <typename T>
std::string toString(const hidl_vec<T>& values) {
    std::string text;
    for (const T& value : values) text += (text.empty() ? "" : ", ") + toString(value);
    return "[" + std::to_string(values.size()) + "]{" + text + "}";
}

}  // namespace hardware
}  // namespace android
