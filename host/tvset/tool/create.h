#pragma once

#include <cstdint>
#include <string>

namespace tvset {

/** What kind of set is made. */
struct SetOptions {
    bool hasBackEnd = false; /**< the model byte of the EEPROM: a back-end controller is there */
    uint8_t segment = 0x53;  /**< the segment byte of the EEPROM */
    uint8_t centerMode = 1;  /**< the centre-speaker-mode byte of the EEPROM */
    bool isReady = true;     /**< the middleware's ready marker is there */
    bool hasHal = false;     /**< the device manifest declares the primary audio HAL */
};

/**
 * Makes a set that works at once:
 *
 *     fs/data/vendor/tmp/              ready marker, audio-quality data with plausible tuning
 *     fs/data/vendor/zavo/hidlaudio/   empty, for the services' files
 *     fs/proc/driver/zavo_bectrl/      completion files of a controller at rest, with a back end
 *     config/                          every key the services know
 *     eeprom.bin
 *     bectrl/                          with a back end a driver that succeeds after 20 ms
 *     audio/                           a post-processor that is ready
 *     faults, journal, lock            empty
 *     declared                         what the device manifest declares beside our services
 *     run/                             for sockets
 *
 * The directory appears whole or not at all. An empty directory may be there already. All is open
 * to this user alone, whatever the umask, which is another meanwhile: to be called while no other
 * thread makes files.
 *
 * @throws std::runtime_error  naming what is wrong, if something else is there already or the set
 *                             cannot be made
 */
void createSet(const std::string& root, const SetOptions& options);

}  // namespace tvset
