#pragma once

#include "host/audioctl/curve.h"

namespace audioctl {

/**
 * Prints the state of each service of the set on standard output, in at most 80 columns.
 * A service that is not registered is shown as such.
 *
 * @return whether there is any service. Throws ServiceError if a connection is lost; what was read
 *     before is printed then.
 */
bool printStatus(Look look);

}  // namespace audioctl
