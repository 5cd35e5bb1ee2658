#pragma once

#include <android/hidl/base/1.0/IBase.h>

namespace audioctl {

/**
 * Prints a service's answer to debug() on standard output. Bytes that are not printable ASCII are
 * escaped. Throws ServiceError if the connection is lost.
 */
void printDebug(android::hidl::base::V1_0::IBase& service);

}  // namespace audioctl
