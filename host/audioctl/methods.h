#pragma once

#include <android/hidl/base/1.0/IBase.h>

#include <functional>
#include <string>
#include <vector>

#include "host/audioctl/callbacks.h"
#include "host/audioctl/json.h"

/* What audioctl can call: the table of all methods of all service interfaces. */
namespace audioctl {

using android::hidl::base::V1_0::IBase;

struct Parameter {
    std::string type;
    std::string name;
};

/**
 * A call whose arguments are settled. The object must offer the method's interface.
 *
 * @return the result; null if there is none. Throws ServiceError if the call did not get through.
 */
using Call = std::function<Json(IBase& object)>;

struct Method {
    std::string name;
    /** The interface that first has it, as IBase::interfaceDescriptor() tells it. */
    std::string descriptor;
    std::vector<Parameter> parameters;
    /** One result, or none. */
    std::vector<Parameter> results;
    /**
     * Settles the arguments, each a word of a command line. Throws UsageError for a wrong number
     * of words and for one that does not fit its parameter.
     */
    std::function<Call(const std::vector<std::string>& words, Callbacks* callbacks)> bind;

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
    std::function<android::sp<IBase>()> getService;

    /** `IOutputSpeaker@3.1` */
    std::string fullName() const { return name + "@" + version; }
    /** Its methods with the inherited ones. */
    std::vector<const Method*> methods() const;
    /** Throws UsageError, with a list of what there is. */
    const Method& method(const std::string& methodName) const;
};

/** All service interfaces, the versions of each in ascending order. */
const std::vector<Interface>& interfaces();

/** @param name `IOutputSpeaker` for the newest, or `IOutputSpeaker@2.0`. Throws UsageError. */
const Interface& findInterface(const std::string& name);

}  // namespace audioctl
