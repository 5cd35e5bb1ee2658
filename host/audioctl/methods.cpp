#include "host/audioctl/methods.h"

#include <com/zavo/dtv/hardware/audio/1.0/IHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/1.1/IHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/2.0/IOutputEncodingStatusListener.h>
#include <com/zavo/dtv/hardware/audio/2.0/IOutputExternal.h>
#include <com/zavo/dtv/hardware/audio/2.0/IOutputSpeaker.h>
#include <com/zavo/dtv/hardware/audio/3.0/IAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/IHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputEncodingStatusListener.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputExternal.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>
#include <com/zavo/dtv/hardware/audio/4.0/ICenterSpeaker.h>
#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include <algorithm>
#include <tuple>

#include "host/audioctl/types.h"

namespace audioctl {

using android::sp;
using android::hardware::Return;

namespace {

/** How an argument is read: most as what they are, ... */
template <typename T>
struct Argument : Codec<T> {
    static T read(const Json& value, Callbacks*) { return Codec<T>::read(value); }
};

/** ... an interface as null, or as an object that audioctl serves. */
template <typename I>
struct Argument<sp<I>> {
    static constexpr bool kTakesWords = true;
    static std::string typeName() {
        const std::string descriptor = I::descriptor;
        return descriptor.substr(descriptor.rfind(':') + 1);
    }
    static sp<I> read(const Json& value, Callbacks* callbacks) {
        if (value.is_null()) return nullptr;
        if (value == "callback") return callbacks->serve<I>();
        throw BadValue::expected(typeName() + " (null or callback)", value);
    }
};

/** JSON that is nested deeper than any argument could overflow the stack when it is shown. */
bool keepShallow(int depth, Json::parse_event_t, Json&) {
    constexpr int kDeepEnough = 16;
    if (depth > kDeepEnough) throw BadValue(": nested too deeply");
    return true;
}

/** Discarded if the text is no JSON. */
template <typename Text>
Json parse(const Text& text) {
    return Json::parse(text, keepShallow, /* allow_exceptions */ false);
}

/** `@FILE` stands for the bytes of a file as they are, or else for the JSON that they are. */
template <typename T>
T readWord(const std::string& word, Callbacks* callbacks) {
    const bool isFile = !word.empty() && word[0] == '@';
    std::vector<uint8_t> bytes;
    if (isFile) bytes = readFile(word.substr(1));
    if constexpr (std::is_same_v<T, android::hardware::hidl_vec<uint8_t>>) {
        if (isFile) return bytes;
    }

    Json value = isFile ? parse(bytes) : parse(word);
    if (value.is_discarded()) {
        if (isFile) throw BadValue(": " + word.substr(1) + " holds no JSON");
        value = word;
        if (!Argument<T>::kTakesWords) throw BadValue::expected(Argument<T>::typeName(), value);
    }
    return Argument<T>::read(value, callbacks);
}

/** The result of a method, given what follows the arguments in its generated signature. */
template <typename T>
struct ResultOf {
    static constexpr bool kIsCallback = false;
    using Type = T;
};
template <typename T>
struct ResultOf<std::function<void(T)>> {
    static constexpr bool kIsCallback = true;
    using Type = std::decay_t<T>;
};

/** Bridges words and JSON to a generated member function. */
template <typename I, typename R, typename... Params>
struct Bridge {
    using Member = Return<R> (I::*)(Params...);

    static constexpr bool kAnswersByCallback = (ResultOf<std::decay_t<Params>>::kIsCallback || ...);
    static constexpr size_t kArguments = sizeof...(Params) - kAnswersByCallback;
    using Indices = std::make_index_sequence<kArguments>;

    template <size_t index>
    using Type = std::tuple_element_t<index, std::tuple<std::decay_t<Params>..., R>>;
    using Result = typename ResultOf<Type<kArguments>>::Type;

    template <size_t... index>
    static std::vector<Parameter> parameters(const std::vector<const char*>& names,
                                             std::index_sequence<index...>) {
        return {Parameter{Argument<Type<index>>::typeName(), names.at(index)}...};
    }

    static std::vector<Parameter> results(const char* name) {
        if constexpr (std::is_void_v<Result>) {
            return {};
        } else {
            return {{Codec<Result>::typeName(), name}};
        }
    }

    template <size_t... index>
    static Call bind(Member member, const std::vector<std::string>& words,
                     [[maybe_unused]] Callbacks* callbacks, std::index_sequence<index...>) {
        const std::tuple<Type<index>...> arguments{
                readPart("argument " + std::to_string(index + 1),
                         [&] { return readWord<Type<index>>(words[index], callbacks); })...};
        return [member, arguments](IBase& object) {
            return std::apply(
                    [&](const auto&... values) {
                        return invoke(static_cast<I&>(object), member, values...);
                    },
                    arguments);
        };
    }

    template <typename... Values>
    static Json invoke(I& object, Member member, const Values&... values) {
        Json answer;
        if constexpr (kAnswersByCallback) {
            examine((object.*member)(values..., [&](const Result& result) {
                answer = Codec<Result>::write(result);
            }));
        } else {
            const Return<R> result = (object.*member)(values...);
            examine(result);
            if constexpr (!std::is_void_v<R>) answer = Codec<R>::write(result);
        }
        return answer;
    }
};

template <typename I, typename R, typename... Params>
Method method(const char* name, Return<R> (I::*member)(Params...),
              const std::vector<const char*>& parameterNames, const char* resultName = nullptr) {
    using Bridge = Bridge<I, R, Params...>;
    Method row{name, I::descriptor, Bridge::parameters(parameterNames, typename Bridge::Indices{}),
               Bridge::results(resultName), nullptr};
    row.bind = [member, expected = row.parameters.size(), signature = row.signature()](
                       const std::vector<std::string>& words, Callbacks* callbacks) {
        if (words.size() != expected) {
            throw UsageError("wrong number of arguments (" + std::to_string(words.size()) +
                             ") for " + signature);
        }
        return Bridge::bind(member, words, callbacks, typename Bridge::Indices{});
    };
    return row;
}

/** @tparam Extended the interfaces that it extends. */
template <typename I, typename... Extended>
Interface interface() {
    const std::string descriptor = I::descriptor;  // package@version::name
    const size_t at = descriptor.find('@');
    const size_t colon = descriptor.find(':');
    return {descriptor.substr(colon + 2),
            descriptor.substr(at + 1, colon - at - 1),
            {I::descriptor, Extended::descriptor...},
            [] { return sp<IBase>(I::getService()); }};
}

#define METHOD(interface, name, ...) method(#name, &interface::name, __VA_ARGS__)

/** In the order of the .hal files, parents first. */
const std::vector<Method>& allMethods() {
    using namespace com::zavo::dtv::hardware::audio;
    using Calibration = V3_0::IAcousticCalibration;
    using Virtualizer = V5_0::IHeadphoneVirtualizer;
    using Listener = V2_0::IOutputEncodingStatusListener;
    using External = V2_0::IOutputExternal;

    static const std::vector<Method> table{
            METHOD(V1_0::IHdmiAudio, getAudioCapabilities, {}, "capabilities"),
            METHOD(V1_0::IHdmiAudio, setAudioCapabilities, {"capabilities"}, "status"),
            METHOD(V1_1::IHdmiAudio, setCallback, {"callback"}),

            METHOD(Listener, onForceEncodingChanged, {"enabled"}),
            METHOD(Listener, onEncodingFormatChanged, {"format"}),

            METHOD(External, setForceEncodingEnabled, {"enable"}, "status"),
            METHOD(External, getForceEncodingEnabled, {}, "enabled"),
            METHOD(External, setEncodingFormat, {"format"}, "status"),
            METHOD(External, getEncodingFormat, {}, "format"),
            METHOD(External, getAvailableEncodingFormats, {}, "formats"),
            METHOD(External, registerEncodingFormatListener, {"listener"}, "status"),
            METHOD(External, unregisterEncodingFormatListener, {"listener"}, "status"),

            METHOD(V2_0::IOutputSpeaker, getSurroundType, {}, "type"),
            METHOD(V3_1::IOutputSpeaker, getTvPosition, {}, "type"),
            METHOD(V3_1::IOutputSpeaker, setTvPosition, {"type"}, "status"),

            METHOD(Calibration, setEnabled, {"enable"}, "status"),
            METHOD(Calibration, getEnabled, {}, "enabled"),
            METHOD(Calibration, setCalibratedData, {"data"}, "status"),
            METHOD(Calibration, getCalibratedData, {}, "data"),
            METHOD(Calibration, getCalibrationParameters, {}, "params"),

            METHOD(V4_0::ICenterSpeaker, getCenterSpeakerAcousticsType, {}, "types"),
            METHOD(V4_0::ICenterSpeaker, getCenterSpeakerLatency, {}, "latency"),
            METHOD(V4_0::ICenterSpeaker, isCenterSpeakerInputAvailable, {}, "available"),
            METHOD(V4_0::ICenterSpeaker, isSynchronizedCenterSpeakerInputAvailable, {},
                   "available"),

            METHOD(Virtualizer, setVirtualizerEnabled, {"enable"}, "status"),
            METHOD(Virtualizer, getVirtualizerEnabled, {}, "enabled"),
            METHOD(Virtualizer, setVirtualizerType, {"type"}, "status"),
            METHOD(Virtualizer, getVirtualizerType, {}, "type"),
            METHOD(Virtualizer, getAvailableVirtualizerTypes, {}, "types"),
            METHOD(Virtualizer, setUpmixEnabled, {"enable"}, "status"),
            METHOD(Virtualizer, getUpmixEnabled, {}, "enabled"),
            METHOD(Virtualizer, allocateParameterBuffer, {"type", "size"}, "bufferHandle"),
            METHOD(Virtualizer, discardParameterBuffer, {"bufferHandle"}, "status"),
            METHOD(Virtualizer, getMaxAppendSize, {}, "size"),
            METHOD(Virtualizer, append, {"bufferHandle", "data"}, "status"),
            METHOD(Virtualizer, apply, {"bufferHandle", "callback"}, "status"),
            METHOD(Virtualizer, cancel, {"bufferHandle"}, "status"),
    };
    return table;
}

#undef METHOD

std::string join(const std::vector<Parameter>& parameters) {
    std::string text;
    for (const auto& parameter : parameters) {
        text += (text.empty() ? "" : ", ") + parameter.type + " " + parameter.name;
    }
    return "(" + text + ")";
}

}  // namespace

std::string Method::signature() const {
    return name + join(parameters) + (results.empty() ? "" : " generates " + join(results));
}

std::vector<const Method*> Interface::methods() const {
    std::vector<const Method*> offered;
    for (const Method& candidate : allMethods()) {
        if (std::count(chain.begin(), chain.end(), candidate.descriptor) != 0) {
            offered.push_back(&candidate);
        }
    }
    return offered;
}

const Method& Interface::method(const std::string& methodName) const {
    std::string known;
    for (const Method* candidate : methods()) {
        if (candidate->name == methodName) return *candidate;
        known += "\n  " + candidate->signature();
    }
    throw UsageError(fullName() + " has no method '" + methodName + "'; it has" + known);
}

const std::vector<Interface>& interfaces() {
    using namespace com::zavo::dtv::hardware::audio;

    static const std::vector<Interface> table{
            interface<V1_0::IHdmiAudio>(),
            interface<V1_1::IHdmiAudio, V1_0::IHdmiAudio>(),
            interface<V3_1::IHdmiAudio, V1_1::IHdmiAudio, V1_0::IHdmiAudio>(),
            interface<V2_0::IOutputEncodingStatusListener>(),
            interface<V3_1::IOutputEncodingStatusListener, V2_0::IOutputEncodingStatusListener>(),
            interface<V2_0::IOutputExternal>(),
            interface<V3_1::IOutputExternal, V2_0::IOutputExternal>(),
            interface<V2_0::IOutputSpeaker>(),
            interface<V3_1::IOutputSpeaker, V2_0::IOutputSpeaker>(),
            interface<V3_0::IAcousticCalibration>(),
            interface<V3_1::IAcousticCalibration, V3_0::IAcousticCalibration>(),
            interface<V4_0::ICenterSpeaker>(),
            interface<V5_0::IHeadphoneVirtualizer>(),
    };
    return table;
}

const Interface& findInterface(const std::string& name) {
    const auto& all = interfaces();
    const auto newest = std::find_if(all.rbegin(), all.rend(), [&](const Interface& candidate) {
        return name == candidate.name || name == candidate.fullName();
    });
    if (newest != all.rend()) return *newest;
    std::string known;
    for (const Interface& candidate : all) known += "\n  " + candidate.fullName();
    throw UsageError("no interface '" + name + "'; there are" + known);
}

}  // namespace audioctl
