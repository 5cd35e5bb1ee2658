#include "platform/eeprom.h"

#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::platform {

bool openEeprom() {
    MTEEPROM_Property property{};
    MTEEPROM_GetProperty(&property);
    return MTEEPROM_Init() == 0;
}

}  // namespace com::zavo::dtv::hardware::audio::platform
