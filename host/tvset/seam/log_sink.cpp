#include "host/tvset/seam/log_sink.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <mutex>
#include <utility>

#include <android-base/errno_restorer.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>

#include "host/tvset/seam/real.h"

using android::base::ErrnoRestorer;
using android::base::unique_fd;

namespace tvset {
namespace {

char priorityLetter(int priority) {
    constexpr char kLetters[] = {'?', '?', 'V', 'D', 'I', 'W', 'E', 'F'};
    const bool known = priority >= 0 && priority < static_cast<int>(std::size(kLetters));
    return known ? kLetters[priority] : '?';
}

/**
 * Blocks, in the calling thread, the signals that a write can raise: the reader is gone, the
 * terminal is another job's, the file is too large. How the process handles them stays as it is.
 */
class BlockedWriteSignals {
  public:
    BlockedWriteSignals() {
        sigemptyset(&mSignals);
        for (const int signal : {SIGPIPE, SIGTTOU, SIGXFSZ}) sigaddset(&mSignals, signal);
        pthread_sigmask(SIG_BLOCK, &mSignals, &mBefore);
    }
    ~BlockedWriteSignals() {
        const ErrnoRestorer keepErrno;
        constexpr timespec kAtOnce{};
        while (sigtimedwait(&mSignals, nullptr, &kAtOnce) > 0) continue;
        pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
    }
    BlockedWriteSignals(const BlockedWriteSignals&) = delete;
    BlockedWriteSignals& operator=(const BlockedWriteSignals&) = delete;

  private:
    sigset_t mSignals;
    sigset_t mBefore;
};

bool isWritable(int timeoutMs) {
    pollfd standardError{STDERR_FILENO, POLLOUT, 0};
    return poll(&standardError, 1, timeoutMs) == 1;
}

/**
 * A write() to standard error that does not block. O_NONBLOCK on the descriptor itself would also
 * affect other processes, which share its open file description; so a pipe or terminal is opened
 * again. Another user's cannot be; poll() then tells that there is room, but not how much.
 */
ssize_t writeWithoutBlocking(const std::string& text) {
    const BlockedWriteSignals signals;
    struct stat found {};
    fstat(STDERR_FILENO, &found);
    if (S_ISSOCK(found.st_mode)) {
        return send(STDERR_FILENO, text.data(), text.size(), MSG_DONTWAIT);
    }
    if (!S_ISFIFO(found.st_mode) && !isatty(STDERR_FILENO)) {
        return __real_write(STDERR_FILENO, text.data(), text.size());
    }
    constexpr int kFlags = O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const unique_fd own(__real_open("/proc/self/fd/2", kFlags));
    if (own != -1) return __real_write(own, text.data(), text.size());
    if (isWritable(0)) return __real_write(STDERR_FILENO, text.data(), text.size());
    errno = EAGAIN;
    return -1;
}

class StandardError {
  public:
    void writeLine(std::string line) {
        const std::lock_guard lock(mMutex);
        if (mDropped > 0 && write("W tvset: log lines dropped: " + std::to_string(mDropped))) {
            mDropped = 0;
        }
        if (mDropped > 0 || !write(std::move(line))) ++mDropped;
    }

  private:
    /** @return false if the text is not, or not completely, written. */
    bool write(std::string text) {
        constexpr int kTimeoutMs = 200;
        if (mIsCut) text.insert(0, 1, '\n');
        text.resize(std::min<size_t>(text.size(), PIPE_BUF - 1));
        text += '\n';
        ssize_t written = writeWithoutBlocking(text);
        if (written == -1 && errno == EAGAIN && !mIsStuck && isWritable(kTimeoutMs)) {
            written = writeWithoutBlocking(text);
        }
        mIsStuck = written == -1 && errno == EAGAIN;
        if (written > 0) mIsCut = text[static_cast<size_t>(written) - 1] != '\n';
        return written + 1 >= static_cast<ssize_t>(text.size());  // the newline may still follow
    }

    std::mutex mMutex;
    uint64_t mDropped = 0;
    bool mIsStuck = false;  // nobody reads: do not wait
    bool mIsCut = false;    // the last line was written in part
};

__attribute__((constructor)) void useLogSink() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_default_tag("");  // not the program's name
    __android_log_set_logger(logToStderr);
}

}  // namespace

std::string logLine(const __android_logger_data& entry, const char* text) {
    const bool tagged = entry.tag != nullptr && *entry.tag != '\0';
    return priorityLetter(entry.priority) + std::string(" ") + (tagged ? entry.tag : "-") + ": " +
           android::base::StringReplace(text, "\n", "\\n", /* all */ true);
}

void logToStderr(const __android_logger_data* entry, const char* text) {
    writeToStderr(logLine(*entry, text));
}

void writeToStderr(std::string line) {
    static auto& standardError = *new StandardError;  // outlives threads still running at exit
    const ErrnoRestorer keepErrno;
    standardError.writeLine(std::move(line));
}

}  // namespace tvset
