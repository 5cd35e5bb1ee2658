#pragma once

#include <cstdio>
#include <string>

#include "host/audioctl/json.h"

namespace audioctl {

/** Prints a result at once: a script may be waiting for it. */
inline void printLine(const std::string& line) {
    puts(line.c_str());
    fflush(stdout);
}

/** A text that a service has told, with escapes for all that is not printable ASCII. */
inline std::string printable(const std::string& text) {
    const std::string quoted = toAsciiLine(text);
    return quoted.substr(1, quoted.size() - 2);
}

}  // namespace audioctl
