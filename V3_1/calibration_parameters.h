#pragma once

#include <com/zavo/dtv/hardware/audio/3.0/types.h>

/* What a client needs to measure a room, out of the set's sound tuning. RPC thread only. */
namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using V3_0::calibrationParameters;

/**
 * Reads the parameters from the audio-quality data file, anew at every call. A failure is logged.
 *
 * @param params a zeroed value; left as it is after a failure.
 * @return whether they could be read.
 */
bool readCalibrationParameters(calibrationParameters* params);

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
