#include "platform/config_store.h"

#include "platform/middleware.h"

namespace com::zavo::dtv::hardware::audio::platform {

namespace {

constexpr int32_t kThisSet = -1;

}  // namespace

int32_t readConfig(const ConfigKey& key, int32_t* value) {
    *value = -1;
    return a_mtktvapi_config_get_value(kThisSet, key.name, value);
}

int32_t writeConfig(const ConfigKey& key, int32_t value) {
    return a_mtktvapi_config_set_value(kThisSet, key.name, value, key.mode);
}

}  // namespace com::zavo::dtv::hardware::audio::platform
