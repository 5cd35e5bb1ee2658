#include "host/audioctl/curve.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace audioctl {

namespace {

constexpr int kStepsOfRow = 3;  // of 1 dB, each with a glyph of its own
constexpr int kRows = 3;        // above the zero line, and below
constexpr float kMost = kRows * kStepsOfRow;

const char* const kLabels[] = {"+9 ", "+6 ", "+3 ", " 0 ", "-3 ", "-6 ", "-9 "};

/** The part of a curve on one side of the zero line. */
struct Side {
    const char* bar[kStepsOfRow + 1];
    const char* beyond;
};

const struct Glyphs {
    const char* axis;
    const char* zero;
    Side above;
    Side below;
} kPlain{"|", "-", {{" ", ".", ":", "#"}, "^"}, {{" ", "'", ":", "#"}, "v"}},
        kRich{"┤", "─", {{" ", "▁", "▄", "█"}, "▲"}, {{" ", "▔", "▀", "█"}, "▼"}};

/** @param row counted from the zero line, which is row 0, upwards. */
const char* cell(float gain, int row, const Glyphs& glyphs) {
    if (row == 0) return std::isnan(gain) ? "?" : glyphs.zero;
    if (std::isnan(gain)) return " ";
    const Side& side = row > 0 ? glyphs.above : glyphs.below;
    const float length = row > 0 ? gain : -gain;
    const long distance = std::abs(row);
    if (distance == kRows && length > kMost) return side.beyond;
    const long steps = std::lround(std::clamp(length, 0.0f, kMost));
    return side.bar[std::clamp<long>(steps - (distance - 1) * kStepsOfRow, 0, kStepsOfRow)];
}

}  // namespace

std::vector<std::string> drawCurve(const std::vector<float>& gains, Look look) {
    const Glyphs& glyphs = look == Look::RICH ? kRich : kPlain;
    const size_t drawn = std::min(gains.size(), kCurveBands);
    std::vector<std::string> lines;
    for (int row = kRows; row >= -kRows; row--) {
        std::string line = std::string(kLabels[kRows - row]) + glyphs.axis;
        for (size_t band = 0; band < drawn; band++) line += cell(gains[band], row, glyphs);
        lines.push_back(line + std::string(kCurveBands - drawn, ' '));
    }
    return lines;
}

}  // namespace audioctl
