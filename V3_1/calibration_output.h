#pragma once

#include <vector>

#include "V3_1/calibration_data.h"
#include "platform/debug_text.h"

/*
 * How a calibration reaches the sound processing of the set: through the audio driver (main
 * decoder) on a set without a back-end controller, else through the controller. Called on the
 * main thread while the service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

/** The output path of a set that does not tell which it has. */
constexpr uint8_t kDefaultModel = 1;

/** The output path: 0 audio driver, 1 back-end controller. Set once, while the service is built. */
extern uint8_t u4BE_model;

/**
 * Sends a calibration over the output path that u4BE_model selects.
 *
 * They return 0; -1 if the middleware is not ready within 20 seconds; or the error code of the
 * middleware. After a failure the sound processing may have a part of what
 * was sent. On the path of the audio driver the post-processor may take another 10 seconds to get
 * ready.
 */
extern int32_t (*const exeEnableCalibrate[2])(const std::vector<aud_ac_data_Table>& table);

/** The same for what is in use while the calibration is off. */
extern int32_t (*const exeDisableCalibrate[2])();

/**
 * Describes what an output path would send. Sends nothing.
 *
 * @param table null: what is sent while the calibration is off.
 */
void describeOutput(uint8_t way, const std::vector<aud_ac_data_Table>* table,
                    platform::DebugText* text);

/** The readiness checks of the back-end controller as the calibration makes them. */
int32_t checkDtvSvcBoot();
bool isBeModel(bool* isRead);
int32_t checkBeCtrlBoot();

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
