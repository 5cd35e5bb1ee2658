/*
 * Arbitrary words as arguments of any method: audioctl makes a call of them, or names the error.
 * What it accepts, it writes as JSON that it accepts again.
 */

#include <fuzzer/FuzzedDataProvider.h>

#include "host/audioctl/methods.h"
#include "tests/support/hidl_fakes.h"

using namespace audioctl;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    static Callbacks callbacks;
    static const android::sp<fakes::FakeCalibration> object = new fakes::FakeCalibration;
    const size_t last = allMethods().size() - 1;
    const Method& any = allMethods()[input.ConsumeIntegralInRange<size_t>(0, last)];
    std::vector<std::string> words;
    for (size_t i = 1; i < any.parameters.size(); i++)
        words.push_back(input.ConsumeRandomLengthString());
    words.push_back(input.ConsumeRemainingBytesAsString());
    for (const std::string& word : words) {
        if (!word.empty() && word[0] == '@') return 0;  // names a file
    }
    try {
        any.bind(words, &callbacks);
    } catch (const UsageError&) {
    }
    const Interface& calibration = findInterface("IAcousticCalibration");
    const auto store = [&](const std::string& list) {
        calibration.method("setCalibratedData").bind({list}, nullptr)(*object);
        return toLine(calibration.method("getCalibratedData").bind({}, nullptr)(*object));
    };
    try {
        const std::string list = store(words.back());
        if (store(list) != list) abort();
    } catch (const UsageError&) {
    }
    return 0;
}
