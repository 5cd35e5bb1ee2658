#pragma once

#include <string>

#include <android-base/unique_fd.h>
#include <hwbinder/IBinder.h>

#include "host/hidl/foreign_fd.h"

namespace android::hardware {

/** A service's name as that of a file: what a file name cannot have is %-encoded. */
std::string encode(const std::string& name);
std::string decode(const std::string& encoded);

/** File name of an object's socket. */
std::string socketName(const Identity& identity);

/**
 * The run directory, of mode 0700, opened: whatever becomes of its path, it is the one that was
 * checked.
 *
 *     run/9f86d0818...               the listening socket of an object, named after its identity
 *     run/a.b@1.1::IFoo%2Fdefault    link to that socket
 *     run/a.b@1.0::IFoo%2Fdefault    link to the link of the newest version
 *
 * Any thread, each with an object of its own.
 */
class RunDirectory {
  public:
    RunDirectory();

    int fd() const { return mFd; }

    /**
     * Keeps others from registering until this object ends.
     *
     * @return OK; -EWOULDBLOCK while another one does; or another negative errno.
     */
    status_t prepare() const;

    /** Follows the links of a service to the identity of its object. @return false without one. */
    bool find(const std::string& link, Identity* identity) const;
    /** Sets or replaces a link in one step. @return OK or a negative errno. */
    status_t setLink(const std::string& link, const std::string& target) const;
    void remove(const std::string& name) const;

    /** Connects to the socket of an object; invalid, with errno, if no process accepts it now. */
    ForeignFd connectTo(const Identity& identity) const;
    /** Whether a live process serves an object, be it that it accepts nobody now. */
    bool isServed(const Identity& identity) const;
    /** Makes the socket of an object, and listens; invalid, with errno, if that fails. */
    base::unique_fd listenAt(const Identity& identity) const;

  private:
    std::string target(const std::string& link) const;

    const base::unique_fd mFd;
};

}  // namespace android::hardware
