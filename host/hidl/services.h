#pragma once

#include <functional>
#include <string>
#include <vector>

#include <hwbinder/IBinder.h>

namespace android::hardware {

/*
 * The services of this machine, in its run directory. They are named
 * "PACKAGE@VERSION::INTERFACE/INSTANCE". Any thread.
 */

/**
 * Makes an object reachable, and listens. Files that a dead process left are replaced. If the
 * run directory is removed, it is made again. Waits for another process that registers, 3 s at
 * most.
 *
 * @param names of the service, newest version first.
 * @return OK; ALREADY_EXISTS if a live process serves one of the names; BAD_VALUE for a name that
 *     is empty or longer than a file's may be; INVALID_OPERATION for an object that is registered;
 *     NO_MEMORY if the system watches no more descriptors; or a negative errno if the directory
 *     cannot be used, -EWOULDBLOCK if the other process has not finished.
 */
status_t registerService(const std::vector<std::string>& names, const sp<BHwBinder>& object);

/**
 * @param shouldWait whether to wait without limit for a service that is declared.
 * @return its object; null if there is none, or if it is a HAL that was given up while an object of
 *     it is kept.
 */
sp<IBinder> findService(const std::string& name, bool shouldWait);

/** @return names of all services that live processes serve, sorted. */
std::vector<std::string> listServices();

/**
 * Notifies of each registration of a service, on the RPC thread; if it is registered already, at
 * once on the calling thread. Notices may be repeated after events were lost.
 *
 * @return OK or a negative errno if the directory cannot be used.
 */
status_t watchService(const std::string& name,
                      const std::function<void(bool isPreexisting)>& notify);

}  // namespace android::hardware
