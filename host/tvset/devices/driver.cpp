#include "host/tvset/devices/driver.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/stringprintf.h>
#include <android-base/unique_fd.h>

#include "host/tvset/devices/completion_files.h"
#include "host/tvset/devices/operation.h"
#include "host/tvset/files.h"
#include "host/tvset/lines.h"
#include "host/tvset/seam/clock.h"
#include "host/tvset/seam/log_sink.h"
#include "host/tvset/seam/real.h"
#include "host/tvset/set.h"
#include "platform/bectrl.h"

using android::base::ParseInt;
using android::base::StringPrintf;
using android::base::unique_fd;
using std::chrono::milliseconds;

namespace tvset {
namespace {

/** What is written to the completion file, and when. */
struct Step {
    bectrl_completion completion;
    milliseconds delay;
};

/** The remaining reaction to a transfer. */
struct Reaction {
    std::string completionFile;
    std::deque<Step> steps;
};

/** A kind of parameters. */
struct Kind {
    uint32_t transferRequest;
    uint32_t cancelRequest;
    const char* completionFile;
    const char* copy;
    std::shared_ptr<Reaction> reaction{};  // to the last request
    bool isTransferring = false;
};

struct Driver {
    std::mutex mutex;  // guards the kinds; also held while a completion file is written
    Kind kinds[2] = {
            {BECTRL_TRANSFER_HRTF, BECTRL_CANCEL_HRTF, BECTRL_HRTF_COMPLETE,
             "bectrl/hrtf_parameters.bin"},
            {BECTRL_TRANSFER_DEVICE, BECTRL_CANCEL_DEVICE, BECTRL_DEVICE_COMPLETE,
             "bectrl/device_parameters.bin"},
    };
};

Driver& driver() {
    static auto& theDriver = *new Driver;  // outlives threads still running at exit
    return theDriver;
}

std::optional<Step> parseStep(const std::string& line) {
    std::string state, result, delay, excess;
    std::istringstream(line) >> state >> result >> delay >> excess;
    int16_t stateByte, resultByte;
    int32_t delayMs;
    if (!ParseInt<int16_t>(state, &stateByte, INT8_MIN, UINT8_MAX) ||
        !ParseInt<int16_t>(result, &resultByte, INT8_MIN, UINT8_MAX) ||
        !ParseInt(delay, &delayMs, 0) || !excess.empty()) {
        return std::nullopt;
    }
    return Step{{static_cast<int8_t>(stateByte), static_cast<uint8_t>(resultByte)},
                milliseconds(delayMs)};
}

/** In place and with one write: a reader finds the old or the new content, in the same file. */
void writeCompletion(const std::string& path, const bectrl_completion& completion) {
    const unique_fd file = openFile(path, O_WRONLY);
    if (file == -1 || __real_write(file, &completion, sizeof(completion)) == -1) {
        writeToStderr("tvset: cannot write " + path + ": " + strerror(errno));
    }
}

/** Continues a reaction, unless another request has replaced it. Call with the mutex held. */
void react(Kind& kind, const std::shared_ptr<Reaction>& reaction) {
    if (kind.reaction != reaction) return;
    for (auto& steps = reaction->steps; !steps.empty(); steps.pop_front()) {
        // None left when the action below calls this function again.
        const auto delay = std::exchange(steps.front().delay, milliseconds(0));
        if (delay > milliseconds(0)) {
            currentClock().after(delay, [&kind, reaction] {
                const std::lock_guard lock(driver().mutex);
                react(kind, reaction);
            });
            return;
        }
        writeCompletion(reaction->completionFile, steps.front().completion);
        kind.isTransferring = steps.front().completion.state == BECTRL_STATE_TRANSFERRING;
    }
}

/** Call with the mutex held. */
void startReaction(Kind& kind, std::deque<Step> steps) {
    kind.reaction = std::make_shared<Reaction>(
            Reaction{pathInSet(std::string("fs") + kind.completionFile), std::move(steps)});
    kind.isTransferring = true;
    react(kind, kind.reaction);
}

/** @return false with errno. A reader of the copy finds the old or the new one, complete. */
bool copyParameters(const Kind& kind, const bectrl_transfer& transfer) {
    const std::string path = pathInSet(kind.copy);
    const std::string newPath = path + ".new";
    const auto* source = reinterpret_cast<const void*>(static_cast<uintptr_t>(transfer.address));
    const unique_fd file = openFile(newPath, O_WRONLY | O_CREAT | O_TRUNC);
    if (file != -1 && android::base::WriteFully(file, source, transfer.size)) {
        return rename(newPath.c_str(), path.c_str()) == 0;
    }
    const int error = errno;
    __real_remove(newPath.c_str());
    errno = error;
    return false;
}

int fail(int error) {
    errno = error;
    return -1;
}

int transfer(Kind& kind, const bectrl_transfer* transfer) {
    if (transfer == nullptr) return fail(EFAULT);
    if (transfer->reserved != 0) return fail(EINVAL);
    if (!copyParameters(kind, *transfer)) return -1;
    const auto steps = readLines(pathOfDriver(), "STATE RESULT DELAY_MS", parseStep);
    const std::lock_guard lock(driver().mutex);
    try {
        startReaction(kind, {steps.begin(), steps.end()});
        return 0;
    } catch (const std::system_error&) {  // no thread for the delays
        kind.isTransferring = false;
        return fail(EAGAIN);
    }
}

/** Without a transfer nothing is written: it would be taken for the outcome of the next one. */
int cancel(Kind& kind) {
    const std::lock_guard lock(driver().mutex);
    const Step cancelled{{BECTRL_STATE_NONE, BECTRL_RESULT_CANCELLED}, milliseconds(0)};
    if (kind.isTransferring) startReaction(kind, {cancelled});
    return 0;
}

int perform(uint32_t request, const std::string& argument, const std::function<int32_t()>& work) {
    return tvset::perform("ioctl", StringPrintf("zavo_bectrl, 0x%X, %s", request, argument.c_str()),
                          work);
}

}  // namespace

std::string pathOfDriver() {
    return pathInSet("bectrl/reaction");
}

bool isDriver(int fd) {
    return isOpenOn(fd, pathOfDriver());
}

int performRequest(int fd, unsigned long number, const void* argument) {
    const auto request = static_cast<uint32_t>(number);
    if ((fcntl(fd, F_GETFL) & O_ACCMODE) != O_RDWR) return fail(EBADF);
    for (Kind& kind : driver().kinds) {
        if (request == kind.cancelRequest) {
            return perform(request, "0", [&] { return cancel(kind); });
        }
        if (request != kind.transferRequest) continue;
        const auto* parameters = static_cast<const bectrl_transfer*>(argument);
        return perform(request,
                       parameters == nullptr ? "0" : StringPrintf("{size=%u}", parameters->size),
                       [&] { return transfer(kind, parameters); });
    }
    return fail(ENOTTY);
}

}  // namespace tvset
