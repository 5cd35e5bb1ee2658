#pragma once

#include <initializer_list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <hidl/Status.h>

#include "host/audioctl/json.h"

namespace audioctl {

/**
 * The callback objects that audioctl serves, and the calls that have arrived on them. Must outlive
 * the objects, which may be called on another thread.
 */
class Callbacks {
  public:
    /** Makes an object of a class that generate.py has written. */
    template <typename Object>
    android::sp<Object> serve() {
        mAreServed = true;
        return new Object(this);
    }

    bool areServed() const { return mAreServed; }

    /**
     * The calls that have arrived since the last take(), in order: the method's name and the
     * arguments as JSON, separated by blanks.
     */
    std::vector<std::string> take() {
        const std::lock_guard<std::mutex> lock(mLock);
        return std::exchange(mCalls, {});
    }

    /** Records a call. Called by the objects, on any thread. */
    void note(std::string method, std::initializer_list<Json> arguments) {
        for (const Json& argument : arguments) method += " " + toLine(argument);
        const std::lock_guard<std::mutex> lock(mLock);
        mCalls.push_back(std::move(method));
    }

  private:
    bool mAreServed = false;
    std::mutex mLock;
    std::vector<std::string> mCalls;  // guarded by mLock
};

/** The common part of the objects' classes. */
template <typename Interface>
class Recording : public Interface {
  public:
    explicit Recording(Callbacks* callbacks) : mCallbacks(*callbacks) {}

  protected:
    android::hardware::Return<void> arrived(const char* method,
                                            std::initializer_list<Json> arguments) {
        mCallbacks.note(method, arguments);
        return {};
    }

  private:
    Callbacks& mCallbacks;
};

}  // namespace audioctl
