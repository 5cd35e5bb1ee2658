#include "host/tvset/devices/readiness.h"

#include <map>
#include <string>

#include <android-base/parseint.h>
#include <android-base/strings.h>

#include "host/tvset/files.h"
#include "host/tvset/set.h"

namespace tvset {
namespace {

constexpr int kNever = -1;

struct Queries {
    int refused = 0;
    int limit = kNever;
};

int readLimit(const std::string& path) {
    int limit = kNever;
    android::base::ParseInt(android::base::Trim(readFile(path).value_or("")), &limit, 0);
    return limit;
}

}  // namespace

bool isReady(const char* file) {
    static std::map<std::string, Queries> queriesByPath;
    const std::string path = pathInSet(file);
    Queries& queries = queriesByPath[path];
    if (const int limit = readLimit(path); limit != queries.limit) queries = {0, limit};
    if (queries.limit == kNever) return false;
    if (queries.refused == queries.limit) return true;
    queries.refused++;
    return false;
}

}  // namespace tvset
