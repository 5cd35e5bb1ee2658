#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace audioctl {

/**
 * The progress of an upload on standard error: on a terminal a line that is redrawn in place, else
 * one line as each step begins.
 */
class Progress {
  public:
    /** @param size of the whole upload, in bytes. */
    explicit Progress(int32_t size);
    ~Progress() { endLine(); }

    /** @param bytes appended so far. */
    void appended(int32_t bytes);
    /** The transfer runs. To be called periodically. */
    void waiting();
    /** Period of these calls: only a terminal shows the time. Less than 0: once is enough. */
    std::chrono::milliseconds pause() const;

    /** Prints a message on a separate line. */
    void say(const std::string& what);

  private:
    using Clock = std::chrono::steady_clock;

    void draw(std::string line);
    void endLine();
    double secondsSince(Clock::time_point begin) const;

    const bool mIsTerminal;
    const int32_t mSize;
    const Clock::time_point mBegin = Clock::now();
    Clock::time_point mDrawn;
    Clock::time_point mWaitingSince;
    size_t mColumns = 0;  // that the line takes which can be redrawn
};

}  // namespace audioctl
