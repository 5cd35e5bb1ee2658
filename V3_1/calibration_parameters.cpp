#include "V3_1/calibration_parameters.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "V3_1/calibration_data.h"
#include "platform/quality_data.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using V3_0::channelCurve;
using V3_0::channelFrequencyRange;

namespace {

/** Scalars in steps of 0.1 where the parameter is a float; one byte a channel group in a range. */
struct AcParamBlock {
    int32_t param1, param2, param3, param4, param5;
    uint32_t param6, param7, param8;
    int32_t param10, param9;  // in this order
    int32_t param11, param12;
    uint32_t param13;
    int32_t param14;
    uint32_t minFrequency1, maxFrequency1;  // steps of 10 Hz and 100 Hz
    uint32_t minFrequency2, maxFrequency2;
    uint32_t band[kBandCount];
};
static_assert(sizeof(AcParamBlock) == 196);
static_assert(offsetof(AcParamBlock, param6) == 20);
static_assert(offsetof(AcParamBlock, param9) == 36);
static_assert(offsetof(AcParamBlock, param13) == 48);
static_assert(offsetof(AcParamBlock, minFrequency1) == 56);
static_assert(offsetof(AcParamBlock, band) == 72);

struct AcCurveBlock {
    int32_t flag;  // 1: in use
    int32_t band[kBandCount];
};
static_assert(sizeof(AcCurveBlock) == 128);

constexpr const char* rangeChannelNames[] = {"Front", "Center", "Other"};
constexpr const char* curveChannelNames[] = {"Front", "Center", "Surround", "SurroundBack",
                                             "FrontHeight"};
constexpr size_t kCurveCount = std::size(curveChannelNames);

// What was last read.
AcParamBlock sAcParamBlock;
AcCurveBlock sAcCurveBlocks[kCurveCount];

constexpr std::initializer_list<platform::QualityRegion> aqdaRegionTable{
        {0x4BD4, sizeof(AcParamBlock), &sAcParamBlock},
        {0x5744, sizeof(AcCurveBlock), &sAcCurveBlocks[0]},
        {0x57C4, sizeof(AcCurveBlock), &sAcCurveBlocks[1]},
        {0x5844, sizeof(AcCurveBlock), &sAcCurveBlocks[2]},
        {0x58C4, sizeof(AcCurveBlock), &sAcCurveBlocks[3]},
        {0x5944, sizeof(AcCurveBlock), &sAcCurveBlocks[4]},
};

template <typename Integer>
float tenths(Integer value) {
    return static_cast<float>(value * 0.1);
}

template <typename Integer>
hidl_vec<bandEqualizer> toBands(const Integer (&values)[kBandCount]) {
    hidl_vec<bandEqualizer> bands;
    bands.resize(kBandCount);
    std::transform(std::begin(values), std::end(values), bands.begin(),
                   [](Integer value) { return toBand(tenths(value)); });
    return bands;
}

/** The first group is in the highest byte. */
hidl_vec<channelFrequencyRange> toRanges(uint32_t minFrequencies, uint32_t maxFrequencies) {
    hidl_vec<channelFrequencyRange> ranges;
    ranges.resize(std::size(rangeChannelNames));
    for (size_t i = 0; i < ranges.size(); i++) {
        const size_t shift = 24 - 8 * i;
        ranges[i] = {rangeChannelNames[i],
                     static_cast<float>((minFrequencies >> shift & 0xFF) * 10),
                     static_cast<float>((maxFrequencies >> shift & 0xFF) * 100)};
    }
    return ranges;
}

hidl_vec<channelCurve> toCurves(const AcCurveBlock (&blocks)[kCurveCount]) {
    hidl_vec<channelCurve> curves;
    curves.resize(kCurveCount);
    for (size_t i = 0; i < kCurveCount; i++) {
        curves[i] = {curveChannelNames[i], blocks[i].flag == 1, toBands(blocks[i].band)};
    }
    return curves;
}

void shapingCalibrationParameters(calibrationParameters* out) {
    const AcParamBlock& block = sAcParamBlock;
    out->param1 = block.param1;
    out->param2 = block.param2;
    out->param3 = block.param3;
    out->param4 = block.param4;
    out->param5 = block.param5;
    out->param6 = tenths(block.param6);
    out->param7 = tenths(block.param7);
    out->param8 = tenths(block.param8);
    out->param9 = tenths(block.param9);
    out->param10 = tenths(block.param10);
    out->param11 = block.param11;
    out->param12 = block.param12;
    out->param13 = tenths(block.param13);
    out->param14 = tenths(block.param14);
    out->frequencyRanges1 = toRanges(block.minFrequency1, block.maxFrequency1);
    out->frequencyRanges2 = toRanges(block.minFrequency2, block.maxFrequency2);
    out->bands = toBands(block.band);
    out->channelCurves = toCurves(sAcCurveBlocks);
}

}  // namespace

bool readCalibrationParameters(calibrationParameters* params) {
    if (!platform::readQualityData("AudioAC", "getCalibrationParameters", aqdaRegionTable)) {
        return false;
    }
    shapingCalibrationParameters(params);
    return true;
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
