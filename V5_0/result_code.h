#pragma once

#include <cstdint>

namespace com::zavo::dtv::hardware::audio::V5_0::implementation {

/** Results of the methods, and outcomes of a transfer. */
enum ResultCode : int32_t {
    SUCCESS = 0,
    CANCELLED = 1,  // of a transfer only

    NO_SUCH_HANDLE = -1,
    REFUSED = -1,  // of a transfer: by the controller

    WRONG_SIZE = -2,
    NO_OUTCOME = -2,  // of a transfer: no outcome in time, or an unknown one

    BUSY = -3,
    NOT_STARTED = -3,  // of a transfer

    NOT_CANCELLED = -4,

    NOT_SUPPORTED = -5,
    FAILED = -5,
};

}  // namespace com::zavo::dtv::hardware::audio::V5_0::implementation
