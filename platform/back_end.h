#pragma once

#include <cstdint>
#include <optional>

#include "platform/debug_text.h"

/*
 * What the services query before they drive the back-end controller (BeCtrl) that some sets have.
 * Every call queries the middleware again; nothing is cached. Called on the main thread
 * while a service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::platform {

/** The return values and log texts that differ from service to service. */
struct BackEndVariant {
    const char* tag;
    /** Written before the line that says that the middleware is ready. */
    const char* readyPrefix;
    /** Returned by checkDtvSvcBoot() if the middleware does not become ready. */
    int32_t notReady;
    /** Returned by isBeModel() if the EEPROM cannot be read. */
    bool isBeModelByDefault;
    /** End of the log lines about an EEPROM failure. */
    const char* eepromFailed;
    /** Log line for a failure of the abstraction layer, up to the error code. */
    const char* mtalFailed;
};

/** @return 0 once the middleware is ready; the variant's `notReady` after 20 seconds of waiting. */
int32_t checkDtvSvcBoot(const BackEndVariant& variant);

/** State of the controller when a service was built. For debug() only. */
struct BackEndStart {
    bool isReady = false;              /**< the middleware, to checkDtvSvcBoot() */
    bool isModelRead = false;          /**< the EEPROM, by isBeModel() */
    std::optional<int32_t> launched{}; /**< what checkBeCtrlBoot() answered, if it was asked */
};

void describeBackEnd(const BackEndStart& start, DebugText* text);

/**
 * @param isRead set if the EEPROM could be read.
 * @return whether the set has a back-end controller, according to its EEPROM.
 */
bool isBeModel(const BackEndVariant& variant, bool* isRead);

/**
 * @return 0 once the controller has launched; 2 after 15 seconds of waiting; 1 if the middleware
 *     does not answer.
 */
int32_t checkBeCtrlBoot(const BackEndVariant& variant);

/**
 * Connects to the abstraction layer, which passes items to the controller.
 *
 * @param caller function name in the log line for a failure.
 * @return 0, or the abstraction layer's error code.
 */
int32_t connectToBeCtrl(const BackEndVariant& variant, const char* caller);

}  // namespace com::zavo::dtv::hardware::audio::platform
