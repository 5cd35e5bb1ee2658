#pragma once

#include <android/hidl/base/1.0/IBase.h>

namespace audioctl {

/**
 * Prints what a service answers to debug() on standard output, with escapes for all that is not
 * printable ASCII. Throws ServiceError if the connection is lost.
 */
void printDebug(android::hidl::base::V1_0::IBase& service);

}  // namespace audioctl
