#pragma once

#include <string>

#include <android/log.h>

namespace tvset {

/**
 * A log entry as the workstation shows it, without an end of line: priority letter, blank, tag (`-`
 * for none), colon, blank, text. A newline in the text appears as `\n`.
 */
std::string logLine(const __android_logger_data& entry, const char* text);

/** The logger of every program that links the set: one line on standard error. Any thread. */
void logToStderr(const __android_logger_data* entry, const char* text);

/**
 * Writes a line, given without its newline, to standard error; everything that a running service
 * reports goes through here. If nobody reads it, or the disk is full, no signal is raised. It waits
 * 200 ms at most for room, and then not again until there is some. A line that cannot be written is
 * dropped; `W tvset: log lines dropped: N` precedes the next one that can. A line longer than a
 * pipe takes atomically, 4096 bytes with its newline, is truncated. Preserves errno. Any thread.
 *
 * It can block in one case only: on a terminal that another user has opened and whose buffer has
 * less room than the line.
 */
void writeToStderr(std::string line);

}  // namespace tvset
