#pragma once

#include <string>

#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>

namespace audioctl {

/** The content of a picture of a room calibration. */
struct CalibrationPicture {
    bool isOn = false;
    android::hardware::hidl_vec<com::zavo::dtv::hardware::audio::V3_0::calibratedData> channels;
    /** Those that are not enabled are not drawn. */
    android::hardware::hidl_vec<com::zavo::dtv::hardware::audio::V3_0::channelCurve> defaults;
};

/**
 * Draws a room calibration as an SVG document: a diagram for each channel, with the gains of its
 * first 31 bands as a polyline, on a background of its own. A gain beyond the axis, -9 dB to 9 dB,
 * is drawn at its end with an arrow, a NaN as a question mark.
 */
std::string draw(const CalibrationPicture& picture);

/**
 * Draws the service's calibration into a file. An existing file is replaced once all is written.
 * Throws UsageError if the file cannot be written, and ServiceError if the connection is lost.
 */
void saveCalibrationSvg(com::zavo::dtv::hardware::audio::V3_1::IAcousticCalibration& service,
                        const std::string& file);

}  // namespace audioctl
