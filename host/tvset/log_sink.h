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

}  // namespace tvset
