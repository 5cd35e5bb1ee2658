#pragma once

/* Access to the set's EEPROM. Called while a service is built and on the RPC thread. */
namespace com::zavo::dtv::hardware::audio::platform {

/** To be called before the first MTEEPROM_Read(). @return whether the EEPROM can be read. */
bool openEeprom();

}  // namespace com::zavo::dtv::hardware::audio::platform
