#pragma once

#include <cstdint>

/*
 * The TV configuration store, where the services keep their settings. Called on the main thread
 * while a service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::platform {

/** A value of the TV configuration store. */
struct ConfigKey {
    const char* name;
    /** Mode word that the store requires to write this key; 0 if the key is only read. */
    uint32_t mode;
};

/**
 * Reads a value from the store; nothing is cached.
 *
 * @param value -1 unless the status is 0; not to be used then.
 * @return 0, or the store's error code.
 */
int32_t readConfig(const ConfigKey& key, int32_t* value);

/** Writes a value to the store, even if it is stored already. @return 0, or the store's error code.
 */
int32_t writeConfig(const ConfigKey& key, int32_t value);

}  // namespace com::zavo::dtv::hardware::audio::platform
