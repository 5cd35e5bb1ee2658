#include "host/tvset/faults.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <mutex>
#include <sstream>
#include <tuple>
#include <vector>

#include <android-base/errno_restorer.h>
#include <android-base/parseint.h>

#include "host/tvset/lines.h"
#include "host/tvset/set.h"

using android::base::ErrnoRestorer;
using android::base::ParseInt;
using android::base::ParseUint;

namespace tvset {
namespace {

struct Line {
    std::string operation;
    std::string part;
    Fault fault;
    std::optional<uint32_t> remaining;  // none: unlimited

    bool appliesTo(std::string_view call, std::string_view arguments) const {
        return call == operation && remaining != 0u && arguments.find(part) != arguments.npos;
    }
};

int errnoByName(const std::string& name) {
    for (int number = 1; number <= EHWPOISON; ++number) {  // the highest
        const char* known = strerrorname_np(number);
        if (known != nullptr && name == known) return number;
    }
    return 0;
}

std::optional<Fault> parseResult(const std::string& text) {
    int64_t number;
    if (ParseInt<int64_t>(text, &number, INT32_MIN, UINT32_MAX)) {
        return Fault{static_cast<int32_t>(number), 0, false};
    }
    if (text == "short") return Fault{-1, EIO, true};
    if (const int error = errnoByName(text); error != 0) return Fault{-1, error, false};
    return std::nullopt;
}

std::optional<Line> parseLine(std::string text) {
    Line line;
    const size_t open = text.find('(');
    const size_t close = text.rfind(')');
    if (open != close) {
        if (open > close || close == text.npos) return std::nullopt;
        line.part = text.substr(open + 1, close - open - 1);
        text.replace(open, close - open + 1, " ");
    }
    std::string result, times, excess;
    std::istringstream(text) >> line.operation >> result >> times >> excess;
    const auto fault = parseResult(result);
    if (!fault || !excess.empty()) return std::nullopt;
    line.fault = *fault;
    if (!times.empty()) {
        uint32_t count;
        if (times[0] != 'x' || !ParseUint(times.substr(1), &count) || count == 0) {
            return std::nullopt;
        }
        line.remaining = count;
    }
    return line;
}

/** The file as last read; it is read again when it has changed. */
class FaultFile {
  public:
    /** The first line that satisfies the predicate, null without one. Call with the lock held. */
    template <typename Predicate>
    Line* find(Predicate predicate) {
        refresh();
        for (auto& line : mLines) {
            if (predicate(line)) return &line;
        }
        return nullptr;
    }

    std::mutex mutex;

  private:
    using Version = std::tuple<dev_t, ino_t, off_t, time_t, long>;

    void refresh() {
        const std::string path = pathInSet("faults");
        struct stat status {};
        stat(path.c_str(), &status);
        const Version version{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                              status.st_mtim.tv_nsec};
        if (version == mVersion) return;
        mVersion = version;
        mLines = readLines(path, "OPERATION[(PART)] RESULT [xN]", parseLine);
    }

    Version mVersion{};
    std::vector<Line> mLines;
};

FaultFile& faultFile() {
    static auto& file = *new FaultFile;  // outlives threads still running at exit
    return file;
}

}  // namespace

int32_t Fault::raise() const {
    if (error != 0) errno = error;
    return result;
}

std::optional<Fault> takeFault(std::string_view operation, std::string_view arguments) {
    const ErrnoRestorer keepErrno;
    FaultFile& file = faultFile();
    const std::lock_guard lock(file.mutex);
    Line* line = file.find([&](const Line& l) { return l.appliesTo(operation, arguments); });
    if (line == nullptr) return std::nullopt;
    if (line->remaining) --*line->remaining;
    return line->fault;
}

bool mayFail(std::string_view operation) {
    const ErrnoRestorer keepErrno;
    FaultFile& file = faultFile();
    const std::lock_guard lock(file.mutex);
    return file.find([&](const Line& l) { return l.operation == operation; }) != nullptr;
}

}  // namespace tvset
