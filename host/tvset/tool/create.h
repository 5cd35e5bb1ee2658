#pragma once

#include <cstdint>
#include <string>

namespace tvset {

/** The kind of set to create. */
struct SetOptions {
    bool hasBackEnd = false; /**< the model byte of the EEPROM: a back-end controller is there */
    uint8_t segment = 0x53;  /**< the segment byte of the EEPROM */
    uint8_t centerMode = 1;  /**< the centre-speaker-mode byte of the EEPROM */
    bool isReady = true;     /**< the middleware's ready marker is there */
    bool hasHal = false;     /**< the device manifest declares the primary audio HAL */
};

/**
 * Creates a set that is ready for use:
 *
 *     fs/data/vendor/tmp/              ready marker, audio-quality data with plausible tuning
 *     fs/data/vendor/zavo/hidlaudio/   empty, for the services' files
 *     fs/proc/driver/zavo_bectrl/      completion files of a controller at rest, with a back end
 *     config/                          every key that the services use
 *     eeprom.bin
 *     bectrl/                          with a back end a driver that succeeds after 20 ms
 *     audio/                           a post-processor that is ready
 *     faults, journal, lock            empty
 *     declared                         what the device manifest declares besides our services
 *     run/                             for sockets
 *
 * The directory appears complete or not at all. An empty directory may be there already. Everything
 * is accessible to this user alone. The umask of the process is changed meanwhile: call it while no
 * other thread creates files.
 *
 * @throws std::runtime_error  with the reason, if something else is there already or the set cannot
 *                             be created
 */
void createSet(const std::string& root, const SetOptions& options);

}  // namespace tvset
