/*
 * The back-end controller of the set, to which the middleware passes items. It launches as
 * `bectrl/launch_after` says and accepts every item; the journal shows what it received.
 */

#include <string>

#include <android-base/stringprintf.h>

#include "host/tvset/devices/operation.h"
#include "host/tvset/devices/readiness.h"
#include "platform/middleware.h"

using android::base::StringPrintf;
using tvset::perform;

namespace {

/** As the journal shows it: `{id=32 len=1 data=01}`. */
std::string text(const MTDRVCUST_ItemRecord& item) {
    std::string shown = StringPrintf("{id=%u len=%u data=", item.identifier, item.dataLength);
    for (size_t i = 0; i < item.dataLength; ++i) shown += StringPrintf("%02x", item.data[i]);
    return shown + '}';
}

int32_t getLaunchState(MTDRVCUST_ItemRecord* item) {
    item->data[0] = tvset::isReady("bectrl/launch_after") ? 1 : 0;
    return 0;
}

}  // namespace

int32_t MTDRVCUST_dcustom_cust_spec_get(uint32_t query, MTDRVCUST_ItemRecord* record,
                                        uint32_t* size) {
    return perform(
            "MTDRVCUST_dcustom_cust_spec_get", StringPrintf("0x%X", query),
            [=] { return getLaunchState(record); },
            [=] { return StringPrintf(", %s, %u", text(*record).c_str(), *size); });
}

int32_t MTDRVCUST_dcustom_cust_spec_set(uint32_t command, const MTDRVCUST_ItemRecord* record,
                                        uint32_t size, uint32_t reserved) {
    return perform("MTDRVCUST_dcustom_cust_spec_set",
                   StringPrintf("0x%X, %s, %u, %u", command, text(*record).c_str(), size, reserved),
                   [] { return 0; });
}
