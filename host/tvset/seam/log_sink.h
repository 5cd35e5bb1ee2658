#pragma once

#include <android/log.h>

#include <string>

namespace tvset {

/**
 * A log entry as the workstation shows it, without an end of line: priority letter, blank, tag (`-`
 * for none), colon, blank, text. A newline in the text appears as `\n`.
 */
std::string logLine(const __android_logger_data& entry, const char* text);

/** The logger of every program with the set in it: one line on standard error. Any thread. */
void logToStderr(const __android_logger_data* entry, const char* text);

/**
 * Writes a line, given without its end, to standard error, as everything that is said while a
 * service runs. Its reader may be gone or asleep, or the disk full: no signal is raised, and room
 * is waited for 200 ms at most, then not at all until there is some. A line that cannot be written
 * is dropped; `W tvset: log lines dropped: N` before the next that can be tells how many. A line
 * longer than a pipe takes whole, 4096 bytes with its end, is cut. Leaves errno alone. Any thread.
 *
 * One case is left in which it waits: a terminal that another user has opened, and that is not read
 * until less than a line of its buffer is free.
 */
void writeToStderr(std::string line);

}  // namespace tvset
