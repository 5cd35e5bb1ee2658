#pragma once

#include <stdexcept>

#include <hidl/Status.h>

namespace audioctl {

/** The command line asks for something that cannot be done. */
class UsageError : public std::runtime_error {
    using runtime_error::runtime_error;
};

/** There is no such service, or the connection to it is lost. */
class ServiceError : public std::runtime_error {
    using runtime_error::runtime_error;
};

/** The service has refused the request, or the user has stopped it. */
class Refusal : public std::runtime_error {
    using runtime_error::runtime_error;
};

/** Throws ServiceError if a call failed in transport. */
inline void examine(const android::hardware::details::return_status& status) {
    if (!status.isOk()) throw ServiceError("the call failed: " + status.description());
}

/** The result of a call. Throws ServiceError if it failed in transport. */
template <typename T>
T valueOf(const android::hardware::Return<T>& result) {
    examine(result);
    return result;
}

}  // namespace audioctl
