#include "host/audioctl/json.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

namespace audioctl {

using android::hardware::hidl_string;

namespace {

/** No call carries more, in bytes. */
constexpr size_t kMaxFileSize = 1 << 20;

const struct {
    const char* word;
    float value;
} kWordsForFloats[] = {
        {"NaN", std::numeric_limits<float>::quiet_NaN()},
        {"Infinity", std::numeric_limits<float>::infinity()},
        {"-Infinity", -std::numeric_limits<float>::infinity()},
};

}  // namespace

std::string toLine(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string toAsciiLine(const Json& value) {
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

BadValue BadValue::expected(const std::string& type, const Json& found) {
    constexpr size_t kEnough = 60;
    std::string text = toAsciiLine(found);
    if (text.size() > kEnough) text = text.substr(0, kEnough) + "...";
    return BadValue(": expected " + type + ", not " + text);
}

Json toJson(float value) {
    for (const auto& known : kWordsForFloats) {
        if (value == known.value || (std::isnan(value) && std::isnan(known.value))) {
            return known.word;
        }
    }
    // JSON numbers are doubles: 0.1f as one would be 0.10000000149011612.
    char text[32];
    const auto end = std::to_chars(text, text + sizeof(text), value).ptr;
    double number = 0;
    std::from_chars(text, end, number);
    return number;
}

void fromJson(const Json& value, const std::string& type, bool* result) {
    if (!value.is_boolean()) throw BadValue::expected(type, value);
    *result = value.get<bool>();
}

void fromJson(const Json& value, const std::string& type, float* result) {
    for (const auto& known : kWordsForFloats) {
        *result = known.value;
        if (value == known.word) return;
    }
    *result = value.is_number() ? value.get<float>() : NAN;
    if (!std::isfinite(*result)) throw BadValue::expected(type, value);
}

void fromJson(const Json& value, const std::string& type, hidl_string* result) {
    if (!value.is_string()) throw BadValue::expected(type, value);
    *result = value.get<std::string>();
}

Fields::Fields(const Json& value, const std::string& type) : mUnread(value), mType(type) {
    if (!value.is_object()) throw BadValue::expected(type, value);
}

Json Fields::take(const char* name) {
    const auto found = mUnread.find(name);
    if (found == mUnread.end()) {
        throw BadValue(": field '" + std::string(name) + "' of " + mType + " is missing");
    }
    Json value = std::move(*found);
    mUnread.erase(found);
    return value;
}

void Fields::end() const {
    if (mUnread.empty()) return;
    throw BadValue(": " + mType + " has no field " + toLine(mUnread.begin().key()));
}

std::vector<uint8_t> readFile(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
        fprintf(stderr, "audioctl: reading the pipe %s to its end\n", name.c_str());
    }
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(name.c_str(), "rb"), fclose);
    std::vector<uint8_t> bytes(kMaxFileSize);
    if (file != nullptr) bytes.resize(fread(bytes.data(), 1, bytes.size(), file.get()));
    if (file == nullptr || ferror(file.get())) {
        throw BadValue(": cannot read " + name + ": " + strerror(errno));
    }
    if (bytes.size() == kMaxFileSize) {
        throw BadValue(": " + name + " holds 1 MiB or more");
    }
    return bytes;
}

}  // namespace audioctl
