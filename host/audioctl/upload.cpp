#include "host/audioctl/upload.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <optional>
#include <vector>

#include "host/audioctl/errors.h"
#include "host/audioctl/meanings.h"
#include "host/audioctl/progress.h"
#include "host/audioctl/text.h"
#include "host/audioctl/waiting.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_vec;
using android::hardware::Return;
using Virtualizer = V5_0::IHeadphoneVirtualizer;

namespace {

void expectSuccess(const char* step, const Meanings& meanings, const Return<int32_t>& status) {
    if (valueOf(status) != 0) throw Refusal(step + (": " + inWords(meanings, status)));
}

void stopIfRequested() {
    if (isStopRequested()) throw Refusal("stopped before the transfer; nothing is transferred");
}

struct Outcome : public V5_0::IHeadphoneVirtualizerCallback {
    Return<void> onTransferResult(int32_t code) override {
        mCode = code;
        mHasCome = true;
        return {};
    }
    std::optional<int32_t> result() const {
        return mHasCome ? std::optional<int32_t>(mCode) : std::nullopt;
    }

  private:
    std::atomic<bool> mHasCome{false};
    int32_t mCode = 0;  // written before mHasCome
};

/** A buffer of the service, which is discarded at the end unless its transfer was started. */
class Buffer {
  public:
    Buffer(Virtualizer& service, V5_0::ParamType kind, int32_t size)
        : mService(service), mHandle(valueOf(service.allocateParameterBuffer(kind, size))) {
        if (mHandle != 0) return;
        throw Refusal("allocateParameterBuffer: no memory for " + std::to_string(size) +
                      " bytes, kind unknown, or its last transfer does not end (0)");
    }
    ~Buffer() {
        if (!mIsApplied) mService.discardParameterBuffer(mHandle).withDefault(-1);
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    void append(uint8_t* bytes, size_t count) {
        hidl_vec<uint8_t> piece;
        piece.setToExternal(bytes, count);
        expectSuccess("append", kOfAppend, mService.append(mHandle, piece));
    }
    void apply(const sp<Outcome>& outcome) {
        expectSuccess("apply", kOfApply, mService.apply(mHandle, outcome));
        mIsApplied = true;
    }
    /** @return status as the service answers it. */
    int32_t cancel() { return valueOf(mService.cancel(mHandle)); }

  private:
    Virtualizer& mService;
    const int32_t mHandle;
    bool mIsApplied = false;
};

void appendAll(Buffer& buffer, ParameterFile& file, int32_t maxPiece, Progress& progress) {
    std::vector<uint8_t> piece(static_cast<size_t>(std::min(maxPiece, file.size())));
    for (int32_t done = 0; done < file.size();) {
        stopIfRequested();
        const int32_t count = std::min(maxPiece, file.size() - done);
        file.read(piece.data(), static_cast<size_t>(count));
        buffer.append(piece.data(), static_cast<size_t>(count));
        done += count;
        progress.appended(done);
    }
}

int32_t waitFor(const Outcome& outcome, Virtualizer& service, Buffer& buffer, Progress& progress) {
    bool isCancelRequested = false;
    const auto isDone = [&] {
        if (outcome.result()) return true;
        if (isStopRequested() && !isCancelRequested) {
            isCancelRequested = true;
            const int32_t status = buffer.cancel();
            progress.say(status == 0 ? "cancel requested; still waiting for the outcome"
                                     : "cancel: " + inWords(kOfCancel, status) +
                                               "; still waiting for the outcome");
        }
        progress.waiting();
        return false;
    };
    serveUntil(service, isDone, progress.pause());
    return *outcome.result();
}

}  // namespace

ParameterFile::ParameterFile(const std::string& name) : mName(name), mFile(nullptr, fclose) {
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) refuse(strerror(errno));
    if (!S_ISREG(status.st_mode)) refuse("not a regular file");  // a pipe would be waited for
    mFile.reset(fopen(name.c_str(), "rb"));
    if (mFile == nullptr) refuse(strerror(errno));
    constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
    if (status.st_size > kMost) refuse("larger than " + std::to_string(kMost) + " bytes");
    mSize = static_cast<int32_t>(status.st_size);
    if (mSize == 0 && fgetc(mFile.get()) != EOF) {
        refuse("it does not tell its size, as files under /proc; upload a copy");
    }
    if (ferror(mFile.get())) refuse(strerror(errno));
}

void ParameterFile::read(uint8_t* bytes, size_t count) {
    if (fread(bytes, 1, count, mFile.get()) == count) return;
    refuse(ferror(mFile.get()) ? strerror(errno) : "it has become shorter meanwhile");
}

void ParameterFile::refuse(const std::string& why) const {
    throw UsageError("cannot upload " + mName + ": " + why);
}

bool upload(Virtualizer& service, V5_0::ParamType kind, ParameterFile& file) {
    catchStopSignals();
    const int32_t maxPiece = valueOf(service.getMaxAppendSize());
    if (maxPiece <= 0) {
        throw Refusal("getMaxAppendSize: nothing can be appended (" + std::to_string(maxPiece) +
                      ")");
    }
    const sp<Outcome> outcome = new Outcome;
    int32_t code;
    {
        Progress progress(file.size());
        Buffer buffer(service, kind, file.size());
        appendAll(buffer, file, maxPiece, progress);
        stopIfRequested();
        buffer.apply(outcome);
        code = waitFor(*outcome, service, buffer, progress);
    }
    printLine(code == 0 ? "transferred " + std::to_string(file.size()) + " bytes"
                        : inWords(kOfOutcome, code));
    return code == 0;
}

}  // namespace audioctl
