#pragma once

#include <cstddef>
#include <cstdint>

/*
 * The interface of the back-end controller's kernel driver, which ships without a header: a device
 * that takes requests, and for each kind of parameters a file that shows the state of its transfer.
 */

extern "C" {

constexpr char BECTRL_DEVICE[] = "/dev/zavo_bectrl";
constexpr char BECTRL_DEVICE_COMPLETE[] =
        "/proc/driver/zavo_bectrl/audio/device_parameter_complete";
constexpr char BECTRL_HRTF_COMPLETE[] = "/proc/driver/zavo_bectrl/audio/hrtf_parameter_complete";

/** What to transfer, little endian. The memory must stay as it is until the transfer has ended. */
struct bectrl_transfer {
    uint32_t size; /**< bytes */
    uint32_t reserved;
    uint64_t address; /**< in the caller's memory */
};
static_assert(sizeof(bectrl_transfer) == 16);
static_assert(offsetof(bectrl_transfer, address) == 8);

/** Requests of the device: ioctl numbers of the type 'c', read-write, with a 16-byte argument. */
enum : uint32_t {
    BECTRL_TRANSFER_HRTF = 0xC0106300,
    BECTRL_TRANSFER_DEVICE = 0xC0106301,
    BECTRL_CANCEL_HRTF = 0xC0106302, /**< the argument is null */
    BECTRL_CANCEL_DEVICE = 0xC0106303,
};

/** Content of a completion file. New content makes the file readable for poll(). */
struct bectrl_completion {
    int8_t state;
    uint8_t result; /**< of the last transfer */
};
static_assert(sizeof(bectrl_completion) == 2);

enum : int8_t {
    BECTRL_STATE_NONE = 0,         /**< ready for a transfer */
    BECTRL_STATE_TRANSFERRING = 1, /**< every other value tells that the transfer has ended */
};

enum : uint8_t {
    BECTRL_RESULT_DONE = 0x01,
    BECTRL_RESULT_CANCELLED = 0x03,
};

}  // extern "C"
