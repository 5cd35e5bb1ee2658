#pragma once

#include <android-base/unique_fd.h>

namespace android::hardware {

struct ForeignCloser {
    /** Closes at once what cannot block, and all else on a thread that ends with it. */
    static void Close(int fd);
};

/**
 * A descriptor that another process passed, or a connection to one. Closing it may take as long as
 * that process likes: a socket that lingers, a file system in user space, a message full of either.
 */
using ForeignFd = base::unique_fd_impl<ForeignCloser>;

bool isUnixStream(int fd);

}  // namespace android::hardware
