#pragma once

#include <string>

/*
 * The driver of the back-end controller, see platform/bectrl.h. It copies the parameters of a
 * transfer into `bectrl/`, and then reacts as `bectrl/reaction` says, lines of
 *
 *     STATE RESULT DELAY_MS
 *
 * decimal or hexadecimal. State and result are written to the completion file of the parameters'
 * kind, after the delay, which counts from the line before, the first from the request. A delay of
 * 0 ends before the request returns. A cancel drops the remaining lines, as does the next transfer
 * of the kind. The file is read at every transfer; a malformed line is skipped, with a message on
 * standard error.
 */
namespace tvset {

/** The file that stands in for the device when it is opened. */
std::string pathOfDriver();

/** Whether a descriptor refers to the device. Called on any thread. */
bool isDriver(int fd);

/**
 * Performs a request of the device. Called on any thread.
 *
 * @param fd refers to the device, opened for reading and writing.
 * @return 0, or -1 with errno: ENOTTY for an unknown request, EBADF for a descriptor that is not
 *         open for both, EFAULT for bad memory, EINVAL for a reserved word that is not 0, EAGAIN if
 *         there can be no thread for the delays, or why the copy cannot be written.
 */
int performRequest(int fd, unsigned long request, const void* argument);

}  // namespace tvset
