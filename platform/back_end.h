#pragma once

#include <cstdint>
#include <optional>

#include "platform/debug_text.h"

/*
 * What the services ask before they drive the back-end controller (BeCtrl) that some sets have. All
 * of it reaches the middleware anew at every call; nothing is kept here. Called on the main thread
 * while a service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::platform {

/** How one service asks, and what it logs of the answers. */
struct BackEndVariant {
    const char* tag;
    /** Written before the line that says that the middleware is ready. */
    const char* readyPrefix;
    /** Answer of checkDtvSvcBoot() when the middleware does not get ready. */
    int32_t notReady;
    /** Answer of isBeModel() when the EEPROM cannot be reached. */
    bool isBeModelByDefault;
    /** How the lines on a failure of the EEPROM end. */
    const char* eepromFailed;
    /** The line on a failure of the abstraction layer, up to its code. */
    const char* mtalFailed;
};

/** @return 0 once the middleware is ready; the variant's `notReady` after 20 seconds of waiting. */
int32_t checkDtvSvcBoot(const BackEndVariant& variant);

/** What was found of the controller when a service was built. For debug() only. */
struct BackEndStart {
    bool isReady = false;              /**< the middleware, to checkDtvSvcBoot() */
    bool isModelRead = false;          /**< the EEPROM, by isBeModel() */
    std::optional<int32_t> launched{}; /**< what checkBeCtrlBoot() answered, if it was asked */
};

void describeBackEnd(const BackEndStart& start, DebugText* text);

/**
 * @param isRead set if the EEPROM could be read.
 * @return whether the set has a back-end controller, as its EEPROM says.
 */
bool isBeModel(const BackEndVariant& variant, bool* isRead);

/**
 * @return 0 once the controller has launched; 2 after 15 seconds of waiting; 1 if the middleware
 *     does not answer.
 */
int32_t checkBeCtrlBoot(const BackEndVariant& variant);

/**
 * Connects to the abstraction layer, without which no item reaches the controller.
 *
 * @param caller name of the function in the line on a failure.
 * @return 0, or the abstraction layer's error code.
 */
int32_t connectToBeCtrl(const BackEndVariant& variant, const char* caller);

}  // namespace com::zavo::dtv::hardware::audio::platform
