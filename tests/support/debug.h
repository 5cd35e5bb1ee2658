#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include <android-base/unique_fd.h>
#include <android/hidl/base/1.0/IBase.h>

using android::base::unique_fd;
using android::hidl::base::V1_0::IBase;

/** Has an object write its state to a descriptor. @return whether it answered. */
inline bool debug(IBase& object, int fd) {
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    handle->data[0] = fd;
    return object.debug(handle, {"--unknown"}).isOk();
}

/** A pipe, or two connected sockets. */
struct Ends {
    explicit Ends(bool isSocket = false) {
        int ends[2];
        EXPECT_EQ(0, isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends));
        from.reset(ends[0]);
        to.reset(ends[1]);
        fcntl(from, F_SETFL, O_NONBLOCK);
    }
    /** Fills it up. */
    void fill() const {
        fcntl(to, F_SETFL, O_NONBLOCK);
        while (write(to, "x", 1) == 1) continue;
        fcntl(to, F_SETFL, fcntl(to, F_GETFL) & ~O_NONBLOCK);
    }
    std::string read() const {
        std::string all;
        char bytes[4096];
        for (ssize_t n; (n = ::read(from, bytes, sizeof(bytes))) > 0;) all.append(bytes, n);
        return all;
    }
    unique_fd from, to;
};
