#define LOG_TAG "hidl"

#include <errno.h>

#include <hidl/HidlTransportSupport.h>

namespace android::hardware {

Status Status::fromExceptionCode(int32_t exception, const char* message) {
    Status status;
    status.mException = exception;
    status.mError = exception == EX_TRANSACTION_FAILED ? FAILED_TRANSACTION : OK;
    status.mMessage = message;
    return status;
}

Status Status::fromStatusT(status_t error) {
    Status status;
    if (error == OK) return status;
    status.mException = EX_TRANSACTION_FAILED;
    status.mError = error;
    return status;
}

std::string Status::description() const {
    if (isOk()) return "no error";
    if (mException != EX_TRANSACTION_FAILED) {
        return "exception " + std::to_string(mException) + ": " + mMessage;
    }
    switch (mError) {
        case DEAD_OBJECT:
            return "the other side is gone";
        case TIMED_OUT:
            return "the other side did not answer";
        case FAILED_TRANSACTION:
            return "the call takes more room than a set has for calls";
        case BAD_VALUE:
            return "the other side broke the format";
        case NO_MEMORY:
            return "no descriptors or memory left";
        case WOULD_BLOCK:
            return "no time left for a call";
        case -ELOOP:
            return "too many calls within each other";
        default:
            return "transport error " + std::to_string(mError);
    }
}

namespace details {

return_status::return_status(return_status&& other) noexcept {
    *this = std::move(other);
}

return_status& return_status::operator=(return_status&& other) noexcept {
    if (!mIsExamined) assertOk();  // the status that this one held is lost here
    mStatus = std::move(other.mStatus);
    mIsExamined = other.mIsExamined;
    other.mStatus = Status::ok();
    return *this;
}

return_status::~return_status() {
    if (!mIsExamined) assertOk();
}

void return_status::assertOk() const {
    if (!isOk()) LOG_ALWAYS_FATAL("a failed call was not examined: %s", description().c_str());
}

}  // namespace details

// Generated code sends no other status than ok(), and so no message.
status_t writeToParcel(const Status& status, Parcel* parcel) {
    return parcel->writeInt32(status.exceptionCode());
}

status_t readFromParcel(Status* status, const Parcel& parcel) {
    int32_t exception;
    const status_t error = parcel.readInt32(&exception);
    if (error == OK) *status = Status::fromExceptionCode(exception);
    return error;
}

}  // namespace android::hardware
