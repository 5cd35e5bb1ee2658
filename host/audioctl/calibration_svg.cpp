#include "host/audioctl/calibration_svg.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include <android-base/stringprintf.h>

#include "host/audioctl/curve.h"
#include "host/audioctl/errors.h"
#include "host/audioctl/text.h"

namespace audioctl {

using namespace com::zavo::dtv::hardware::audio;
using android::base::StringAppendF;
using android::base::StringPrintf;
using android::hardware::hidl_vec;

namespace {

constexpr int kMostGain = 9;  // dB: the service accepts -9 to +9
constexpr int kGainStep = 3;
constexpr int kBandStep = 5;

// Lengths are in pixels.
constexpr int kPageWidth = 960;
constexpr int kMargin = 24;
constexpr int kHeadHeight = 108;
constexpr int kLeft = 50;  // of a diagram's plot: what stands around it
constexpr int kTop = 28;
constexpr int kRight = 14;
constexpr int kBottom = 48;

constexpr char kInk[] = "#222222";
constexpr char kFaint[] = "#666666";
constexpr char kGrid[] = "stroke=\"#dddddd\"";
constexpr char kZero[] = "stroke=\"#666666\"";
constexpr char kStored[] = "stroke=\"#1560bd\" stroke-width=\"2\"";
constexpr char kDefault[] = "stroke=\"#b35900\" stroke-width=\"1.5\" stroke-dasharray=\"5 3\"";

/** The fewer diagrams, the larger they are. All sizes make the same page width. */
struct Layout {
    size_t most;  // diagrams
    size_t columns;
    int bandWidth;
    int decibelHeight;

    int plotWidth() const { return bandWidth * (static_cast<int>(kCurveBands) - 1); }
    int plotHeight() const { return decibelHeight * 2 * kMostGain; }
    int width() const { return kLeft + plotWidth() + kRight; }
    int height() const { return kTop + plotHeight() + kBottom; }

    int x(size_t band) const { return kLeft + bandWidth * static_cast<int>(band); }
    double y(float gain) const {
        constexpr auto kMost = static_cast<float>(kMostGain);
        return kTop + decibelHeight * static_cast<double>(kMost - std::clamp(gain, -kMost, kMost));
    }
};
constexpr Layout kLayouts[] = {{1, 1, 28, 20}, {4, 2, 13, 15}, {SIZE_MAX, 3, 8, 10}};

/** The groups of the default curves, and the channels that clients store for them. */
const struct {
    const char* group;
    std::vector<std::string> channels;
} kGroups[] = {
        {"Front", {"FL", "FR"}},         {"Center", {"C"}},
        {"Surround", {"LS", "RS"}},      {"SurroundBack", {"LB", "RB"}},
        {"FrontHeight", {"TFL", "TFR"}},
};

std::string escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (std::string("&<>\"").find(c) == std::string::npos) {
            escaped += c;
        } else {
            StringAppendF(&escaped, "&#%d;", c);
        }
    }
    return escaped;
}

/** @param style attributes. @param words of any bytes. */
std::string textAt(double x, double y, const std::string& style, const std::string& words) {
    return StringPrintf("<text x=\"%g\" y=\"%g\" %s>%s</text>\n", x, y, style.c_str(),
                        escape(printable(words)).c_str());
}

std::string style(int size, const char* colour, const char* more = "") {
    return StringPrintf("font-size=\"%d\" fill=\"%s\" %s", size, colour, more);
}

std::string line(double x1, double y1, double x2, double y2, const char* look) {
    return StringPrintf("<line x1=\"%g\" y1=\"%g\" x2=\"%g\" y2=\"%g\" %s/>\n", x1, y1, x2, y2,
                        look);
}

std::string grid(const Layout& layout, bool isFirstColumn) {
    std::string svg;
    for (int gain = -kMostGain; gain <= kMostGain; gain += kGainStep) {
        const double y = layout.y(static_cast<float>(gain));
        svg += line(kLeft, y, kLeft + layout.plotWidth(), y, gain == 0 ? kZero : kGrid);
        svg += textAt(kLeft - 6, y + 4, style(11, kFaint, "text-anchor=\"end\""),
                      StringPrintf(gain == 0 ? "0" : "%+d", gain));
    }
    const double bottom = kTop + layout.plotHeight();
    for (size_t band = 0; band < kCurveBands; band += kBandStep) {
        svg += line(layout.x(band), kTop, layout.x(band), bottom, kGrid);
        svg += textAt(layout.x(band), bottom + 15, style(11, kFaint, "text-anchor=\"middle\""),
                      std::to_string(band + 1));
    }
    svg += textAt(kLeft + layout.plotWidth() / 2.0, bottom + 31,
                  style(11, kFaint, "text-anchor=\"middle\""), "band");
    if (isFirstColumn) {
        const double middle = kTop + layout.plotHeight() / 2.0;
        svg += textAt(-middle, 14,
                      style(11, kFaint, "text-anchor=\"middle\" transform=\"rotate(-90)\""),
                      "gain, dB");
    }
    return svg;
}

/** The points of a curve; a NaN has none. */
std::string points(const hidl_vec<V3_0::bandEqualizer>& bands, const Layout& layout) {
    std::string list;
    for (size_t i = 0; i < std::min(bands.size(), kCurveBands); i++) {
        if (std::isnan(bands[i].gain)) continue;
        StringAppendF(&list, "%s%d,%g", list.empty() ? "" : " ", layout.x(i),
                      layout.y(bands[i].gain));
    }
    return list;
}

/** Marks for values that a polyline cannot show. */
std::string oddGains(const hidl_vec<V3_0::bandEqualizer>& bands, const Layout& layout) {
    std::string svg;
    for (size_t i = 0; i < std::min(bands.size(), kCurveBands); i++) {
        const float gain = bands[i].gain;
        if (std::abs(gain) <= kMostGain) continue;
        const double x = layout.x(i);
        if (std::isnan(gain)) {
            svg += textAt(x, layout.y(0), style(14, kInk, "text-anchor=\"middle\""), "?");
            continue;
        }
        const double end = layout.y(gain) + (gain > 0 ? -7 : 7);
        svg += StringPrintf("<path d=\"M%g,%g l-4,%d h8 z\" fill=\"%s\"/>\n", x, end,
                            gain > 0 ? 6 : -6, kInk);
    }
    return svg;
}

/** @return null if the set has none for the channel, or does not use it. */
const V3_0::channelCurve* defaultFor(const V3_0::calibratedData& channel,
                                     const CalibrationPicture& picture) {
    for (const auto& known : kGroups) {
        const auto& names = known.channels;
        if (std::find(names.begin(), names.end(), channel.channel) == names.end()) continue;
        for (const auto& curve : picture.defaults) {
            if (curve.enabled && curve.channel == known.group) return &curve;
        }
    }
    return nullptr;
}

std::string diagram(const V3_0::calibratedData& channel, const V3_0::channelCurve* behind,
                    const Layout& layout, bool isFirstColumn) {
    std::string values =
            StringPrintf("volume %+.3g dB, delay %.3g ms", channel.volume, channel.delay);
    if (channel.bands.size() != kCurveBands) {
        values += ", " + std::to_string(channel.bands.size()) + " bands";
    }
    std::string svg =
            textAt(kLeft, kTop - 9, style(14, kInk, "font-weight=\"bold\""), channel.channel);
    svg += textAt(kLeft + layout.plotWidth(), kTop - 9, style(12, kInk, "text-anchor=\"end\""),
                  values);
    svg += grid(layout, isFirstColumn);
    if (behind != nullptr) {
        svg += StringPrintf("<path d=\"M%s\" fill=\"none\" %s/>\n",
                            points(behind->bands, layout).c_str(), kDefault);
    }
    svg += StringPrintf("<polyline points=\"%s\" fill=\"none\" %s/>\n",
                        points(channel.bands, layout).c_str(), kStored);
    return svg + oddGains(channel.bands, layout);
}

std::string head(const CalibrationPicture& picture) {
    const size_t count = picture.channels.size();
    const std::string stored = count == 0   ? "No channel is stored"
                               : count == 1 ? "1 channel is stored"
                                            : std::to_string(count) + " channels are stored";
    std::string svg =
            textAt(kMargin, 40, style(22, kInk, "font-weight=\"bold\""), "Room calibration");
    svg += textAt(kMargin, 62, style(13, kInk),
                  stored + "; the calibration is " + (picture.isOn ? "on" : "off"));
    if (count == 0) return svg;
    svg += line(kMargin, 82, kMargin + 32, 82, kStored);
    svg += textAt(kMargin + 40, 86, style(12, kInk),
                  "stored gain of the 31 bands, 1 is the lowest");
    const bool hasDefault =
            std::any_of(picture.channels.begin(), picture.channels.end(),
                        [&](const auto& channel) { return defaultFor(channel, picture); });
    if (!hasDefault) return svg;
    svg += line(kMargin + 340, 82, kMargin + 372, 82, kDefault);
    return svg + textAt(kMargin + 380, 86, style(12, kInk),
                        "default curve of the channel's group, from the set's sound tuning");
}

/** A file that is not regular, such as a pipe, is written in place. */
void replaceFile(const std::string& name, const std::string& content) {
    struct stat status {};
    const bool isSpecial = lstat(name.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    const std::string written = isSpecial ? name : name + ".part";
    FILE* const file = fopen(written.c_str(), "w");
    bool isDone = file != nullptr && fwrite(content.data(), content.size(), 1, file) == 1;
    isDone = file != nullptr && fclose(file) == 0 && isDone;
    if (isDone && (isSpecial || rename(written.c_str(), name.c_str()) == 0)) return;
    const int error = errno;
    if (file != nullptr && !isSpecial) unlink(written.c_str());
    throw UsageError("cannot write " + name + ": " + strerror(error));
}

}  // namespace

std::string draw(const CalibrationPicture& picture) {
    const size_t count = picture.channels.size();
    const Layout& layout = *std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                         [=](const Layout& each) { return count <= each.most; });
    const size_t rows = (count + layout.columns - 1) / layout.columns;
    const int height = kHeadHeight + static_cast<int>(rows) * layout.height();
    std::string svg = StringPrintf(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" "
            "viewBox=\"0 0 %d %d\" font-family=\"sans-serif\">\n"
            "<title>Room calibration</title>\n"
            "<rect width=\"100%%\" height=\"100%%\" fill=\"#ffffff\"/>\n",
            kPageWidth, height, kPageWidth, height);
    svg += head(picture);
    for (size_t i = 0; i < count; i++) {
        const size_t column = i % layout.columns, row = i / layout.columns;
        svg += StringPrintf("<g transform=\"translate(%d,%d)\">\n",
                            kMargin + static_cast<int>(column) * layout.width(),
                            kHeadHeight + static_cast<int>(row) * layout.height());
        const auto& channel = picture.channels[i];
        svg += diagram(channel, defaultFor(channel, picture), layout, column == 0);
        svg += "</g>\n";
    }
    return svg + "</svg>\n";
}

void saveCalibrationSvg(V3_1::IAcousticCalibration& service, const std::string& file) {
    CalibrationPicture picture;
    picture.isOn = valueOf(service.getEnabled());
    examine(service.getCalibratedData([&](const auto& told) { picture.channels = told; }));
    examine(service.getCalibrationParameters(
            [&](const auto& told) { picture.defaults = told.channelCurves; }));
    replaceFile(file, draw(picture));
}

}  // namespace audioctl
