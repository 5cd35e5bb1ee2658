#pragma once

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include <hidl/HidlSupport.h>
#include <nlohmann/json.hpp>

#include "host/audioctl/errors.h"

/* The values of interface types as JSON. generate.py writes the specialisations for structures. */
namespace audioctl {

/** Keeps the fields of a structure in the order of their definition. */
using Json = nlohmann::ordered_json;

/** One line; whatever bytes its strings hold, it is valid JSON. */
std::string toLine(const Json& value);

/** The same, with everything but printable ASCII escaped. */
std::string toAsciiLine(const Json& value);

/** A value does not fit its type. The text is `PATH: PROBLEM`, the path being that in the value. */
class BadValue : public UsageError {
    using UsageError::UsageError;

  public:
    /** For a value that is not of the type. */
    static BadValue expected(const std::string& type, const Json& found);
};

/** Reads a part of a value; the message of an error begins with the step to that part. */
template <typename Read>
auto readPart(const std::string& step, Read read) {
    try {
        return read();
    } catch (const BadValue& error) {
        throw BadValue(step + error.what());
    }
}

/**
 * The bytes of a file, which must be less than 1 MiB, as a call must be. A message on standard
 * error says so before it waits for a pipe. Throws BadValue.
 */
std::vector<uint8_t> readFile(const std::string& name);

/** Numbers of enumerations, too. JSON has no numbers for NaN and the like: they are strings. */
template <typename T>
Json toJson(const T& value) {
    if constexpr (std::is_enum_v<T>) {
        return static_cast<std::underlying_type_t<T>>(value);
    } else {
        return value;
    }
}
/** The shortest number that reads as the same float. */
Json toJson(float value);
inline Json toJson(const android::hardware::hidl_string& value) {
    return std::string(value);
}
template <typename T>
Json toJson(const android::hardware::hidl_vec<T>& list) {
    Json json = Json::array();
    for (const T& element : list) json.push_back(toJson(element));
    return json;
}

/**
 * Reads a value of a type, for which a .hal file writes `type`. Throws BadValue.
 *
 * This one is for integers and enumerations. For an enumeration, names and
 * numbers without a name are accepted, too.
 */
template <typename T>
void fromJson(const Json& value, const std::string& type, T* result) {
    if constexpr (std::is_enum_v<T>) {
        using Number = std::underlying_type_t<T>;
        const std::string numberType = (std::is_signed_v<Number> ? "int" : "uint") +
                                       std::to_string(8 * sizeof(Number)) + "_t";
        if (!value.is_string()) {
            Number number;
            fromJson(value, numberType, &number);
            *result = static_cast<T>(number);
            return;
        }
        std::string names;
        for (T candidate : android::hardware::hidl_enum_range<T>()) {
            *result = candidate;
            if (value == toString(candidate)) return;
            names += ", " + toString(candidate);
        }
        throw BadValue::expected(type + " (" + numberType + names + ")", value);
    } else {
        constexpr int64_t kMin = std::numeric_limits<T>::min();
        constexpr int64_t kMax = std::numeric_limits<T>::max();
        // Numbers too large for int64_t are unsigned here, and would wrap around.
        const bool fits = value.is_number_unsigned()
                                  ? value.get<uint64_t>() <= static_cast<uint64_t>(kMax)
                                  : value.is_number_integer() && value.get<int64_t>() >= kMin &&
                                            value.get<int64_t>() <= kMax;
        if (!fits) throw BadValue::expected(type, value);
        *result = value.get<T>();
    }
}
void fromJson(const Json& value, const std::string& type, bool* result);
void fromJson(const Json& value, const std::string& type, float* result);
void fromJson(const Json& value, const std::string& type, android::hardware::hidl_string* result);
template <typename T>
void fromJson(const Json& value, const std::string& type, android::hardware::hidl_vec<T>* result) {
    if (!value.is_array()) throw BadValue::expected(type, value);
    constexpr size_t kVec = sizeof("vec<") - 1;
    const std::string elementType = type.substr(kVec, type.size() - kVec - 1);
    result->resize(value.size());
    for (size_t i = 0; i < value.size(); i++) {
        readPart("[" + std::to_string(i) + "]",
                 [&] { fromJson(value[i], elementType, &(*result)[i]); });
    }
}

/** Reads a structure, its fields in the order of their definition. Throws BadValue. */
class Fields {
  public:
    Fields(const Json& value, const std::string& type);

    template <typename T>
    void read(const char* name, const char* type, T* result) {
        const Json value = take(name);
        readPart("." + std::string(name), [&] { fromJson(value, type, result); });
    }
    /** To be called after the last field. Throws BadValue if there are more. */
    void end() const;

  private:
    Json take(const char* name);

    Json mUnread;
    const std::string mType;
};

}  // namespace audioctl
