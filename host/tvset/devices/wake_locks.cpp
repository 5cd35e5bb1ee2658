/* The wake locks of the set, which never sleeps: the journal shows who took and released one. */

#include <android-base/stringprintf.h>

#include "host/tvset/devices/operation.h"
#include "platform/power.h"

using android::base::StringPrintf;
using tvset::perform;

int acquire_wake_lock(int lock, const char* id) {
    return perform("acquire_wake_lock", StringPrintf("%d, \"%s\"", lock, id), [] { return 0; });
}

int release_wake_lock(const char* id) {
    return perform("release_wake_lock", StringPrintf("\"%s\"", id), [] { return 0; });
}
