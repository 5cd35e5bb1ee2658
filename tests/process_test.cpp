/* The service as clients meet it: a process that is started, called, killed and started again. */

#include <com/zavo/dtv/hardware/audio/3.1/IOutputSpeaker.h>
#include <gtest/gtest.h>
#include <hidl/HidlTransportSupport.h>

#include <set>
#include <sstream>

#include "tests/support/program.h"
#include "tests/support/temp_set.h"

using namespace com::zavo::dtv::hardware::audio;
using android::sp;
using android::hardware::Return;
using V2_0::SurroundType;
using V3_1::TvPositionType;
using Lines = std::vector<std::string>;

namespace {

constexpr char kMarker[] = "fs/data/vendor/tmp/dtv_svc_is_ready";

/** What a complete service serves. */
const Lines kServices{"com.zavo.dtv.hardware.audio@3.1::IAcousticCalibration/default",
                      "com.zavo.dtv.hardware.audio@3.1::IHdmiAudio/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputEncodingStatusListener/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputExternal/default",
                      "com.zavo.dtv.hardware.audio@3.1::IOutputSpeaker/default",
                      "com.zavo.dtv.hardware.audio@4.0::ICenterSpeaker/default",
                      "com.zavo.dtv.hardware.audio@5.0::IHeadphoneVirtualizer/default"};

Lines split(const std::string& text) {
    std::istringstream stream(text);
    Lines lines;
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

struct Outcome {
    int status;
    std::string out;
};

Outcome audioctl(std::vector<std::string> words) {
    words.insert(words.begin(), "audioctl");
    Program program(words);
    const int status = program.wait();
    return {status, program.out()};
}

Outcome call(const std::string& interface, const std::string& method,
             const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> words{"call", interface, method};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return audioctl(words);
}

/** Waits until all services are there. */
bool isServing() {
    return Program::poll([] { return split(audioctl({"list"}).out) == kServices; });
}

std::string readFile(const std::string& name) {
    std::ifstream file(std::string(SOURCE_DIR) + "/" + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** Everything in a text that stands between two others. */
std::set<std::string> findAll(const std::string& text, const std::string& before,
                              const std::string& after) {
    std::set<std::string> found;
    for (size_t at = 0; (at = text.find(before, at)) != std::string::npos;) {
        at += before.size();
        found.insert(text.substr(at, text.find(after, at) - at));
    }
    return found;
}

TEST(Process, RefusesToStartWithoutASet) {
    setenv("TVSET_ROOT", "/nonexistent/set", 1);
    for (const Lines& words : {Lines{"hidlaudio"}, {"audioctl", "list"}}) {
        Program program(words);
        EXPECT_EQ(2, program.wait());
        EXPECT_EQ(words[0] + ": no TV set at /nonexistent/set; make one with 'tvset create'\n",
                  program.err());
    }
}

TEST(Process, RegistersEveryServiceAndKeepsASettingOverARestart) {
    TempSet set;
    for (const char* expected : {"true", "false"}) {
        Program service({"hidlaudio"});
        ASSERT_TRUE(isServing());
        EXPECT_EQ("D HidlAudio: ########## HIDL server side: main() is called:",
                  split(service.err()).front());
        EXPECT_EQ(std::string(expected) + "\n",
                  call("IOutputExternal", "getForceEncodingEnabled").out);
        EXPECT_EQ("0\n", call("IOutputExternal@2.0", "setForceEncodingEnabled", {"false"}).out);
        EXPECT_EQ(
                "null\n",
                call("IOutputEncodingStatusListener", "onEncodingFormatChanged", {"\"auto\""}).out);
        EXPECT_EQ(128 + SIGTERM, service.signalAndWait(SIGTERM));
    }
    EXPECT_EQ(3, call("IOutputExternal", "getEncodingFormat").status);
}

TEST(Process, IsNotReachableBeforeEveryServiceIsMade) {
    TempSet set({.isReady = false});
    Program service({"hidlaudio"});
    ASSERT_TRUE(service.hasLogged("waiting dtv_svc>>>>> count:5"));
    EXPECT_EQ("", audioctl({"list"}).out);
    set.write(kMarker, "");
    EXPECT_TRUE(isServing());
}

TEST(Process, EndsWhenARegistrationFailsAndKeepsTheEarlierOnes) {
    struct Other : public V3_1::IOutputSpeaker {
        Return<SurroundType> getSurroundType() override { return SurroundType::TYPE_0; }
        Return<TvPositionType> getTvPosition() override { return TvPositionType::TABLE_TOP; }
        Return<int32_t> setTvPosition(int32_t) override { return 0; }
    };
    TempSet set;
    const sp<V3_1::IOutputSpeaker> other = new Other;
    ASSERT_EQ(android::OK, other->registerAsService());

    Program service({"hidlaudio"});
    EXPECT_EQ(1, service.wait());
    EXPECT_EQ(
            "E HidlAudio: ########## HIDL OutputSpeaker server side: registerAsService() is "
            "failed:",
            split(service.err()).back());
    const std::string run = "run/com.zavo.dtv.hardware.audio@";
    for (const char* name :
         {"3.1::IHdmiAudio", "3.1::IOutputEncodingStatusListener", "3.1::IOutputExternal"}) {
        EXPECT_TRUE(std::filesystem::is_symlink(set.path(run + name + "/default"))) << name;
    }
    for (const char* name :
         {"3.1::IAcousticCalibration", "4.0::ICenterSpeaker", "5.0::IHeadphoneVirtualizer"}) {
        EXPECT_FALSE(set.has(run + name)) << name;
    }
}

TEST(Process, OutlivesAHalThatHangs) {
    TempSet set;
    Program hal({"tvset", "primary-hal"});
    ASSERT_TRUE(Program::poll([&] { return hal.out() != ""; }));
    EXPECT_EQ(1, Program({"tvset", "primary-hal"}).wait());  // a set has one

    Program service({"hidlaudio"});
    ASSERT_TRUE(Program::poll([] { return call("IOutputSpeaker", "getTvPosition").status == 0; }));
    const char *stored = "a_mtktvapi_config_set_value(-1, \"g_audio__tv_position\", 1, 7) = 0",
               *sent = "setParameters([], [{\"tv_position\", \"wall_mount\"}]) = 0";
    for (const char* last : {sent, stored}) {
        EXPECT_EQ("0\n", call("IOutputSpeaker", "setTvPosition", {"1"}).out);
        EXPECT_EQ(last, set.takeJournal().back());
        kill(hal.pid(), SIGSTOP);
    }
}

TEST(Process, ServesWhatItsInitFileItsManifestAndTheFrozenHashesName) {
    TempSet set;
    Program service({"hidlaudio"});
    ASSERT_TRUE(isServing());
    std::set<std::string> served;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(set.path("run"))) {
        if (entry.path().filename() == "default") {
            served.insert(entry.path().parent_path().filename());
        }
    }
    EXPECT_EQ(served, findAll(readFile("service/hidlaudio.rc"), "interface ", " default"));

    const std::string package = "com.zavo.dtv.hardware.audio";
    const std::string manifest = readFile("service/manifest_hidlaudio.xml");
    std::set<std::string> inManifest;
    for (const auto& name : findAll(manifest, "<fqname>", "/default<")) {
        inManifest.insert(package + name);
    }
    EXPECT_EQ(served, inManifest);

    const auto frozen = findAll(readFile("interfaces/current.txt"), " ", "\n");
    for (const std::string& name : served) EXPECT_TRUE(frozen.count(name)) << name;
}

}  // namespace
