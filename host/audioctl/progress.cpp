#include "host/audioctl/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace audioctl {

namespace {

constexpr size_t kBarWidth = 20;

/** Columns that a line may take: one that reaches the last would not stay in place. */
size_t usableColumns() {
    winsize window{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 1;
    return (isKnown ? window.ws_col : 80) - 1;
}

}  // namespace

Progress::Progress(int32_t size) : mIsTerminal(isatty(STDERR_FILENO) != 0), mSize(size) {
    if (!mIsTerminal) say("appending " + std::to_string(size) + " bytes");
}

void Progress::appended(int32_t bytes) {
    constexpr std::chrono::milliseconds kBetweenDrawings{100};
    const bool isLast = bytes == mSize;
    if (!mIsTerminal || (!isLast && Clock::now() < mDrawn + kBetweenDrawings)) return;
    mDrawn = Clock::now();

    const double part = isLast ? 1 : static_cast<double>(bytes) / mSize;
    std::string bar(static_cast<size_t>(part * kBarWidth), '#');
    bar.resize(kBarWidth, '-');
    char line[100];
    snprintf(line, sizeof(line), "[%s] %3d%%  %d of %d bytes  %.1f MB/s", bar.c_str(),
             static_cast<int>(part * 100), bytes, mSize, bytes / 1e6 / secondsSince(mBegin));
    draw(line);
    if (isLast) endLine();
}

void Progress::waiting() {
    const bool isFirst = mWaitingSince == Clock::time_point{};
    if (isFirst) mWaitingSince = Clock::now();
    constexpr char kText[] = "waiting for the controller";
    if (mIsTerminal) {
        const auto seconds = static_cast<long>(secondsSince(mWaitingSince));
        draw(kText + (", " + std::to_string(seconds)) + " s");
    } else if (isFirst) {
        say(kText);
    }
}

std::chrono::milliseconds Progress::pause() const {
    return std::chrono::milliseconds(mIsTerminal ? 1000 : -1);
}

void Progress::say(const std::string& what) {
    endLine();
    fprintf(stderr, "audioctl: %s\n", what.c_str());
}

void Progress::draw(std::string line) {
    const size_t length = std::min(line.size(), usableColumns());
    line.resize(length);
    // Blanks erase the rest of a longer line, on any terminal.
    fprintf(stderr, "\r%-*s", static_cast<int>(std::min(mColumns, usableColumns())), line.c_str());
    mColumns = length;
}

void Progress::endLine() {
    if (mColumns > 0) fputc('\n', stderr);
    mColumns = 0;
}

double Progress::secondsSince(Clock::time_point begin) const {
    // Even what took no time has a rate.
    return std::max(std::chrono::duration<double>(Clock::now() - begin).count(), 1e-6);
}

}  // namespace audioctl
