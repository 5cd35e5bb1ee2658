#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <com/zavo/dtv/hardware/audio/3.0/types.h>

/* A calibration as the service keeps it, and how it becomes and comes from that of a client. */
namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::hidl_vec;
using V3_0::bandEqualizer;
using V3_0::calibratedData;

constexpr size_t kBandCount = 31;

/** One loudspeaker channel, in memory and in the table file. Little endian, without padding. */
struct aud_ac_data_Table {
    char channel[4];        /**< first bytes of the name, filled up with zeros */
    char reserved[4];       /**< zeros; they end a name of four bytes */
    float volume;           /**< dB */
    float delay;            /**< ms */
    float gain[kBandCount]; /**< dB, lowest band first */
};
static_assert(sizeof(aud_ac_data_Table) == 140);
static_assert(offsetof(aud_ac_data_Table, reserved) == 4);
static_assert(offsetof(aud_ac_data_Table, volume) == 8);
static_assert(offsetof(aud_ac_data_Table, delay) == 12);
static_assert(offsetof(aud_ac_data_Table, gain) == 16);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "records are stored as they are");

/** @return how many records of a table are looked at: the first nine. */
size_t recordsInUse(const std::vector<aud_ac_data_Table>& table);

/** @param name at most 4 bytes. */
bool isNamed(const aud_ac_data_Table& record, const char* name);

/** @return the first of the records in use that has the name, or null. */
const aud_ac_data_Table* findRecord(const std::vector<aud_ac_data_Table>& table, const char* name);

/**
 * Whether volumes and gains are from -9 dB to 9 dB and delays from 0 ms to 10 ms. The first value
 * that is not is logged. A NaN passes, and so does any number of bands.
 *
 * @return 0, or -1.
 */
int32_t checkCalibratedData(const hidl_vec<calibratedData>& list);

/** Bands beyond the 31st are dropped. */
aud_ac_data_Table toRecord(const calibratedData& data);

/** The records in use, as a client gets them. */
hidl_vec<calibratedData> toCalibratedData(const std::vector<aud_ac_data_Table>& table);

/** A band as the service tells it: only the gain, in dB, carries information. */
bandEqualizer toBand(float gain);

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
