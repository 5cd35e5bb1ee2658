#include "host/audioctl/status.h"

#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputExternal.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

#include "host/audioctl/errors.h"
#include "host/audioctl/json.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_vec;
using android::hardware::Return;

namespace {

using Lines = std::vector<std::string>;

template <typename T>
T valueOf(const Return<T>& result) {
    examine(result);
    return result;
}

/** One value and what it is. */
std::string item(std::string label, const std::string& value) {
    constexpr size_t kLabelWidth = 17;
    label.resize(kLabelWidth, ' ');
    return label + value;
}

std::string onOff(bool isOn) {
    return isOn ? "on" : "off";
}

/** `wall mount` of WALL_MOUNT; the number of a value without a name. */
template <typename Enum>
std::string inWords(Enum value) {
    std::string text = toString(value);
    for (char& c : text) c = c == '_' ? ' ' : static_cast<char>(tolower(c));
    return text;
}

Lines describeSpeaker(V3_1::IOutputSpeaker& speaker, Look) {
    return {item("TV position", inWords(valueOf(speaker.getTvPosition()))),
            item("surround", inWords(valueOf(speaker.getSurroundType())))};
}

Lines describeExternal(V3_1::IOutputExternal& external, Look) {
    return {item("forced encoding", onOff(valueOf(external.getForceEncodingEnabled())))};
}

/** A channel's line of values, which is as wide as a curve, above its curve. */
Lines describeChannel(const V3_0::calibratedData& data, Look look) {
    const std::string name = toAsciiLine(std::string(data.channel));
    char values[80];
    snprintf(values, sizeof(values), "%-4.10s %+.3g dB  %.3g ms",
             name.substr(1, name.size() - 2).c_str(), data.volume, data.delay);
    std::string title = values;
    if (data.bands.size() != kCurveBands) {
        title += "  " + std::to_string(data.bands.size()) + " bands";
    }
    title.resize(kCurveWidth, ' ');

    std::vector<float> gains;
    for (const auto& band : data.bands) gains.push_back(band.gain);
    Lines lines = drawCurve(gains, look);
    lines.insert(lines.begin(), title);
    return lines;
}

Lines describeCalibration(V3_1::IAcousticCalibration& calibration, Look look) {
    Lines lines{item("calibration", onOff(valueOf(calibration.getEnabled())))};
    hidl_vec<V3_0::calibratedData> stored;
    examine(calibration.getCalibratedData([&](const auto& data) { stored = data; }));
    lines.push_back(item("stored channels", std::to_string(stored.size())));
    if (stored.size() != 0) lines.push_back(item("curves", "dB over bands 1 to 31, lowest first"));
    // Two channels beside each other: one below the other, they would fill several screens.
    for (size_t i = 0; i < stored.size(); i += 2) {
        Lines pair = describeChannel(stored[i], look);
        if (i + 1 < stored.size()) {
            const Lines other = describeChannel(stored[i + 1], look);
            for (size_t row = 0; row < pair.size(); row++) pair[row] += "   " + other[row];
        }
        lines.push_back("");
        lines.insert(lines.end(), pair.begin(), pair.end());
    }
    return lines;
}

/** What there is to tell of a service. */
struct Section {
    std::string title;
    /** Null if the service is not registered. */
    std::function<std::optional<Lines>(Look look)> describe;
};

template <typename Interface>
Section section(const std::string& title, Lines (*describe)(Interface& service, Look look)) {
    return {title, [title, describe](Look look) -> std::optional<Lines> {
                const sp<Interface> service = Interface::getService();
                if (service == nullptr) return std::nullopt;
                try {
                    return describe(*service, look);
                } catch (const ServiceError& error) {
                    throw ServiceError(title + ": " + error.what());
                }
            }};
}

const std::vector<Section>& allSections() {
    static const std::vector<Section> table{
            section("TV speakers", describeSpeaker),
            section("External output", describeExternal),
            section("Room calibration", describeCalibration),
    };
    return table;
}

}  // namespace

bool printStatus(Look look) {
    const char* const format = look == Look::RICH ? "\033[1m%s\033[0m%s\n" : "%s%s\n";
    bool isAnyThere = false;
    for (const Section& section : allSections()) {
        const auto lines = section.describe(look);
        printf(format, section.title.c_str(), lines ? "" : ": not there");
        for (std::string line : lines.value_or(Lines{})) {
            line = "  " + line;
            line.erase(line.find_last_not_of(' ') + 1);
            puts(line.c_str());
        }
        isAnyThere = isAnyThere || lines;
    }
    return isAnyThere;
}

}  // namespace audioctl
