#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "host/audioctl/errors.h"
#include "host/audioctl/json.h"

namespace audioctl {

/** Prints a result at once: a script may be waiting for it. Throws UsageError if it cannot. */
inline void printLine(const std::string& line) {
    if (puts(line.c_str()) == EOF || fflush(stdout) == EOF) {
        throw UsageError(std::string("cannot write the result: ") + strerror(errno));
    }
}

/** A text from a service, with everything but printable ASCII escaped. */
inline std::string printable(const std::string& text) {
    const std::string quoted = toAsciiLine(text);
    return quoted.substr(1, quoted.size() - 2);
}

}  // namespace audioctl
