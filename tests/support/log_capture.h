#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include <android/log.h>

#include "host/tvset/seam/log_sink.h"
#include "tests/support/text.h"

/** Collects what the process logs while the object lives, as the log sink would show it. */
class LogCapture {
  public:
    LogCapture() {
        take();
        __android_log_set_logger(collect);
    }
    ~LogCapture() { __android_log_set_logger(tvset::logToStderr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /** The lines since the last call, oldest first. */
    Lines take() {
        const std::lock_guard lock(sMutex);
        return std::exchange(sLines, {});
    }

    /** Compares what take() returns. @param line of the test, which a failure names. */
    void expect(const Lines& expected, int line = __builtin_LINE()) {
        EXPECT_EQ(expected, take()) << "at line " << line;
    }

    /** Called with each line on the thread that logs it; set while no other thread does. */
    static inline std::function<void(const std::string&)> onLine;

  private:
    static void collect(const __android_logger_data* entry, const char* text) {
        const std::string line = tvset::logLine(*entry, text);
        {
            const std::lock_guard lock(sMutex);
            sLines.push_back(line);
        }
        if (onLine) onLine(line);
    }

    // The log takes a plain function, so what it collects belongs to the class.
    static inline std::mutex sMutex;
    static inline Lines sLines;
};
