#pragma once

#include <utils/RefBase.h>

namespace android::hardware {

/** The process as a whole. */
class ProcessState : public virtual RefBase {
  public:
    static sp<ProcessState> self();

    /**
     * Makes sure that calls to objects of this process and death notices are served. Starts a
     * thread for them, unless the caller has said with configureRpcThreadpool() that its own will.
     */
    void startThreadPool();
};

}  // namespace android::hardware
