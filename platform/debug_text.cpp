#include "platform/debug_text.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include <android-base/stringprintf.h>
#include <android-base/unique_fd.h>

namespace com::zavo::dtv::hardware::audio::platform {

using ::android::base::unique_fd;
using ::android::hardware::hidl_handle;

namespace {

/** Keeps a pipe without a reader from ending the process. */
class SigpipeBlock {
  public:
    SigpipeBlock() {
        sigemptyset(&mSigpipe);
        sigaddset(&mSigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mSigpipe, &mBefore);
    }
    ~SigpipeBlock() {
        const timespec kAtOnce{};
        sigtimedwait(&mSigpipe, nullptr, &kAtOnce);
        pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    SigpipeBlock(const SigpipeBlock&) = delete;
    SigpipeBlock& operator=(const SigpipeBlock&) = delete;

  private:
    sigset_t mSigpipe;
    sigset_t mBefore;
};

/**
 * O_NONBLOCK would be the client's, too, and poll() tells nothing of the moment after it: moved
 * from one pipe to another, the text is there or it is not.
 *
 * @param size at most PIPE_BUF, which an empty pipe has room for.
 */
void writeToPipe(int pipe, const char* text, size_t size) {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) return;
    const unique_fd from(ends[0]);
    const unique_fd to(ends[1]);
    if (write(to, text, size) != static_cast<ssize_t>(size)) return;
    const SigpipeBlock block;
    splice(from, nullptr, pipe, nullptr, size, SPLICE_F_NONBLOCK);
}

}  // namespace

void DebugText::add(const std::string& label, const char* format, ...) {
    std::string line = label + ": ";
    va_list arguments;
    va_start(arguments, format);
    ::android::base::StringAppendV(&line, format, arguments);
    va_end(arguments);
    std::replace_if(
            line.begin(), line.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    mText += line + '\n';
}

void DebugText::writeTo(const hidl_handle& handle) const {
    const native_handle_t* const native = handle.getNativeHandle();
    if (native == nullptr || native->numFds < 1) return;
    const int fd = native->data[0];
    const size_t size = std::min<size_t>(mText.size(), PIPE_BUF);
    // Only to a pipe and to a socket it is possible to write without ever waiting.
    if (fcntl(fd, F_GETPIPE_SZ) >= 0) {
        writeToPipe(fd, mText.data(), size);
    } else {
        send(fd, mText.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

}  // namespace com::zavo::dtv::hardware::audio::platform
