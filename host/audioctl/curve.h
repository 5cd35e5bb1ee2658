#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace audioctl {

/** Plain output is ASCII; rich output is Unicode with terminal attributes. */
enum class Look { PLAIN, RICH };

constexpr size_t kCurveBands = 31;
/** Columns that each line of a curve takes: the bands, the axis and its label. */
constexpr size_t kCurveWidth = kCurveBands + 4;

/**
 * Draws the gains of an equaliser as bars, one column a band, on seven lines that are labelled
 * +9 to -9 dB. All lines are equally wide, and hold neither controls nor terminal attributes.
 *
 * @param gains in dB, lowest band first; the first 31 are drawn. One beyond the labels ends in an
 *     arrow, a NaN is a question mark on the zero line.
 */
std::vector<std::string> drawCurve(const std::vector<float>& gains, Look look);

}  // namespace audioctl
