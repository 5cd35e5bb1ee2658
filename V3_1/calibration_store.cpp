#define LOG_TAG "AudioAC"

#include "V3_1/calibration_store.h"

#include <errno.h>
#include <stdio.h>

#include <log/log.h>

#include "platform/file.h"

namespace com::zavo::dtv::hardware::audio::V3_1::implementation::store {

using platform::File;

namespace {

constexpr char kTableFile[] = "/data/vendor/zavo/hidlaudio/aud_ac.data";
constexpr char kEnabledFile[] = "/data/vendor/zavo/hidlaudio/aud_ac_enabled.data";

constexpr uint8_t kTerminator[4] = {0x00};
constexpr uint8_t kDelayMarker[4] = {0x01};

/** Nine records and their delay marker. */
constexpr int kMostItems = 10;

enum class Item { RECORD, DELAY_MARKER, TERMINATOR, FAILURE };

/** Opens a file without a buffer, so that a write fails in the call that makes it. */
File openForWriting(const char* path, const char* mode) {
    File file(fopen(path, mode));
    if (file != nullptr) setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

bool readFrom(FILE* file, void* destination, size_t size, Failure* failure) {
    if (platform::readWhole(file, destination, size)) return true;
    *failure = {"fread", errno};
    return false;
}

bool moveBy(FILE* file, long bytes, Failure* failure) {
    if (fseek(file, bytes, SEEK_CUR) == 0) return true;
    *failure = {"fseek", errno};
    return false;
}

Item readItem(FILE* file, aud_ac_data_Table* record, Failure* failure) {
    uint8_t first;
    if (!readFrom(file, &first, sizeof(first), failure)) return Item::FAILURE;
    if (first == kTerminator[0]) return Item::TERMINATOR;
    if (first == kDelayMarker[0]) {
        const bool isSkipped = moveBy(file, sizeof(kDelayMarker) - sizeof(first), failure);
        return isSkipped ? Item::DELAY_MARKER : Item::FAILURE;
    }
    const bool isRead =
            moveBy(file, -1, failure) && readFrom(file, record, sizeof(*record), failure);
    return isRead ? Item::RECORD : Item::FAILURE;
}

Failure readItems(FILE* file, std::vector<aud_ac_data_Table>& table, bool* hasDelays) {
    Failure failure;
    for (int i = 0; i < kMostItems; i++) {
        aud_ac_data_Table record;
        switch (readItem(file, &record, &failure)) {
            case Item::RECORD:
                table.push_back(record);
                break;
            case Item::DELAY_MARKER:
                *hasDelays = true;
                break;
            case Item::TERMINATOR:
            case Item::FAILURE:
                return failure;
        }
    }
    return failure;
}

/** @return the flag, or -1. */
int32_t readFlag(FILE* file, const char* caller) {
    uint8_t flag;
    if (platform::readWhole(file, &flag, sizeof(flag))) return flag;
    ALOGE("[%s] fread AcousticCalibration enabled data failed, errno %d", caller, errno);
    return -1;
}

/** @return 0, or -1. */
int32_t writeTo(FILE* file, const void* source, size_t size, const char* caller) {
    if (fwrite(source, size, 1, file) == 1) return 0;
    ALOGE("[%s] fwrite AcousticCalibration enabled data failed, errno %d", caller, errno);
    return -1;
}

int32_t writeFlag(FILE* file, bool enabled, const char* caller) {
    const uint8_t flag = enabled ? 0x01 : 0x00;
    return writeTo(file, &flag, sizeof(flag), caller);
}

}  // namespace

int32_t setCalibratedData(const hidl_vec<calibratedData>& list) {
    File file = openForWriting(kTableFile, "w+");
    if (file == nullptr) {
        ALOGE("[%s] fopen error", __func__);
        return -1;
    }
    for (const calibratedData& data : list) {
        const aud_ac_data_Table record = toRecord(data);
        if (writeTo(file.get(), &record, sizeof(record), __func__) == 0) continue;
        file.reset();
        if (remove(kTableFile) != 0) {
            ALOGE("[%s] remove AcousticCalibration enabled data failed, errno %d", __func__, errno);
        }
        return -1;
    }
    // If one of these writes fails, a reader finds no delays, or no valid file.
    fwrite(kDelayMarker, sizeof(kDelayMarker), 1, file.get());
    fwrite(kTerminator, sizeof(kTerminator), 1, file.get());
    return 0;
}

int32_t readCalibratedData(std::vector<aud_ac_data_Table>& table) {
    const Failure failure = inspectTable(table);
    if (failure.operation == nullptr) return 0;
    ALOGE("[%s] %s failed, errno %d", __func__, failure.operation, failure.error);
    return -1;
}

int32_t getEnabledOnBoot() {
    ALOGD("[%s] start", __func__);
    int32_t result;
    if (const File file(fopen(kEnabledFile, "r")); file != nullptr) {
        result = readFlag(file.get(), __func__);
    } else {
        ALOGE("[%s] fopen error", __func__);
        const File made = openForWriting(kEnabledFile, "w+");
        if (made == nullptr) {
            ALOGE("[%s] fopen filed, %s failed, errno %d", __func__, kEnabledFile, errno);
            return -1;
        }
        result = writeFlag(made.get(), false, __func__);
    }
    ALOGD("[%s] end Return: %d", __func__, result);
    return result;
}

int32_t setEnabledData(bool enabled) {
    const File file = openForWriting(kEnabledFile, "w");
    if (file == nullptr) {
        ALOGE("[%s] fopen error", __func__);
        return -1;
    }
    return writeFlag(file.get(), enabled, __func__);
}

bool getEnabled() {
    ALOGD("[%s] start", __func__);
    const File file(fopen(kEnabledFile, "r"));
    if (file == nullptr) {
        ALOGE("[%s] fopen error", __func__);
        return false;
    }
    const int32_t flag = readFlag(file.get(), __func__);
    if (flag < 0) return false;
    ALOGD("[%s] end Return: %d", __func__, flag == 0x01);
    return flag == 0x01;
}

Failure inspectTable(std::vector<aud_ac_data_Table>& table) {
    const File file(fopen(kTableFile, "r"));
    if (file == nullptr) return {"fopen", errno};
    bool hasDelays = false;
    const Failure failure = readItems(file.get(), table, &hasDelays);
    if (!hasDelays) {
        for (aud_ac_data_Table& record : table) record.delay = 0.0f;
    }
    return failure;
}

Failure inspectFlag(uint8_t* flag) {
    const File file(fopen(kEnabledFile, "r"));
    if (file == nullptr) return {"fopen", errno};
    if (!platform::readWhole(file.get(), flag, sizeof(*flag))) return {"fread", errno};
    return {};
}

}  // namespace com::zavo::dtv::hardware::audio::V3_1::implementation::store
