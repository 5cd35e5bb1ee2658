#pragma once

#include <string>
#include <utility>

#include <hidl/HidlSupport.h>
#include <utils/Errors.h>

namespace android::hardware {

/** How a call ended: no exception, one that the other side raised, or a failure of the transport.
 */
class Status {
  public:
    enum Exception : int32_t {
        EX_NONE = 0,
        EX_SECURITY = -1,
        EX_BAD_PARCELABLE = -2,
        EX_ILLEGAL_ARGUMENT = -3,
        EX_NULL_POINTER = -4,
        EX_ILLEGAL_STATE = -5,
        EX_NETWORK_MAIN_THREAD = -6,
        EX_UNSUPPORTED_OPERATION = -7,
        /** Made on this side only: the call did not get through, see transactionError(). */
        EX_TRANSACTION_FAILED = -129,
    };

    Status() = default;
    static Status ok() { return {}; }
    static Status fromExceptionCode(int32_t exception, const char* message = "");
    static Status fromStatusT(status_t error);

    void setFromStatusT(status_t error) { *this = fromStatusT(error); }
    bool isOk() const { return mException == EX_NONE; }
    int32_t exceptionCode() const { return mException; }
    const char* exceptionMessage() const { return mMessage.c_str(); }
    /** Error of the transport: DEAD_OBJECT, TIMED_OUT, FAILED_TRANSACTION, BAD_TYPE, ... */
    status_t transactionError() const { return mError; }
    std::string description() const;

  private:
    int32_t mException = EX_NONE;
    status_t mError = OK;
    std::string mMessage;
};

namespace details {

/**
 * Carries the status of a call to its caller. A failure that was not examined aborts the process,
 * so that none is overlooked.
 */
class return_status {
  public:
    return_status() = default;
    return_status(Status status) : mStatus(std::move(status)) {}
    return_status(return_status&& other) noexcept;
    return_status& operator=(return_status&& other) noexcept;
    ~return_status();

    // Only these, and a value read from the result, count as having examined it.
    bool isOk() const {
        mIsExamined = true;
        return mStatus.isOk();
    }
    /** A failure of another kind stays to be examined. */
    bool isDeadObject() const {
        const bool isDead = mStatus.transactionError() == DEAD_OBJECT;
        mIsExamined |= isDead;
        return isDead;
    }

    std::string description() const { return mStatus.description(); }

    /** Ends the process unless the call went well. */
    void assertOk() const;

  private:
    friend Status statusOf(const return_status& result);

    Status mStatus;
    mutable bool mIsExamined = false;
};

/** The status of a result, which the caller passes on. */
inline Status statusOf(const return_status& result) {
    result.mIsExamined = true;
    return result.mStatus;
}

}  // namespace details

/** Result of an interface method: its value, or why there is none. */
template <typename T>
class Return : public details::return_status {
  public:
    Return(T value) : mValue(std::move(value)) {}
    Return(Status status) : return_status(std::move(status)) {}

    /** Ends the process if the call failed. */
    operator T() const {
        assertOk();
        return mValue;
    }
    T withDefault(T fallback) const { return isOk() ? mValue : fallback; }

  private:
    T mValue{};
};

template <typename T>
class Return<sp<T>> : public details::return_status {
  public:
    Return(sp<T> value) : mValue(std::move(value)) {}
    Return(T* value) : mValue(value) {}
    /** From a result of a more derived interface. */
    template <typename U>
    Return(Return<U>&& other) : return_status(std::move(other)), mValue(other.mValue) {}
    Return(Status status) : return_status(std::move(status)) {}

    operator sp<T>() const {
        assertOk();
        return mValue;
    }
    sp<T> withDefault(const sp<T>& fallback) const { return isOk() ? mValue : fallback; }

  private:
    sp<T> mValue;
};

template <>
class Return<void> : public details::return_status {
  public:
    Return() = default;
    Return(Status status) : return_status(std::move(status)) {}
};

inline Return<void> Void() {
    return {};
}

}  // namespace android::hardware
