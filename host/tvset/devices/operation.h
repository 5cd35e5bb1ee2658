#pragma once

#include <cstdint>
#include <functional>
#include <string>

/* Performs operations of the platform, records them, and has them fail. Callable on any thread. */
namespace tvset {

/**
 * Performs one operation, or has it fail as an injected fault says, and records it as one line of
 * the journal, `NAME(ARGUMENTS) = RESULT`.
 *
 * @param arguments  as the journal shows them; faults are matched against this text
 * @param work       does the work and returns the result; not called if there is a fault
 * @param outcome    returns the output arguments, which the journal shows after `arguments`
 * @return the result of the work, or that of the fault, with errno set if the fault says so
 */
int32_t perform(const char* name, const std::string& arguments,
                const std::function<int32_t()>& work,
                const std::function<std::string()>& outcome = nullptr);

/**
 * Appends one line, given without its newline, to the journal, with a single write: processes share
 * the journal, and anyone may truncate it at any time. Reports a failure on standard error.
 */
void appendToJournal(std::string line);

}  // namespace tvset
