#include "V3_1/OutputEncodingStatusListener.h"

#include <log/log.h>

#include "platform/debug_text.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation {

using ::android::hardware::Void;

Return<void> OutputEncodingStatusListener::onForceEncodingChanged(bool) {
    ALOGD("[%s] start", __func__);
    return Void();
}

Return<void> OutputEncodingStatusListener::onEncodingFormatChanged(const hidl_string&) {
    ALOGD("[%s] start", __func__);
    return Void();
}

Return<void> OutputEncodingStatusListener::debug(const hidl_handle& fd,
                                                 const hidl_vec<hidl_string>&) {
    platform::DebugText text;
    text.add("state", "none is kept");
    text.writeTo(fd);
    return Void();
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation
