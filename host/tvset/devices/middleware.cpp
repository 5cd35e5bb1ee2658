/*
 * The middleware of the set: connection and configuration store.
 *
 * The store is the directory `config`: a file for each key, which holds the value in decimal and is
 * read at every access. Handle and mode word are ignored.
 */

#include "platform/middleware.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string_view>

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>

#include "host/tvset/devices/operation.h"
#include "host/tvset/files.h"
#include "host/tvset/set.h"

using android::base::ParseInt;
using android::base::StringPrintf;
using android::base::Trim;
using android::base::WriteStringToFd;
using tvset::openFile;
using tvset::pathInSet;
using tvset::perform;
using tvset::readFile;

namespace {

/** The store's status codes. */
enum StoreStatus : int32_t {
    STORED = 0,
    NO_SUCH_KEY = 1,  // nothing stored under the key, or not a key: [A-Za-z0-9_]+
    NOT_A_VALUE = 2,  // what is stored is not a decimal 32-bit integer
    NOT_STORED = 3,   // the file cannot be written
};

bool isKey(std::string_view name) {
    constexpr auto isKeyCharacter = [](unsigned char c) { return c == '_' || isalnum(c); };
    return !name.empty() && std::all_of(name.begin(), name.end(), isKeyCharacter);
}

StoreStatus readConfig(const std::string& key, int32_t* value) {
    const auto text = isKey(key) ? readFile(pathInSet("config/" + key)) : std::nullopt;
    if (!text) return NO_SUCH_KEY;
    return ParseInt(Trim(*text), value) ? STORED : NOT_A_VALUE;
}

/** A reader finds the old value or the new one, complete. */
StoreStatus writeConfig(const std::string& key, int32_t value) {
    if (!isKey(key)) return NO_SUCH_KEY;
    const std::string path = pathInSet("config/" + key);
    const std::string newPath = pathInSet(StringPrintf("config/.%s.%d", key.c_str(), getpid()));
    const auto file = openFile(newPath, O_WRONLY | O_CREAT | O_TRUNC);
    if (WriteStringToFd(std::to_string(value) + '\n', file) &&
        rename(newPath.c_str(), path.c_str()) == 0) {
        return STORED;
    }
    unlink(newPath.c_str());
    return NOT_STORED;
}

constexpr int32_t succeed() {
    return 0;
}

}  // namespace

int32_t IMtkPb_Ctrl_Init() {
    return perform("IMtkPb_Ctrl_Init", "", succeed);
}

int32_t MTAL_InitExCb(uintptr_t callback) {
    return perform("MTAL_InitExCb", std::to_string(callback), succeed);
}

int32_t DRV_Init() {
    return perform("DRV_Init", "", succeed);
}

int32_t MTAL_Init() {
    return perform("MTAL_Init", "", succeed);
}

int32_t a_mtktvapi_config_get_value(int32_t handle, const char* key, int32_t* value) {
    return perform(
            "a_mtktvapi_config_get_value", StringPrintf("%d, \"%s\"", handle, key),
            [=] { return readConfig(key, value); }, [=] { return ", " + std::to_string(*value); });
}

int32_t a_mtktvapi_config_set_value(int32_t handle, const char* key, int32_t value, uint32_t mode) {
    return perform("a_mtktvapi_config_set_value",
                   StringPrintf("%d, \"%s\", %d, %u", handle, key, value, mode),
                   [=] { return writeConfig(key, value); });
}
