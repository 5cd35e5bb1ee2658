#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>

#include <chrono>

#include "tests/support/process.h"

/** Lines that pass from one process of a test to another, in order. */
class LinePipe {
  public:
    LinePipe() {
        if (pipe2(mEnds, O_CLOEXEC) != 0) abort();
    }

    void say(std::string line) const {
        line += '\n';
        if (write(mEnds[1], line.data(), line.size()) != ssize_t(line.size())) abort();
    }
    /** The next line, or "(nothing)" if none comes in time. */
    std::string next(std::chrono::milliseconds wait = std::chrono::seconds(30)) const {
        std::string line;
        pollfd readable{mEnds[0], POLLIN, 0};
        for (char c; poll(&readable, 1, int(wait.count())) == 1 && read(mEnds[0], &c, 1) == 1;) {
            if (c == '\n') return line;
            line += c;
        }
        return "(nothing)";
    }

  private:
    int mEnds[2];
};

inline const LinePipe gJournal;  // what servers and clients tell the test
inline const LinePipe gOrders;   // what the test tells a client
