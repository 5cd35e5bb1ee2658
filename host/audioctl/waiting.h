#pragma once

#include <chrono>
#include <functional>

#include <android/hidl/base/1.0/IBase.h>

/* Waiting for callbacks. To be used on the main thread. */
namespace audioctl {

using android::hidl::base::V1_0::IBase;

/**
 * After the first call, the first SIGINT or SIGTERM is only recorded. The next one ends the process
 * at once.
 */
void catchStopSignals();

/** Whether one has come since then. */
bool isStopRequested();

/**
 * Serves the objects of this process until a condition holds. It is checked first, then after
 * each callback and stop signal, and at least once in each `pause` (less than 0: without limit).
 */
void serveUntil(const std::function<bool()>& isDone,
                std::chrono::milliseconds pause = std::chrono::milliseconds(-1));
/** The same. Throws ServiceError if the service dies before. */
void serveUntil(IBase& service, const std::function<bool()>& isDone,
                std::chrono::milliseconds pause = std::chrono::milliseconds(-1));

}  // namespace audioctl
