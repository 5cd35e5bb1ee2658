#include "host/tvset/devices/readiness.h"

#include <android-base/parseint.h>
#include <android-base/strings.h>

#include <map>
#include <string>

#include "host/tvset/files.h"
#include "host/tvset/set.h"

namespace tvset {
namespace {

constexpr int kNever = -1;

struct Questions {
    int answeredWithNo = 0;
    int limit = kNever;
};

int readLimit(const std::string& path) {
    int limit = kNever;
    android::base::ParseInt(android::base::Trim(readFile(path).value_or("")), &limit, 0);
    return limit;
}

}  // namespace

bool isReady(const char* file) {
    static std::map<std::string, Questions> partsByPath;
    const std::string path = pathInSet(file);
    Questions& questions = partsByPath[path];
    if (const int limit = readLimit(path); limit != questions.limit) questions = {0, limit};
    if (questions.limit == kNever) return false;
    if (questions.answeredWithNo == questions.limit) return true;
    questions.answeredWithNo++;
    return false;
}

}  // namespace tvset
