#pragma once

#include <chrono>
#include <functional>

#include <android/hidl/base/1.0/IBase.h>

/* Waiting for what services call back. To be used on the main thread. */
namespace audioctl {

using android::hidl::base::V1_0::IBase;

/**
 * From the first call on the first SIGINT or SIGTERM is noted only. The next one ends the process,
 * whatever it is doing.
 */
void catchStopSignals();

/** Whether one has come since then. */
bool isStopRequested();

/**
 * Serves the objects of this process until a condition holds. It is looked at first, then after
 * whatever arrives and after a stop signal, and at least once in each `pause` (less than 0: no need
 * to).
 */
void serveUntil(const std::function<bool()>& isDone,
                std::chrono::milliseconds pause = std::chrono::milliseconds(-1));
/** The same. Throws ServiceError if the service dies before. */
void serveUntil(IBase& service, const std::function<bool()>& isDone,
                std::chrono::milliseconds pause = std::chrono::milliseconds(-1));

}  // namespace audioctl
