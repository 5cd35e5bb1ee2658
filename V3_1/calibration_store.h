#pragma once

#include <vector>

#include "V3_1/calibration_data.h"

/*
 * The two files of the calibration. Each operation opens its file, reads or writes it whole and
 * closes it; nothing is kept in memory. A failure is logged in the name of the operation. Nothing
 * is locked here: that is up to the caller.
 *
 * Table file, a sequence of items told apart by their first byte:
 *
 *     0x00          terminator, 4 bytes: the reader stops
 *     0x01          delay marker, 4 bytes: the delays of the records are valid
 *     other         record, 140 bytes: an aud_ac_data_Table
 *
 * Flag file: one byte, 0x01 while the calibration is on and 0x00 while it is off.
 */
namespace com::zavo::dtv::hardware::audio::V3_1::implementation::store {

/**
 * Replaces the table file. If it cannot be written, there is none afterwards.
 *
 * @param list any number of channels, all of which are written.
 * @return 0, or -1.
 */
int32_t setCalibratedData(const hidl_vec<calibratedData>& list);

/**
 * Reads the first ten items of the table file. Without a delay marker among them all delays of
 * `table` become 0.
 *
 * @param table the records are appended; not to be used after a failure.
 * @return 0, or -1.
 */
int32_t readCalibratedData(std::vector<aud_ac_data_Table>& table);

/** @return the byte of the flag file; 0 if a new file had to be made; -1 after a failure. */
int32_t getEnabledOnBoot();

/** @return 0, or -1. */
int32_t setEnabledData(bool enabled);

/** @return whether the flag file holds exactly 0x01. */
bool getEnabled();

/** The operation that failed to read a file, and its errno. */
struct Failure {
    const char* operation = nullptr; /**< null: nothing did */
    int error = 0;                   /**< errno after it */
};

/** Reads the table file as readCalibratedData() does, but logs nothing. */
Failure inspectTable(std::vector<aud_ac_data_Table>& table);

/** Reads the byte of the flag file, and logs nothing. @param flag not to be used on a failure. */
Failure inspectFlag(uint8_t* flag);

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation::store
