/* audioctl: its arguments, its calls and output, and when it ends. */

#include "host/audioctl/calibration_svg.h"
#include "host/audioctl/curve.h"
#include "host/audioctl/methods.h"
#include "tests/support/hidl_fakes.h"
#include "tests/support/program.h"

using namespace audioctl;
using namespace fakes;

namespace {

/** An object that programs find as the service "default". */
template <typename Fake>
sp<Fake> served() {
    const sp<Fake> object = new Fake;
    EXPECT_EQ(android::OK, object->registerAsService());
    return object;
}

/** The result of a call or its error. Without an object the arguments are parsed only. */
std::string call(Lines words, IBase* object = nullptr, Callbacks* callbacks = nullptr) try {
    const Method& method = findInterface(words.at(0)).method(words.at(1));
    const Call bound = method.bind({words.begin() + 2, words.end()}, callbacks);
    return object == nullptr ? "" : toLine(bound(*object));
} catch (const std::runtime_error& error) {
    return error.what();
}

TEST(Arguments, FitTheirParameterOrAreNamed) {
    for (const std::string& line : find(expected("arguments.txt"), "([^\n]+)\n")) {
        const size_t arrow = line.find(" =>");
        std::string problem = call(find(line.substr(0, arrow), "(\\S+)"));
        std::replace(problem.begin(), problem.end(), '\n', '|');
        EXPECT_EQ(line, line.substr(0, arrow) + (problem.empty() ? " =>" : " => " + problem));
    }
    EXPECT_EQ("argument 1: nested too deeply",
              call({"IHdmiAudio", "setAudioCapabilities", std::string(100000, '[')}));
}

TEST(Values, AreReadAndWrittenExactly) {
    const TempSet set;
    set.write("bytes", "[]");
    const sp<FakeVirtualizer> sum = new FakeVirtualizer;
    EXPECT_EQ(std::to_string(2 + '[' + ']'),
              call({"IHeadphoneVirtualizer", "append", "1", "@" + set.path("bytes")}, sum.get()));
    const sp<FakeCalibration> object = new FakeCalibration;
    const char* const data = R"([{"channel":"","bands":[{"type":"FL","value1":0.1,"value2":-9.0,)"
                             R"("gain":3.4028235e+38}],"volume":"NaN","delay":"-Infinity"}])";
    EXPECT_EQ("1", call({"IAcousticCalibration", "setCalibratedData", data}, object.get()));
    EXPECT_EQ(data, call({"IAcousticCalibration", "getCalibratedData"}, object.get()));
}

TEST(Calls, ReachTheObjectAndItsCallback) {
    struct Gone : public FakeHdmiAudio {
        Return<void> getAudioCapabilities(getAudioCapabilities_cb) override {
            return Status::fromStatusT(android::DEAD_OBJECT);
        }
    };
    Callbacks callbacks;
    const sp<FakeHdmiAudio> object = new FakeHdmiAudio, gone = new Gone;
    EXPECT_EQ("null", call({"IHdmiAudio", "setCallback", "callback"}, object.get(), &callbacks));
    EXPECT_EQ("0", call({"IHdmiAudio@1.0", "setAudioCapabilities", R"(["tell"])"}, object.get()));
    EXPECT_EQ(Lines{R"(onCapabilityChanged ["tell"])"}, callbacks.take());
    EXPECT_EQ("null", call({"IHdmiAudio", "setCallback", "null"}, object.get()));
    EXPECT_EQ(nullptr, object->callback);
    object->kept = {hidl_string("a\0b", 3), "\xFF", "\""};
    EXPECT_EQ("[\"a\\u0000b\",\"\uFFFD\",\"\\\"\"]",
              call({"IHdmiAudio", "getAudioCapabilities"}, object.get()));
    EXPECT_EQ("the call failed: the other side is gone",
              call({"IHdmiAudio", "getAudioCapabilities"}, gone.get()));
}

TEST(Upload, FailsIfTheServiceHasNoMemory) {
    const TempSet set;
    set.write("parameters", "0123456789");
    const sp<FakeVirtualizer> full = served<FakeVirtualizer>();
    Program program({"audioctl", "upload", "device", set.path("parameters")});
    EXPECT_EQ(1, program.wait());
    EXPECT_TRUE(program.hasLogged("no memory for 10 bytes"));
}

TEST(Curve, HasItsGlyphsAndItsWidthForAnyNumberOfBands) {
    const std::vector<float> gains{0, 1, 2, 3, 9, INFINITY, NAN, -1, -2, -3, -9.1f};
    EXPECT_EQ(find(expected("curve.txt"), "(.*)\n"), drawCurve(gains, Look::RICH));
    for (size_t bands : {0, 1, 31, 1000}) {
        for (const std::string& line : drawCurve(std::vector<float>(bands), Look::PLAIN)) {
            EXPECT_EQ(kCurveWidth, line.size());
        }
    }
}

TEST(Status, ShowsAnyDataOfTheServicesThatAreThere) {
    const TempSet set;
    EXPECT_EQ(3, Program({"audioctl", "status"}).wait());

    const sp<FakeCalibration> calibration = served<FakeCalibration>();
    EXPECT_EQ("9", call({"IAcousticCalibration", "setCalibratedData",
                         "@" SOURCE_DIR "/examples/calibration.json"},
                        calibration.get()));
    hidl_vec<V3_0::bandEqualizer> hostile(40);
    const float gains[] = {1, 4, 8, 9.1f, INFINITY, NAN, -0.4f, -1.5f, -5, -1e38f};
    for (size_t i = 0; i < std::size(gains); i++) hostile[i].gain = gains[i];
    calibration->kept = {calibration->kept[0],
                         {"\033[2J\u009B\xFF\x7F", hostile, NAN, 3e38f},
                         {"", {}, -INFINITY, 0}};
    const sp<FakeSpeaker> speaker = served<FakeSpeaker>();
    Program program({"audioctl", "status"});
    EXPECT_EQ(0, program.wait());
    EXPECT_EQ(expected("status.txt"), program.out());
}

TEST(Picture, IsXmlWithACurveForEachChannel) {
    CalibrationPicture picture{true, {}, FakeCalibration::parameters().channelCurves};
    hidl_vec<V3_0::bandEqualizer> bands(40);
    const float gains[] = {0, 9, -9, 4.5f, 1e38f, -INFINITY, NAN, -0.5f};
    for (size_t i = 0; i < std::size(gains); i++) bands[i].gain = gains[i];
    for (const char* name : {"FL", "<&>\"'", "\x01\xFF", "x", "x"}) {
        const size_t count = picture.channels.size();
        picture.channels.resize(count + 1);
        picture.channels[count] = {name, bands, NAN, -1e38f};
        std::string svg = draw(picture);
        EXPECT_EQ(count + 1, countOf(svg, "<polyline points="));
        // Removes elements from the innermost outwards, until nothing is left.
        const std::regex element(R"(<(\w+)( [\w-]+="[^"<&]*")*\s*(/>|>([^<>&]|&#\d+;)*</\1>))");
        for (size_t size = 0; size != svg.size();) {
            size = svg.size();
            svg = std::regex_replace(svg, element, "");
        }
        EXPECT_EQ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n\n", svg);
    }
    EXPECT_EQ(expected("picture_of_many.svg"), draw(picture));
    picture.channels.resize(1);
    EXPECT_EQ(expected("picture_of_one.svg"), draw(picture));
}

TEST(Picture, IsInItsFileOrNowhere) {
    const TempSet set;
    const auto status = [](const std::string& file) {
        return Program({"audioctl", "status", "--svg", file}).wait();
    };
    EXPECT_EQ(3, status(set.path("svg")));
    EXPECT_FALSE(set.has("svg"));
    const sp<FakeCalibration> calibration = served<FakeCalibration>();
    set.write("svg", "old");
    EXPECT_EQ(0, status(set.path("svg")));
    EXPECT_EQ(draw({true, {}, {}}), set.read("svg"));
    for (const char* file : {"svg/x", "run", "none/x"}) EXPECT_EQ(2, status(set.path(file)));
    EXPECT_EQ(2, status("/dev/full"));
    EXPECT_FALSE(set.has("svg.part"));
}

TEST(Status, EndsWithTheConnection) {
    struct Dying : public FakeSpeaker {
        Return<V2_0::SurroundType> getSurroundType() override { _exit(0); }
    };
    const TempSet set;
    const Process service([] {
        configureRpcThreadpool(1, true);
        const sp<Dying> speaker = served<Dying>();
        joinRpcThreadpool();
    });
    ASSERT_TRUE(Program::poll([&] {
        return set.hasService(std::string(V3_1::IOutputSpeaker::descriptor) + "/default");
    }));
    Program program({"audioctl", "status"});
    EXPECT_EQ(3, program.wait());
    EXPECT_EQ("audioctl: TV speakers: the call failed: the other side is gone\n", program.err());
}

}  // namespace
