#pragma once

namespace tvset {

/**
 * Serves the set's primary audio HAL on the calling thread until a signal ends the process. Prints
 * one line on standard output once it is registered.
 *
 * Operations: openPrimaryDevice and setParameters, whose results are values of the HAL's Result. A
 * fault of openPrimaryDevice leaves the caller without a device.
 *
 * @return exit status 1, with a message on standard error, if the set has one already.
 */
int servePrimaryHal();

}  // namespace tvset
