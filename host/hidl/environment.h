#pragma once

#include <string>

/* What the runtime needs to know of its machine. Implemented by the virtual TV set. */
namespace android::hardware::environment {

/** The directory of the services' sockets; its parent exists. Any thread. */
std::string runDirectory();

/** Whether the device manifest declares a service, "PACKAGE@VERSION::INTERFACE/INSTANCE". Any
 *  thread. */
bool isDeclared(const std::string& name);

}  // namespace android::hardware::environment
