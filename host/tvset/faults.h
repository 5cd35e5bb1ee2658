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
 * and applies to the calls of OPERATION whose arguments contain PART; with xN only to the next N of
 * them, counted in each process since the file last changed. The first line that applies to a call
 * wins. RESULT is a decimal or hexadecimal number, the name of an errno value, or `short`. A
 * malformed line is skipped, with a message on standard error once for each change of the file.
 *
 * Every call checks whether the file has changed. All functions may be called on any thread and
 * preserve errno unless they say otherwise.
 */
namespace tvset {

struct Fault {
    int32_t result = -1;  /**< what the operation returns; an operation with a pointer gives null */
    int error = 0;        /**< the errno value to set; 0: errno is preserved */
    bool isShort = false; /**< transfer half of the data, if the operation transfers any */

    /** Sets errno, if the fault has a value for it, and returns the result. */
    int32_t raise() const;
};

/** The fault that applies to this call, which counts as one of its N. */
std::optional<Fault> takeFault(std::string_view operation, std::string_view arguments);

/** Whether any line names this operation: a check before work that only the arguments need. */
bool mayFail(std::string_view operation);

}  // namespace tvset
