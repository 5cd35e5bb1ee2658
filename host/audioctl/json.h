#pragma once

#include <hidl/HidlSupport.h>

#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "host/audioctl/errors.h"

/*
 * Interface types as JSON.
 *
 * Codec<T> is the conversion of a type:
 *
 *     static std::string typeName();        as the .hal files write it
 *     static T read(const Json& value);     throws BadValue
 *     static Json write(const T& value);
 *     static constexpr bool kTakesWords;    whether a word that is no JSON can stand for a value
 */
namespace audioctl {

/** Keeps the fields of a structure in the order of their definition. */
using Json = nlohmann::ordered_json;

/** One line; whatever bytes its strings hold, it is valid JSON. */
std::string toLine(const Json& value);

/** The same with escapes for all that is not printable ASCII. */
std::string toAsciiLine(const Json& value);

/** A value does not fit its type. The text is `PATH: PROBLEM`, the path being that in the value. */
class BadValue : public UsageError {
    using UsageError::UsageError;

  public:
    /** What was found in place of a value of a type. */
    static BadValue expected(const std::string& type, const Json& found);
};

/** Reads a part of a value; a complaint about it names the step that leads there. */
template <typename Read>
auto readPart(const std::string& step, Read read) {
    try {
        return read();
    } catch (const BadValue& error) {
        throw BadValue(step + error.what());
    }
}

/**
 * The bytes of a file, which must be less than 1 MiB, as a call must be. That it may wait, for a
 * pipe, is told on standard error. Throws BadValue.
 */
std::vector<uint8_t> readFile(const std::string& name);

/**
 * What the .hal files say of a type that they define: kName; of a structure also kFields, a tuple
 * of Field in their order there.
 */
template <typename T>
struct Definition;

template <typename Struct, typename T>
struct Field {
    const char* name;
    T Struct::*member;
};

template <typename T, typename Enable = void>
struct Codec;

template <>
struct Codec<bool> {
    static constexpr bool kTakesWords = false;
    static std::string typeName() { return "bool"; }
    static bool read(const Json& value);
    static Json write(bool value) { return value; }
};

/** Numbers, and the strings NaN, Infinity and -Infinity: JSON has no numbers for these. */
template <>
struct Codec<float> {
    static constexpr bool kTakesWords = false;
    static std::string typeName() { return "float"; }
    static float read(const Json& value);
    /** The shortest number that reads as the same float. */
    static Json write(float value);
};

template <>
struct Codec<android::hardware::hidl_string> {
    static constexpr bool kTakesWords = true;
    static std::string typeName() { return "string"; }
    static android::hardware::hidl_string read(const Json& value);
    static Json write(const android::hardware::hidl_string& value) { return std::string(value); }
};

template <typename T>
struct Codec<T, std::enable_if_t<std::is_integral_v<T>>> {
    static constexpr bool kTakesWords = false;
    static std::string typeName() {
        return (std::is_signed_v<T> ? "int" : "uint") + std::to_string(8 * sizeof(T)) + "_t";
    }
    static T read(const Json& value) {
        constexpr int64_t kMin = std::numeric_limits<T>::min();
        constexpr int64_t kMax = std::numeric_limits<T>::max();
        // Numbers too large for int64_t are unsigned here, and would wrap around.
        const bool fits = value.is_number_unsigned()
                                  ? value.get<uint64_t>() <= static_cast<uint64_t>(kMax)
                                  : value.is_number_integer() && value.get<int64_t>() >= kMin &&
                                            value.get<int64_t>() <= kMax;
        if (!fits) throw BadValue::expected(typeName(), value);
        return value.get<T>();
    }
    static Json write(T value) { return value; }
};

/** A number, also one without a name; or a name. */
template <typename T>
struct Codec<T, std::enable_if_t<std::is_enum_v<T>>> {
    using Number = Codec<std::underlying_type_t<T>>;

    static constexpr bool kTakesWords = true;
    static std::string typeName() { return Definition<T>::kName; }
    static T read(const Json& value) {
        if (!value.is_string()) return static_cast<T>(Number::read(value));
        std::string names;
        for (T candidate : android::hardware::hidl_enum_range<T>()) {
            if (value == toString(candidate)) return candidate;
            names += ", " + toString(candidate);
        }
        throw BadValue::expected(typeName() + " (" + Number::typeName() + names + ")", value);
    }
    static Json write(T value) { return static_cast<std::underlying_type_t<T>>(value); }
};

template <typename T>
struct Codec<android::hardware::hidl_vec<T>> {
    using List = android::hardware::hidl_vec<T>;

    static constexpr bool kTakesWords = false;
    static std::string typeName() { return "vec<" + Codec<T>::typeName() + ">"; }
    static List read(const Json& value) {
        if (!value.is_array()) throw BadValue::expected(typeName(), value);
        List list(value.size());
        for (size_t i = 0; i < list.size(); i++) {
            list[i] = readPart("[" + std::to_string(i) + "]",
                               [&] { return Codec<T>::read(value[i]); });
        }
        return list;
    }
    static Json write(const List& list) {
        Json value = Json::array();
        for (const T& element : list) value.push_back(Codec<T>::write(element));
        return value;
    }
};

template <typename T>
struct Codec<T, std::void_t<decltype(Definition<T>::kFields)>> {
    static constexpr bool kTakesWords = false;
    static std::string typeName() { return Definition<T>::kName; }
    static T read(const Json& value) {
        if (!value.is_object()) throw BadValue::expected(typeName(), value);
        T result{};
        Json unread = value;
        forEachField([&](const char* name, auto member) {
            using Member = std::decay_t<decltype(result.*member)>;
            if (unread.erase(name) == 0) {
                throw BadValue(": field '" + std::string(name) + "' of " + typeName() +
                               " is missing");
            }
            result.*member = readPart("." + std::string(name),
                                      [&] { return Codec<Member>::read(value.at(name)); });
        });
        if (!unread.empty()) {
            throw BadValue(": " + typeName() + " has no field " + toLine(unread.begin().key()));
        }
        return result;
    }
    static Json write(const T& source) {
        Json value = Json::object();
        forEachField([&](const char* name, auto member) {
            using Member = std::decay_t<decltype(source.*member)>;
            value[name] = Codec<Member>::write(source.*member);
        });
        return value;
    }

  private:
    template <typename Visit>
    static void forEachField(Visit visit) {
        std::apply([&](const auto&... field) { (visit(field.name, field.member), ...); },
                   Definition<T>::kFields);
    }
};

}  // namespace audioctl
