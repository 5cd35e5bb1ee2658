#pragma once

#include <functional>

namespace android::hardware::details {

/** Queue of one-way calls of a passthrough wrapper. Passthrough is not offered: it takes none. */
class TaskRunner {
  public:
    void start(size_t) {}
    bool push(const std::function<void()>&) { return false; }
};

}  // namespace android::hardware::details
