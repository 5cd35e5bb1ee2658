#pragma once

#include <string>
#include <vector>

#include <hwbinder/IBinder.h>

namespace android::hardware {

/**
 * The services of a virtual TV set: its directory "run" of mode 0700.
 *
 *     run/9f86d0818...            the listening socket of an object, named after its identity
 *     run/a.b@1.1::IFoo/default   link to that socket
 *     run/a.b@1.0::IFoo/default   link to the link of the newest version
 */

/**
 * Makes an object reachable, and listens. What a dead process left behind is replaced.
 *
 * @param descriptors names of the object's interfaces, newest first.
 * @return OK; ALREADY_EXISTS if a live process serves one of the names; BAD_VALUE for an instance
 *     that cannot be a file's name; or the negative errno of the directory's trouble.
 */
status_t registerService(const std::vector<std::string>& descriptors, const std::string& instance,
                         const sp<BHwBinder>& object);

/** @return the object of this process that is registered as a service under an identity, or null.
 */
sp<BHwBinder> findRegistered(const Identity& identity);

/** Goes on accepting connections after the process had run out of descriptors. */
void resumeAccepting();

}  // namespace android::hardware

namespace android::hardware::details {

/** @return names of all services that live processes serve, as "interface/instance", sorted. */
std::vector<std::string> listServices();

}  // namespace android::hardware::details
