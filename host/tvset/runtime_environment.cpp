#include <filesystem>
#include <fstream>

#include "host/hidl/environment.h"
#include "host/tvset/set.h"

/* The virtual TV set as the machine that the HIDL runtime runs on. */
namespace android::hardware::environment {

std::string runDirectory() {
    return tvset::pathInSet("run");
}

bool isDeclared(const std::string& name) {
    const std::string path = tvset::pathInSet("declared");
    std::error_code none;
    if (!std::filesystem::is_regular_file(path, none)) return false;  // opening a FIFO may block
    std::ifstream declared(path);
    for (std::string line; std::getline(declared, line);) {
        if (line == name) return true;
    }
    return false;
}

}  // namespace android::hardware::environment
