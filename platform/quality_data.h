#pragma once

#include <cstdint>
#include <initializer_list>

/* The audio-quality data file: the sound tuning of the set. */
namespace com::zavo::dtv::hardware::audio::platform {

/** A piece of the file, and where it goes. */
struct QualityRegion {
    uint32_t offset;
    uint16_t size;
    void* destination;
};

/**
 * Reads pieces of the file one after the other. A failure ends the reading and is logged;
 * destinations from the failed one on are not to be used then.
 *
 * @param tag log tag; null for none.
 * @param caller name in the line on a failure.
 * @return whether all were read.
 */
bool readQualityData(const char* tag, const char* caller,
                     std::initializer_list<QualityRegion> regions);

}  // namespace com::zavo::dtv::hardware::audio::platform
