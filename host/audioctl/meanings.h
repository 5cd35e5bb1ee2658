#pragma once

#include <cstdint>
#include <string>
#include <vector>

/*
 * The meanings of an upload's result codes, for the help and for error messages. The .hal files
 * define the codes, for any client.
 */
namespace audioctl {

struct Meaning {
    int32_t code;
    const char* words;
};
using Meanings = std::vector<Meaning>;

constexpr char kGone[] = "the buffer is gone: another client took over the kind";

inline const Meanings kOfAppend{
        {-1, kGone}, {-2, "the piece does not fit"}, {-3, "the buffer is being transferred"}};
inline const Meanings kOfApply{
        {-1, kGone},
        {-2, "the buffer is not full"},
        {-3, "the controller is busy"},
        {-5, "the controller cannot be reached, or no thread could be started"}};
inline const Meanings kOfCancel{{-1, "the transfer has ended"},
                                {-4, "there is no transfer, or the controller refuses to end it"}};
inline const Meanings kOfOutcome{
        {1, "cancelled"},
        {-1, "refused by the controller"},
        {-2, "timed out, not taken by the controller, or ended with an unknown outcome"},
        {-3, "the controller is busy, or the transfer could not be started"},
};

/** `the controller is busy (-3)` */
inline std::string inWords(const Meanings& meanings, int32_t code) {
    const char* words = "failed for another reason";
    for (const Meaning& meaning : meanings) {
        if (meaning.code == code) words = meaning.words;
    }
    return words + (" (" + std::to_string(code) + ")");
}

}  // namespace audioctl
