#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/item_record.h"

/*
 * The operations of the MediaTek digital-TV libraries that the services call. The libraries are
 * closed and ship without headers for vendor services, so their C interface is declared here.
 *
 * Unless a declaration says otherwise:
 *  - an operation answers 0 on success and an error code of the library otherwise; codes have no
 *    published list and are only logged or passed on;
 *  - an operation is called on the main thread while the services are built and on the RPC thread
 *    afterwards, never by two threads at a time;
 *  - pointers must not be null.
 */

extern "C" {

/* ---- connection ---- */

/** Sets up the control channel to the TV service process. The result has no meaning. */
int32_t IMtkPb_Ctrl_Init();

/**
 * Connects the process to the abstraction layer. May be called any number of times.
 *
 * @param callback  address of a callback record; the services have none and pass 0
 */
int32_t MTAL_InitExCb(uintptr_t callback);

/** Sets up the driver interface; to be called before each MTAL_Init. The result has no meaning. */
int32_t DRV_Init();

/** Connects the process to the abstraction layer's drivers. May be called any number of times. */
int32_t MTAL_Init();

/* ---- TV configuration store ---- */

/**
 * Reads a configuration value.
 *
 * @param handle  -1: the store of this set
 * @param key     NUL-terminated ASCII name
 * @param value   receives the value on success and is left alone otherwise
 */
int32_t a_mtktvapi_config_get_value(int32_t handle, const char* key, int32_t* value);

/**
 * Writes a configuration value, also when it equals the stored one.
 *
 * @param handle  -1: the store of this set
 * @param key     NUL-terminated ASCII name
 * @param mode    the store's own word: 4 for the HDMI capability keys, 7 for all others
 */
int32_t a_mtktvapi_config_set_value(int32_t handle, const char* key, int32_t value, uint32_t mode);

/* ---- EEPROM ---- */

/**
 * Properties of the EEPROM part. The layout is private to the library: a record of a few words. It
 * gets far more room than that, since the library fills it without being given a size.
 */
struct MTEEPROM_Property {
    alignas(8) uint8_t opaque[4096];
};

/** Fills the property record; to be called before MTEEPROM_Init. The result has no meaning. */
int32_t MTEEPROM_GetProperty(MTEEPROM_Property* property);

/** Opens the EEPROM for reading; to be called before the first MTEEPROM_Read. */
int32_t MTEEPROM_Init();

/**
 * Reads bytes of the EEPROM.
 *
 * @param address      of the first byte, counted from the start of the EEPROM
 * @param destination  room for `size` bytes; undefined after a failure
 */
int32_t MTEEPROM_Read(uint32_t address, uint8_t* destination, uint32_t size);

/* ---- customisation items ---- */

/**
 * Queries an item: the record names its identifier, the library fills in the data.
 *
 * @param query  MTDRVCUST_GET_LAUNCH_STATE
 * @param size   size of the record in bytes
 */
int32_t MTDRVCUST_dcustom_cust_spec_get(uint32_t query, MTDRVCUST_ItemRecord* record,
                                        uint32_t* size);

/**
 * Passes an item to the back-end controller.
 *
 * @param command   MTDRVCUST_SET_ITEM
 * @param size      size of the record in bytes
 * @param reserved  0
 */
int32_t MTDRVCUST_dcustom_cust_spec_set(uint32_t command, const MTDRVCUST_ItemRecord* record,
                                        uint32_t size, uint32_t reserved);

/* ---- audio decoder ---- */

/** Sets the 32 band gains of the main decoder's equaliser, in dB, lowest band first. */
int32_t MTAUDDEC_Set32EqualizerBandConfig(const float* gains);

/** Sets the volume offset of the main decoder, in steps of 0.1 dB, -128 to 127. */
int32_t MTAUDDEC_SetAcVolumeOffset(int32_t offset);

/* ---- audio post-processor ---- */

/** A query of the post-processor. The address takes one or two words, the record always 16. */
struct MTAUDPOST_Query {
    uint32_t parameter; /**< 66: is the post-processor ready? */
    uint32_t count;     /**< 1 */
    uint32_t* answer;   /**< receives the answer; 0 is "not ready" for parameter 66 */
    uint8_t unused[64 - 2 * sizeof(uint32_t) - sizeof(uint32_t*)];
};
static_assert(sizeof(MTAUDPOST_Query) == 64, "passed by value: the size is part of the interface");
static_assert(offsetof(MTAUDPOST_Query, count) == 4);
static_assert(offsetof(MTAUDPOST_Query, answer) == 8, "the address is word 2");

/** Queries the post-processor; on success the query's answer word has been filled in. */
int32_t MTAUDPOST_GetParameters(MTAUDPOST_Query query);

}  // extern "C"
