#pragma once

#include <cstddef>
#include <cstdint>

namespace android::hardware {

/** Every item of a message starts at a multiple of this, as the structures in it require. */
constexpr size_t kBodyAlignment = 8;

constexpr uint64_t alignUp(uint64_t size, uint64_t alignment = kBodyAlignment) {
    return (size + alignment - 1) / alignment * alignment;
}

/*
 * What items take of a set's transaction space, in bytes, as the binder driver counts. Objects,
 * buffers and descriptors are described by records in the message, and their places by a list of
 * 64-bit offsets; the contents of buffers take multiples of eight bytes.
 */
namespace space {

constexpr uint64_t kOffset = 8;
constexpr uint64_t kObject = 24 + kOffset;           // flat_binder_object
constexpr uint64_t kDescriptorArray = 32 + kOffset;  // binder_fd_array_object

/** binder_buffer_object, and the bytes themselves. */
constexpr uint64_t ofBuffer(uint64_t size) {
    return 40 + kOffset + alignUp(size);
}

}  // namespace space
}  // namespace android::hardware
