#include "host/hidl/environment.h"

#include <fstream>

#include "host/tvset/set.h"

/* The virtual TV set as the machine that the HIDL runtime runs on. */
namespace android::hardware::environment {

std::string runDirectory() {
    return tvset::pathInSet("run");
}

bool isDeclared(const std::string& name) {
    std::ifstream declared(tvset::pathInSet("declared"));
    for (std::string line; std::getline(declared, line);) {
        if (line == name) return true;
    }
    return false;
}

}  // namespace android::hardware::environment
