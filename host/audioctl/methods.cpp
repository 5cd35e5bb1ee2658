#include "host/audioctl/methods.h"

#include <algorithm>

namespace audioctl {

namespace {

/** JSON that is nested deeper than any argument could overflow the stack when it is shown. */
bool keepShallow(int depth, Json::parse_event_t, Json&) {
    constexpr int kDeepEnough = 16;
    if (depth > kDeepEnough) throw BadValue(": nested too deeply");
    return true;
}

/** Discarded if the text is not JSON. */
template <typename Text>
Json parse(const Text& text) {
    return Json::parse(text, keepShallow, /* allow_exceptions */ false);
}

std::string join(const std::vector<Parameter>& parameters) {
    std::string text;
    for (const auto& parameter : parameters) {
        text += (text.empty() ? "" : ", ") + parameter.type + " " + parameter.name;
    }
    return "(" + text + ")";
}

}  // namespace

Json Words::toValue(const std::string& word) {
    const Json value = isFile(word) ? parse(readFile(word.substr(1))) : parse(word);
    if (!value.is_discarded()) return value;
    if (isFile(word)) throw BadValue(": " + word.substr(1) + " holds no JSON");
    return word;
}

Call Method::bind(const std::vector<std::string>& words, Callbacks* callbacks) const {
    if (words.size() != parameters.size()) {
        throw UsageError("wrong number of arguments (" + std::to_string(words.size()) + ") for " +
                         signature());
    }
    Words arguments(words, parameters, callbacks);
    return settle(arguments);
}

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
