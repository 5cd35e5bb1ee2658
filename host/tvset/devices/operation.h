#pragma once

#include <cstdint>
#include <functional>
#include <string>

/* How the set performs an operation of the platform. Callable on any thread. */
namespace tvset {

/**
 * Performs one operation: an injected fault stands in for the work, and what happened becomes one
 * line of the journal, `NAME(ARGUMENTS) = RESULT`.
 *
 * @param arguments  as the journal shows them; faults are matched against this text
 * @param work       does what the operation does and gives its result; not called for a fault
 * @param outcome    what the journal shows of the arguments once the operation is over, in
 *                   addition to `arguments`; without one, nothing
 * @return the result of the work, or that of the fault, with errno set if the fault says so
 */
int32_t perform(const char* name, const std::string& arguments,
                const std::function<int32_t()>& work,
                const std::function<std::string()>& outcome = nullptr);

/**
 * Appends one line, given without its end, to the journal. The line arrives whole: processes share
 * the journal, and anyone may truncate it at any time. Says on standard error what went wrong.
 */
void appendToJournal(std::string line);

}  // namespace tvset
