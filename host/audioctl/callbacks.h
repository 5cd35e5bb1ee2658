#pragma once

#include <hidl/Status.h>

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/audioctl/json.h"

namespace audioctl {

/**
 * The callback objects that audioctl serves, and the calls that have arrived on them. Must outlive
 * the objects, which may be called on another thread.
 */
class Callbacks {
  public:
    /** Makes an object of an interface that services call back. */
    template <typename Interface>
    android::sp<Interface> serve();

    bool areServed() const { return mAreServed; }

    /**
     * The calls that have arrived since the last time, in order: the method's name and the
     * arguments as JSON, separated by blanks.
     */
    std::vector<std::string> take() {
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mCalls, {});
    }

    /** For the objects: notes a call. */
    template <typename... Arguments>
    android::hardware::Return<void> arrived(const char* method, const Arguments&... arguments) {
        const std::lock_guard<std::mutex> lock(mLock);
        mCalls.push_back((method + ... + (" " + toLine(Codec<Arguments>::write(arguments)))));
        return {};
    }

  private:
    bool mAreServed = false;
    std::mutex mLock;
    std::vector<std::string> mCalls;  // guarded by mLock
};

}  // namespace audioctl
