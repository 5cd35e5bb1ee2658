#pragma once

#include <com/zavo/dtv/hardware/audio/2.0/types.h>
#include <com/zavo/dtv/hardware/audio/3.0/types.h>
#include <com/zavo/dtv/hardware/audio/3.1/types.h>
#include <com/zavo/dtv/hardware/audio/4.0/types.h>
#include <com/zavo/dtv/hardware/audio/5.0/types.h>

#include "host/audioctl/json.h"

/* The enumerations and structures of the audio interfaces. A field stands in one place only. */
namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;

template <typename Struct, typename T>
constexpr Field<Struct, T> field(const char* name, T Struct::*member) {
    return {name, member};
}

#define FIELD(name) field(#name, &Struct::name)

template <>
struct Definition<V2_0::SurroundType> {
    static constexpr auto kName = "SurroundType";
};

template <>
struct Definition<V3_1::TvPositionType> {
    static constexpr auto kName = "TvPositionType";
};

template <>
struct Definition<V5_0::ParamType> {
    static constexpr auto kName = "ParamType";
};

template <>
struct Definition<V3_0::bandEqualizer> {
    using Struct = V3_0::bandEqualizer;
    static constexpr auto kName = "bandEqualizer";
    static constexpr auto kFields =
            std::make_tuple(FIELD(type), FIELD(value1), FIELD(value2), FIELD(gain));
};

template <>
struct Definition<V3_0::calibratedData> {
    using Struct = V3_0::calibratedData;
    static constexpr auto kName = "calibratedData";
    static constexpr auto kFields =
            std::make_tuple(FIELD(channel), FIELD(bands), FIELD(volume), FIELD(delay));
};

template <>
struct Definition<V3_0::channelFrequencyRange> {
    using Struct = V3_0::channelFrequencyRange;
    static constexpr auto kName = "channelFrequencyRange";
    static constexpr auto kFields =
            std::make_tuple(FIELD(channel), FIELD(minFrequency), FIELD(maxFrequency));
};

template <>
struct Definition<V3_0::channelCurve> {
    using Struct = V3_0::channelCurve;
    static constexpr auto kName = "channelCurve";
    static constexpr auto kFields = std::make_tuple(FIELD(channel), FIELD(enabled), FIELD(bands));
};

template <>
struct Definition<V3_0::calibrationParameters> {
    using Struct = V3_0::calibrationParameters;
    static constexpr auto kName = "calibrationParameters";
    static constexpr auto kFields = std::make_tuple(
            FIELD(param1), FIELD(param2), FIELD(param3), FIELD(param4), FIELD(param5),
            FIELD(param6), FIELD(param7), FIELD(param8), FIELD(param9), FIELD(param10),
            FIELD(param11), FIELD(param12), FIELD(param13), FIELD(param14), FIELD(frequencyRanges1),
            FIELD(frequencyRanges2), FIELD(bands), FIELD(channelCurves));
};

template <>
struct Definition<V4_0::SampleLatency> {
    using Struct = V4_0::SampleLatency;
    static constexpr auto kName = "SampleLatency";
    static constexpr auto kFields = std::make_tuple(FIELD(samplingRate), FIELD(samples));
};

#undef FIELD

}  // namespace audioctl
