#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/*
 * Failures to inject, from the file `faults` of the set. A line reads
 *
 *     OPERATION[(PART)] RESULT [xN]
 *
 * and concerns the calls of OPERATION whose arguments contain PART; with xN only the next N of
 * them, counted in each process since the file last changed. The first line that concerns a call
 * wins. RESULT is a decimal or hexadecimal number, the name of an errno value, or `short`. A line
 * that does not read so is named on standard error, once a change, and skipped.
 *
 * The file is looked at anew at every call. All functions may be called on any thread and leave
 * errno alone unless they say otherwise.
 */
namespace tvset {

struct Fault {
    int32_t result = -1;  /**< what the operation returns; an operation with a pointer gives null */
    int error = 0;        /**< the errno value to leave behind, 0: errno is left alone */
    bool isShort = false; /**< transfer less than asked for, where there is something to transfer */

    /** Leaves the errno value behind, if there is one, and returns the result. */
    int32_t raise() const;
};

/** The fault that concerns this call, counted as having happened. */
std::optional<Fault> takeFault(std::string_view operation, std::string_view arguments);

/** Whether any line names this operation: where finding out the arguments costs something. */
bool mayFail(std::string_view operation);

}  // namespace tvset
