/* The EEPROM of the set: the bytes of `eeprom.bin`, which is read at every access. */

#include <fcntl.h>
#include <unistd.h>

#include <android-base/stringprintf.h>

#include "host/tvset/devices/operation.h"
#include "host/tvset/files.h"
#include "host/tvset/set.h"
#include "platform/middleware.h"

using android::base::StringPrintf;
using tvset::perform;

namespace {

enum EepromStatus : int32_t {
    READ = 0,
    NO_SUCH_BYTES = 1,  // past the end, or there is no EEPROM
};

EepromStatus readEeprom(uint32_t address, uint8_t* destination, uint32_t size) {
    const auto file = tvset::openFile(tvset::pathInSet("eeprom.bin"), O_RDONLY);
    return pread(file, destination, size, address) == static_cast<ssize_t>(size) ? READ
                                                                                 : NO_SUCH_BYTES;
}

}  // namespace

int32_t MTEEPROM_GetProperty(MTEEPROM_Property* property) {
    return perform("MTEEPROM_GetProperty", "", [=] {
        *property = {};
        return 0;
    });
}

int32_t MTEEPROM_Init() {
    return perform("MTEEPROM_Init", "", [] { return 0; });
}

int32_t MTEEPROM_Read(uint32_t address, uint8_t* destination, uint32_t size) {
    return perform("MTEEPROM_Read", StringPrintf("0x%X, %u", address, size),
                   [=] { return readEeprom(address, destination, size); });
}
