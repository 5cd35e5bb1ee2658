#include "platform/quality_data.h"

#include <errno.h>
#include <string.h>

#include <log/log.h>

#include "platform/file.h"

namespace com::zavo::dtv::hardware::audio::platform {

namespace {

constexpr char kQualityFile[] = "/data/vendor/tmp/recipe/aqda.bin";

}  // namespace

bool readQualityData(const char* tag, const char* caller,
                     std::initializer_list<QualityRegion> regions) {
    const auto fail = [&](const char* operation) {
        ALOG(LOG_ERROR, tag, "[%s] %s failed, errno %d", caller, operation, errno);
        return false;
    };
    const File file(fopen(kQualityFile, "rb"));
    if (file == nullptr) return fail("fopen");
    for (const QualityRegion& region : regions) {
        if (fseek(file.get(), region.offset, SEEK_SET) != 0) return fail("fseek");
        memset(region.destination, 0, region.size);
        if (!readWhole(file.get(), region.destination, region.size)) return fail("fread");
    }
    return true;
}

}  // namespace com::zavo::dtv::hardware::audio::platform
