#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

namespace android::hardware {

/** A growing array of plain values that needs no heap while it is small. */
template <typename T, size_t INLINE_COUNT>
class SmallVector {
    static_assert(std::is_trivially_copyable_v<T>);

  public:
    SmallVector() = default;
    SmallVector(const SmallVector&) = delete;
    SmallVector& operator=(const SmallVector&) = delete;

    T* data() { return mData; }
    const T* data() const { return mData; }
    size_t size() const { return mSize; }
    size_t capacity() const { return mCapacity; }

    /** Adds values whose content is undefined. @return the first of them. */
    T* grow(size_t count) {
        if (count > mCapacity - mSize) reserve(std::max(mCapacity * 2, mSize + count));
        mSize += count;
        return mData + mSize - count;
    }
    void push_back(const T& value) { *grow(1) = value; }

    void reserve(size_t capacity) {
        if (capacity <= mCapacity) return;
        std::unique_ptr<T[]> larger(new T[capacity]);
        memcpy(static_cast<void*>(larger.get()), mData, mSize * sizeof(T));
        mHeap = std::move(larger);
        mData = mHeap.get();
        mCapacity = capacity;
    }

    /** Drops all values and the heap memory. */
    void clear() {
        mHeap.reset();
        mData = mInline;
        mCapacity = INLINE_COUNT;
        mSize = 0;
    }

    /** Takes the first `count` values of another vector, all of them if they are on the heap. */
    void take(SmallVector* other, size_t count) {
        clear();
        if (other->mHeap != nullptr) {
            mHeap = std::move(other->mHeap);
            mData = mHeap.get();
            mCapacity = other->mCapacity;
            other->clear();
        } else {
            memcpy(static_cast<void*>(mInline), other->mInline, count * sizeof(T));
            other->mSize -= count;
            memmove(static_cast<void*>(other->mInline), other->mInline + count,
                    other->mSize * sizeof(T));
        }
        mSize = count;
    }

  private:
    alignas(std::max<size_t>(alignof(T), 8)) T mInline[INLINE_COUNT];
    std::unique_ptr<T[]> mHeap;
    T* mData = mInline;
    size_t mCapacity = INLINE_COUNT;
    size_t mSize = 0;
};

}  // namespace android::hardware
