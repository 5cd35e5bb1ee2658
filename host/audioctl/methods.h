#pragma once

#include <functional>
#include <string>
#include <vector>

#include <android/hidl/base/1.0/IBase.h>

#include "host/audioctl/callbacks.h"
#include "host/audioctl/json.h"

/* What audioctl can call. generate.py writes both tables from the .hal files. */
namespace audioctl {

using android::hidl::base::V1_0::IBase;

struct Parameter {
    /** As the .hal file writes it: `vec<string>`, `SampleLatency`. */
    std::string type;
    std::string name;
};

/**
 * A call with its arguments bound. The object must offer the method's interface.
 *
 * @return the result; null if there is none. Throws ServiceError if the call failed in transport.
 */
using Call = std::function<Json(IBase& object)>;

/** The arguments of a call, each a word of a command line; the bytes of a file for `@FILE`. */
class Words {
  public:
    /** There must be as many words as parameters. */
    Words(const std::vector<std::string>& words, const std::vector<Parameter>& parameters,
          Callbacks* callbacks)
        : mWords(words), mParameters(parameters), mCallbacks(callbacks) {}

    /** The argument for the next parameter. Throws UsageError if it does not fit. */
    template <typename T>
    T take() {
        return takeNext([&](const std::string& word, const std::string& type) {
            T result{};
            if constexpr (std::is_same_v<T, android::hardware::hidl_vec<uint8_t>>) {
                if (isFile(word)) return T(readFile(word.substr(1)));
            }
            fromJson(toValue(word), type, &result);
            return result;
        });
    }

    /** The same for an object that services call: null, or one that audioctl serves. */
    template <typename Object>
    android::sp<Object> takeObject() {
        return takeNext(
                [&](const std::string& word, const std::string& type) -> android::sp<Object> {
                    const Json value = toValue(word);
                    if (value.is_null()) return nullptr;
                    if (value == "callback") return mCallbacks->serve<Object>();
                    throw BadValue::expected(type + " (null or callback)", value);
                });
    }

  private:
    template <typename Read>
    auto takeNext(Read read) {
        const size_t i = mTaken++;
        return readPart("argument " + std::to_string(mTaken),
                        [&] { return read(mWords[i], mParameters[i].type); });
    }
    static bool isFile(const std::string& word) { return !word.empty() && word[0] == '@'; }
    /** The word as JSON, the JSON of the file that it names, or else a string. */
    static Json toValue(const std::string& word);

    const std::vector<std::string>& mWords;
    const std::vector<Parameter>& mParameters;
    Callbacks* const mCallbacks;
    size_t mTaken = 0;
};

struct Method {
    std::string name;
    /** The interface that first has it, as IBase::interfaceDescriptor() returns it. */
    std::string descriptor;
    std::vector<Parameter> parameters;
    /** One result, or none. */
    std::vector<Parameter> results;
    Call (*settle)(Words& words);

    /**
     * Binds the arguments. Throws UsageError for a wrong number of words and for one that does
     * not fit its parameter.
     */
    Call bind(const std::vector<std::string>& words, Callbacks* callbacks) const;
    /** As in the .hal file, on one line: `set(int32_t type) generates (int32_t status)`. */
    std::string signature() const;
};

struct Interface {
    /** `IOutputSpeaker` */
    std::string name;
    /** `3.1` */
    std::string version;
    /** Descriptors of this interface and of those that it extends. */
    std::vector<std::string> chain;
    /** The service "default"; null if none is registered. */
    android::sp<IBase> (*getService)();

    /** `IOutputSpeaker@3.1` */
    std::string fullName() const { return name + "@" + version; }
    /** Its methods with the inherited ones. */
    std::vector<const Method*> methods() const;
    /** Throws UsageError, with a list of what there is. */
    const Method& method(const std::string& methodName) const;
};

/** In the order of the .hal files, parents first. */
const std::vector<Method>& allMethods();

/** All service interfaces, the versions of each in ascending order. */
const std::vector<Interface>& interfaces();

/** @param name `IOutputSpeaker` for the newest, or `IOutputSpeaker@2.0`. Throws UsageError. */
const Interface& findInterface(const std::string& name);

}  // namespace audioctl
