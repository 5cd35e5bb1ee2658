#include "host/tvset/log_sink.h"

#include <android-base/errno_restorer.h>
#include <android-base/strings.h>
#include <unistd.h>

#include <iterator>

#include "host/tvset/real.h"

namespace tvset {
namespace {

char priorityLetter(int priority) {
    constexpr char kLetters[] = {'?', '?', 'V', 'D', 'I', 'W', 'E', 'F'};
    const bool known = priority >= 0 && priority < static_cast<int>(std::size(kLetters));
    return known ? kLetters[priority] : '?';
}

__attribute__((constructor)) void useLogSink() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_default_tag("");  // else an entry without a tag carries the program's name
    __android_log_set_logger(logToStderr);
}

}  // namespace

std::string logLine(const __android_logger_data& entry, const char* text) {
    const bool tagged = entry.tag != nullptr && *entry.tag != '\0';
    return priorityLetter(entry.priority) + std::string(" ") + (tagged ? entry.tag : "-") + ": " +
           android::base::StringReplace(text, "\n", "\\n", /* all */ true);
}

void logToStderr(const __android_logger_data* entry, const char* text) {
    const android::base::ErrnoRestorer keepErrno;
    const std::string line = logLine(*entry, text) + '\n';
    // Nowhere to report a standard error that cannot be written.
    (void)!__real_write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace tvset
