#include "host/tvset/set.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace tvset {
namespace {

std::string environment(const char* name) {
    const char* value = getenv(name);
    return value == nullptr ? "" : value;
}

}  // namespace

std::string rootPath() {
    if (const auto root = environment("TVSET_ROOT"); !root.empty()) return root;
    if (const auto run = environment("XDG_RUNTIME_DIR"); !run.empty()) return run + "/tvset";
    return "/tmp/tvset-" + std::to_string(getuid());
}

std::string pathInSet(const std::string& relative) {
    return rootPath() + "/" + relative;
}

void requireSet(const char* programName) {
    struct stat status;
    if (stat(pathInSet("fs").c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return;
    fprintf(stderr, "%s: no TV set at %s; make one with 'tvset create'\n", programName,
            rootPath().c_str());
    _exit(2);
}

}  // namespace tvset
