#pragma once

#include <string>

/*
 * The driver of the back-end controller, see platform/bectrl.h. It copies what it is to transfer
 * into `bectrl/`, and then does what `bectrl/reaction` says, lines of
 *
 *     STATE RESULT DELAY_MS
 *
 * decimal or hexadecimal: each is written to the completion file of the kind, after its delay,
 * which counts from the line before, the first from the request. A delay of 0 has passed before
 * the request returns. A cancel drops what is left of that, as does the next transfer of the kind.
 * The file is read at every transfer; a line that does not read so is named on standard error.
 */
namespace tvset {

/** The file that stands in for the device when it is opened. */
std::string pathOfDriver();

/** Whether a descriptor is one of the device. Called on any thread. */
bool isDriver(int fd);

/**
 * Performs a request of the device. Called on any thread.
 *
 * @param fd one of the device, open for reading and writing.
 * @return 0, or -1 with errno: ENOTTY for an unknown request, EBADF for a descriptor that is not
 *         open for both, EFAULT for bad memory, EINVAL for a reserved word that is not 0, or why
 *         the copy cannot be written.
 */
int performRequest(int fd, unsigned long request, const void* argument);

}  // namespace tvset
