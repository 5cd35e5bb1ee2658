#define LOG_TAG "AudioHV"

#include "V5_0/parameter_transfer.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include <android-base/stringprintf.h>
#include <android-base/unique_fd.h>
#include <log/log.h>

#include "V5_0/result_code.h"
#include "platform/bectrl.h"
#include "platform/file.h"
#include "platform/power.h"

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

using ::android::base::unique_fd;

namespace {

constexpr useconds_t kPollSleepUs = 500'000;
constexpr int kPollLimit = 40;
constexpr time_t kTransferLimitS = 20;

/** The outcome of a transfer. For debug() only. */
struct Note {
    int32_t handle = kNoHandle;
    int32_t size = 0;
    int32_t outcome = 0;
    const char* client = "";  // whether it was notified
};

/** What the transfers of one kind use. */
struct Kind {
    const char* wakeLock;
    const char* completionFile;
    pthread_t transferThread{};
    std::mutex wakeLockHeld{};
    std::mutex noteLock{};
    Note lastTransfer{};  // guarded by noteLock: the worker writes it
};
/** Indexed by ParamType. */
Kind sKinds[] = {
        {"HidlAudioDevice", BECTRL_DEVICE_COMPLETE},
        {"HidlAudioHrtf", BECTRL_HRTF_COMPLETE},
};

Kind& kindOf(const aud_hv_parameter& record) {
    return sKinds[static_cast<int32_t>(record.type)];
}

/** The record of the other kind. */
const aud_hv_parameter& otherThan(const aud_hv_parameter& record) {
    return &record == &deviceParam ? hrtfParam : deviceParam;
}

constexpr char kThread[] = "paramTransferThread";

/** @param state unchanged unless the result is SUCCESS. @return SUCCESS or FAILED. */
int32_t readBeCtrlTransferState(const char* path, bectrl_completion* state) {
    const platform::File file(fopen(path, "rb"));
    if (file == nullptr) {
        ALOGW("[%s] Proc file open failed!", __func__);
        return FAILED;
    }
    bectrl_completion fresh;
    if (!platform::readWhole(file.get(), &fresh, sizeof(fresh))) {
        ALOGW("[%s] fread proc file failed! errno:%d", __func__, errno);
        return FAILED;
    }
    *state = fresh;
    return SUCCESS;
}

/** @param caller function name in the log lines for a failure. @return SUCCESS or FAILED. */
int32_t requestOfBeCtrl(const char* caller, uint32_t request, void* argument) {
    const unique_fd device(open(BECTRL_DEVICE, O_RDWR));
    if (device == -1) {
        ALOGE("[%s] bectrl device file open failed! : (%d)", caller, FAILED);
        return FAILED;
    }
    const int status = ioctl(device, request, argument);
    if (status == 0) return SUCCESS;
    ALOGE("[%s] ioctl() failed! : (%d)", caller, status);
    return FAILED;
}

int32_t setParametersToBeCtrl(const aud_hv_parameter& record) {
    bectrl_transfer transfer{};
    transfer.size = static_cast<uint32_t>(record.appendAccumulation);
    transfer.address = reinterpret_cast<uintptr_t>(record.data.get());
    return requestOfBeCtrl(__func__, record.transferRequest, &transfer);
}

int32_t notifyCancelToBeCtrl(uint32_t request) {
    return requestOfBeCtrl(__func__, request, nullptr);
}

int32_t summarizeTransferResult(uint8_t result) {
    switch (result) {
        case BECTRL_RESULT_DONE:
            return SUCCESS;
        case BECTRL_RESULT_CANCELLED:
            return CANCELLED;
        case 0x00:
        case 0x02:
            return NOT_STARTED;
        case 0xF3:
        case 0xF4:
            return REFUSED;
        default:
            return NO_OUTCOME;
    }
}

/**
 * Whether the other kind's transfer goes before that of the record. Of two that wait, the one that
 * was applied first does; otherwise both would wait for each other.
 */
bool isAhead(const aud_hv_parameter& other, const aud_hv_parameter& record) {
    switch (other.transferState) {
        case TransferState::IDLE:
            return false;
        case TransferState::WAITING:
            return static_cast<int32_t>(other.turn - record.turn) < 0;
        default:
            return true;
    }
}

/** @return 0 when it is the record's turn; 1 when it is cancelled before; -1 after 20 seconds. */
int32_t waitOtherParamTransferThreadFinish(const aud_hv_parameter& other,
                                           const aud_hv_parameter& record) {
    for (int i = 0; i < kPollLimit; i++) {
        if (!isAhead(other, record)) return 0;
        if (record.cancelRequested) return 1;
        usleep(kPollSleepUs);
    }
    return -1;
}

bool registerForReading(const unique_fd& epoll, int fd) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    return epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event) == 0;
}

int32_t waitForOutcome(int epollFd, int procFd, int timerFd, const char* completionFile) {
    bectrl_completion completion{};
    while (true) {
        epoll_event event;
        if (epoll_wait(epollFd, &event, 1, -1) != 1) continue;
        if (event.data.fd == timerFd) {
            ALOGE("[%s] epoll timeout!!", kThread);
            return NO_OUTCOME;
        }
        if (event.data.fd != procFd) continue;
        ALOGD("[%s] update proc file!!", kThread);
        readBeCtrlTransferState(completionFile, &completion);
        ALOGD("[%s] read proc file(state)=0x%x", kThread, completion.state);
        ALOGD("[%s] read proc file(result)=0x%x", kThread, completion.result);
        if (completion.state != BECTRL_STATE_TRANSFERRING) {
            return summarizeTransferResult(completion.result);
        }
    }
}

int32_t transfer(const aud_hv_parameter& record) {
    const char* const completionFile = kindOf(record).completionFile;
    // Closed from the last to the first. Listening begins before the request is made: the answer
    // may be there before the waiting begins.
    platform::File proc;
    unique_fd timer;
    unique_fd epoll(epoll_create(1));
    proc.reset(fopen(completionFile, "rb"));
    if (proc == nullptr) {
        ALOGE("[%s] Proc file open failed!", kThread);
        return NOT_STARTED;
    }
    if (!registerForReading(epoll, fileno(proc.get()))) {
        ALOGE("[%s] regist FD failed!!(proc)", kThread);
        return NOT_STARTED;
    }
    timer.reset(timerfd_create(CLOCK_MONOTONIC, 0));
    if (!registerForReading(epoll, timer)) {
        ALOGE("[%s] regist FD failed!!(timer)", kThread);
        return NOT_STARTED;
    }
    itimerspec limit{};
    limit.it_value.tv_sec = kTransferLimitS;
    if (timerfd_settime(timer, 0, &limit, nullptr) != 0) {
        ALOGE("[%s] start timer failed!!", kThread);
        return NOT_STARTED;
    }
    if (setParametersToBeCtrl(record) != SUCCESS) return NO_OUTCOME;
    return waitForOutcome(epoll, fileno(proc.get()), timer, completionFile);
}

int32_t transferInTurn(aud_hv_parameter& record) {
    switch (waitOtherParamTransferThreadFinish(otherThan(record), record)) {
        case -1:
            ALOGE("[%s] Waiting thread finish is Timeout!", kThread);
            return NO_OUTCOME;
        case 1:
            ALOGD("[%s] Waiting thread finish is canceled", kThread);
            return CANCELLED;
    }
    record.transferState = TransferState::TRANSFERRING;
    return transfer(record);
}

/**
 * Keeps the set awake. The platform does not count the holders of a name: a worker must not take it
 * while the previous one, whose record is free already, is about to release it.
 */
class WakeLock {
  public:
    explicit WakeLock(Kind& kind) : mHeld(kind.wakeLockHeld), mName(kind.wakeLock) {
        ALOGD("[%s] Acquire Wakelock %s", kThread, mName);
        const int status = acquire_wake_lock(PARTIAL_WAKE_LOCK, mName);
        mIsHeld = status >= 0;
        if (mIsHeld) {
            ALOGI("[%s] Acquire Wakelock completed.", kThread);
        } else {
            ALOGE("[%s] Acquire Wakelock failed(errno:%d).", kThread, status);
        }
    }
    ~WakeLock() {
        ALOGD("Release Wakelock %s", mName);
        const int status = release_wake_lock(mName);
        if (status >= 0) {
            ALOGI("Release Wakelock completed.");
        } else {
            ALOGE("Release Wakelock failed(errno:%d).", status);
        }
    }
    WakeLock(const WakeLock&) = delete;
    WakeLock& operator=(const WakeLock&) = delete;

    bool isHeld() const { return mIsHeld; }

  private:
    const std::lock_guard<std::mutex> mHeld;
    const char* const mName;
    bool mIsHeld;
};

/** Gives a record back when its worker is done with it. */
struct RecordReset {
    aud_hv_parameter& record;
    ~RecordReset() { initializeParameter(record); }
};

/** Transport errors are ignored: the client may be gone. */
void tellOutcome(const aud_hv_parameter& record, int32_t outcome) {
    Kind& kind = kindOf(record);
    const auto note = [&](const char* client) {
        const std::lock_guard<std::mutex> lock(kind.noteLock);
        kind.lastTransfer = {record.handle, record.registeredSize, outcome, client};
    };
    note("is being told");
    const bool isTold = record.callback->onTransferResult(outcome).isOk();
    note(isTold ? "was told" : "could not be told");
}

void* paramTransferThread(void* argument) {
    ALOGD("[%s] start", __func__);
    {
        auto& record = *static_cast<aud_hv_parameter*>(argument);
        const WakeLock wakeLock(kindOf(record));
        const RecordReset atEnd{record};
        tellOutcome(record, wakeLock.isHeld() ? transferInTurn(record) : NOT_STARTED);
    }
    ALOGD("paramTransferThread finished");
    return nullptr;
}

}  // namespace

int32_t checkResuming() {
    for (const aud_hv_parameter* record : {&deviceParam, &hrtfParam}) {
        if (record->transferState != TransferState::IDLE) return SUCCESS;  // the worker will wait
    }
    for (const Kind& kind : sKinds) {
        bectrl_completion completion;
        if (const int32_t status = readBeCtrlTransferState(kind.completionFile, &completion);
            status != SUCCESS) {
            ALOGE("[%s] Proc file error! ret=%d", __func__, status);
            return status;
        }
        if (completion.state != BECTRL_STATE_NONE) {
            ALOGW("[%s] BeCtrl is busy!", __func__);
            return BUSY;
        }
    }
    return SUCCESS;
}

bool startTransfer(aud_hv_parameter& record, const sp<IHeadphoneVirtualizerCallback>& callback) {
    static uint32_t sTurn = 0;
    record.callback = callback;
    record.cancelRequested = false;  // a late cancel of the transfer before may have left it set
    record.turn = ++sTurn;
    // Taken before the thread runs: another apply() must not find it idle until then.
    record.transferState = TransferState::WAITING;
    pthread_t& thread = kindOf(record).transferThread;
    if (pthread_create(&thread, nullptr, paramTransferThread, &record) != 0) {
        record.callback.clear();
        record.transferState = TransferState::IDLE;
        return false;
    }
    pthread_detach(thread);
    return true;
}

int32_t cancelInt(aud_hv_parameter& record) {
    ALOGD("[%s] start", __func__);
    int32_t result = NOT_CANCELLED;
    switch (record.transferState) {
        case TransferState::IDLE:
            break;
        case TransferState::WAITING:
            record.cancelRequested = true;
            result = SUCCESS;
            break;
        case TransferState::TRANSFERRING:
            if (notifyCancelToBeCtrl(record.cancelRequest) == SUCCESS) result = SUCCESS;
            break;
    }
    if (result != SUCCESS) ALOGW("[%s] cancel failed.", __func__);
    ALOGD("[%s] end. Return:%d", __func__, result);
    return result;
}

std::string describeLastTransfer(const aud_hv_parameter& record) {
    Kind& kind = kindOf(record);
    const std::lock_guard<std::mutex> lock(kind.noteLock);
    const Note& note = kind.lastTransfer;
    if (note.handle == kNoHandle) return "none";
    return ::android::base::StringPrintf("handle %d, %d bytes, outcome %d, the client %s",
                                         note.handle, note.size, note.outcome, note.client);
}

int32_t waitSelfParamTransferThreadFinish(const aud_hv_parameter& record) {
    for (int i = 0; i < kPollLimit; i++) {
        if (record.transferState == TransferState::IDLE) return 0;
        usleep(kPollSleepUs);
    }
    return -1;
}

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
