#include "host/audioctl/status.h"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

#include <com/zavo/dtv/hardware/audio/3.1/IAcousticCalibration.h>
#include <com/zavo/dtv/hardware/audio/3.1/IHdmiAudio.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputEncodingStatusListener.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputExternal.h>
#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>
#include <com/zavo/dtv/hardware/audio/4.0/ICenterSpeaker.h>
#include <com/zavo/dtv/hardware/audio/5.0/IHeadphoneVirtualizer.h>

#include "host/audioctl/errors.h"
#include "host/audioctl/text.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;

namespace {

using Lines = std::vector<std::string>;

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

std::string availability(bool isAvailable) {
    return isAvailable ? "available" : "not available";
}

/** The values of a service, separated by commas. */
template <typename T, typename InWords>
std::string list(const hidl_vec<T>& values, InWords inWords) {
    std::string text;
    for (const T& value : values) text += (text.empty() ? "" : ", ") + inWords(value);
    return text.empty() ? "none" : text;
}

Lines describeHdmi(V3_1::IHdmiAudio& hdmi, Look) {
    hidl_vec<hidl_string> names;
    examine(hdmi.getAudioCapabilities([&](const auto& told) { names = told; }));
    const char* const labels[] = {"ARC Dolby", "eARC Dolby", "ARC AAC"};
    Lines lines;
    for (size_t i = 0; i < std::min(names.size(), std::size(labels)); i++) {
        lines.push_back(item(labels[i], printable(names[i])));
    }
    return lines;
}

/** This service has no state. */
Lines describeListener(V3_1::IOutputEncodingStatusListener&, Look) {
    return {};
}

Lines describeCenter(V4_0::ICenterSpeaker& center, Look) {
    hidl_vec<int16_t> types;
    examine(center.getCenterSpeakerAcousticsType([&](const auto& told) { types = told; }));
    V4_0::SampleLatency latency{};
    examine(center.getCenterSpeakerLatency([&](const auto& told) { latency = told; }));
    char text[80];
    snprintf(text, sizeof(text), "%d samples at %d Hz, %.4g ms", latency.samples,
             latency.samplingRate, 1000.0 * latency.samples / latency.samplingRate);
    return {item("acoustics type", list(types, [](int16_t type) { return std::to_string(type); })),
            item("latency", text),
            item("input", availability(valueOf(center.isCenterSpeakerInputAvailable()))),
            item("synchronised",
                 availability(valueOf(center.isSynchronizedCenterSpeakerInputAvailable())))};
}

Lines describeVirtualizer(V5_0::IHeadphoneVirtualizer& virtualizer, Look) {
    hidl_string type;
    examine(virtualizer.getVirtualizerType([&](const auto& told) { type = told; }));
    hidl_vec<hidl_string> types;
    examine(virtualizer.getAvailableVirtualizerTypes([&](const auto& told) { types = told; }));
    return {item("virtualizer", onOff(valueOf(virtualizer.getVirtualizerEnabled()))),
            item("type", printable(type)),
            item("available types", list(types, [](const auto& name) { return printable(name); })),
            item("upmix", onOff(valueOf(virtualizer.getUpmixEnabled())))};
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
    char values[80];
    snprintf(values, sizeof(values), "%-4.10s %+.3g dB  %.3g ms", printable(data.channel).c_str(),
             data.volume, data.delay);
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

/** The section of a service. */
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
    // The longest comes last.
    static const std::vector<Section> table{
            section("HDMI audio", describeHdmi),
            section("External output", describeExternal),
            section("Encoding listener", describeListener),
            section("TV speakers", describeSpeaker),
            section("Centre speaker", describeCenter),
            section("Headphone virtualizer", describeVirtualizer),
            section("Room calibration", describeCalibration),
    };
    return table;
}

}  // namespace

bool printStatus(Look look) {
    const bool isRich = look == Look::RICH;
    bool isAnyThere = false;
    for (const Section& section : allSections()) {
        const auto lines = section.describe(look);
        const char* const note = !lines ? ": not there" : lines->empty() ? ": there" : "";
        printLine((isRich ? "\033[1m" + section.title + "\033[0m" : section.title) + note);
        for (std::string line : lines.value_or(Lines{})) {
            line = "  " + line;
            line.erase(line.find_last_not_of(' ') + 1);
            printLine(line);
        }
        isAnyThere = isAnyThere || lines;
    }
    return isAnyThere;
}

}  // namespace audioctl
