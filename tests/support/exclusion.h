#pragma once

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "tests/support/log_capture.h"

/**
 * Makes a second call, on a thread of its own, when the first one logs a line, and expects it to
 * return after the first one.
 *
 * @param part of the line, which the first call logs with the lock held.
 */
inline void expectExclusion(const std::string& part, const std::function<void()>& first,
                            const std::function<void()>& second) {
    std::atomic<bool> isStarted = false, isOver = false;
    std::thread other;
    LogCapture::onLine = [&](const std::string& line) {
        if (line.find(part) == line.npos || isStarted.exchange(true)) return;
        std::atomic<bool> isCalling = false;
        other = std::thread([&] {
            isCalling = true;
            second();
            isOver = true;
        });
        while (!isCalling) continue;
        poll(nullptr, 0, 50);  // long enough for a call that does not wait
        EXPECT_FALSE(isOver);
    };
    first();
    ASSERT_TRUE(isStarted);
    other.join();
    LogCapture::onLine = nullptr;
}
