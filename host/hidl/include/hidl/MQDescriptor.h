#pragma once

#include <hidl/HidlSupport.h>

namespace android::hardware {

enum MQFlavor : uint32_t { kSynchronizedReadWrite = 1, kUnsynchronizedWrite = 2 };

/** A message queue; no interface here carries any, only its size is part of the format. */
template <typename T, MQFlavor flavor>
struct MQDescriptor {
  private:
    hidl_vec<uint64_t> mGrantors;
    details::hidl_pointer<const native_handle_t> mHandle;
    uint32_t mQuantum = 0;
    uint32_t mFlags = 0;
};

}  // namespace android::hardware
