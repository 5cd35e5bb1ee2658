#pragma once

#include <cstddef>
#include <cstdint>

/* The items in which the middleware exchanges settings and states with the back-end controller. */

extern "C" {

/**
 * One item, little endian. The services set unused bytes to zero.
 */
struct MTDRVCUST_ItemRecord {
    uint32_t identifier;
    uint8_t data[256];
    uint8_t dataLength; /**< number of data bytes that have a meaning */
    uint8_t unused[3];
};
static_assert(sizeof(MTDRVCUST_ItemRecord) == 264);
static_assert(offsetof(MTDRVCUST_ItemRecord, data) == 4);
static_assert(offsetof(MTDRVCUST_ItemRecord, dataLength) == 260);

/** The items of the services. */
enum : uint32_t {
    MTDRVCUST_ITEM_LAUNCH_STATE = 21, /**< 1 data byte: 1 once the controller has launched */
    MTDRVCUST_ITEM_CALIBRATION = 28,  /**< 36 data bytes: equaliser, volume, delays */
    MTDRVCUST_ITEM_VIRTUALIZER = 32,  /**< 1 data byte: 1 on, 0 off */
    MTDRVCUST_ITEM_UPMIX = 33,        /**< 1 data byte: 1 on, 0 off */
};

/** Commands and queries for items. */
enum : uint32_t {
    MTDRVCUST_SET_ITEM = 0x20185,
    MTDRVCUST_GET_LAUNCH_STATE = 0x20186,
};

}  // extern "C"
