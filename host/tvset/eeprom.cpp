/* The EEPROM of the set: the bytes of `eeprom.bin`, looked at anew at every use. */

#include <android-base/stringprintf.h>

#include <fstream>

#include "host/tvset/operation.h"
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
    std::ifstream file(tvset::pathInSet("eeprom.bin"), std::ios::binary);
    file.seekg(address);
    file.read(reinterpret_cast<char*>(destination), size);
    return file ? READ : NO_SUCH_BYTES;
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
