#include "host/tvset/tool/create.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace tvset {
namespace {

/** A part of the audio-quality data file: little-endian 32-bit words from an offset on. */
struct Region {
    size_t offset;
    std::vector<int32_t> words;
};

constexpr size_t kQualityDataSize = 23944;

/** A flag word (1: in use) and 31 gains in 0.1 dB. */
std::vector<int32_t> curve(int32_t inUse, int32_t first, int32_t last) {
    constexpr int32_t kBands = 31;
    std::vector<int32_t> words{inUse};
    for (int32_t band = 0; band < kBands; ++band) {
        words.push_back(first + (last - first) * band / (kBands - 1));
    }
    return words;
}

std::vector<int32_t> calibrationScalars() {
    // clang-format off
    std::vector<int32_t> words{
            48000, 4096, 3, 2, 1,               // rates and counts
            750, 850, 650,                      // levels, 0.1 dB
            90, -90,                            // upper and lower volume limit, 0.1 dB
            10, 340,
            100, -60,                           // delay limit in 0.1 ms, target in 0.1 dB
            0x02050A00, int32_t(0xC8C8C800),    // Front, Center, Other: from 10 Hz, to 100 Hz units
            0x0A0A1400, 0x64645000,
    };
    // clang-format on
    const auto common = curve(0, 30, 60);
    words.insert(words.end(), common.begin() + 1, common.end());
    return words;
}

std::vector<Region> qualityRegions() {
    return {
            {0x4BD4, calibrationScalars()},  // scalars, frequency ranges, common curve
            {0x5744, curve(1, 20, -35)},     // Front
            {0x57C4, curve(1, 15, -30)},     // Center
            {0x5844, curve(1, 10, -40)},     // Surround
            {0x58C4, curve(0, 0, 0)},        // SurroundBack
            {0x5944, curve(0, 0, 0)},        // FrontHeight
            {0x5D74, {2, 1024, 0, 0, 0}},    // centre speaker: acoustics type, latency
    };
}

std::string qualityData() {
    std::string bytes(kQualityDataSize, '\0');
    for (const auto& [offset, words] : qualityRegions()) {
        memcpy(&bytes.at(offset), words.data(), words.size() * sizeof(words[0]));
    }
    return bytes;
}

std::string eeprom(const SetOptions& options) {
    constexpr size_t kSize = 0x20000;
    constexpr char kErased = '\xFF';
    std::string bytes(kSize, kErased);
    bytes[0x1001A] = options.hasBackEnd;
    bytes[0x10089] = options.segment;
    bytes[0x10116] = options.centerMode;
    return bytes;
}

std::vector<std::pair<std::string, std::string>> filesOfSet(const SetOptions& options) {
    std::vector<std::pair<std::string, std::string>> files{
            {"fs/data/vendor/tmp/recipe/aqda.bin", qualityData()},
            {"config/g_audio__tv_position", "0\n"},
            {"config/g_audio__spk_sur_type", "1\n"},
            {"config/g_audio__aud_speaker", "0\n"},
            {"config/g_audio__bitstream_output_mode", "0\n"},
            {"config/g_audio__arc_dd_plus_capab", "1\n"},
            {"config/g_audio__earc_ddp_cap", "2\n"},
            {"config/g_audio__arc_mpeg4_aac_lc_capab", "1\n"},
            {"eeprom.bin", eeprom(options)},
            {"bectrl/launch_after", "0\n"},
            {"audio/cpupost_ready_after", "0\n"},
            {"faults", ""},
            {"journal", ""},
            {"declared",
             options.hasHal ? "android.hardware.audio@5.0::IDevicesFactory/default\n" : ""},
            {"lock", ""},
    };
    if (options.hasBackEnd) {
        const std::string atRest(2, '\0');
        files.emplace_back("fs/proc/driver/zavo_bectrl/audio/device_parameter_complete", atRest);
        files.emplace_back("fs/proc/driver/zavo_bectrl/audio/hrtf_parameter_complete", atRest);
        files.emplace_back("bectrl/reaction", "0 0x01 20\n");
        files.emplace_back("bectrl/device_parameters.bin", "");
        files.emplace_back("bectrl/hrtf_parameters.bin", "");
    }
    if (options.isReady) files.emplace_back("fs/data/vendor/tmp/dtv_svc_is_ready", "");
    return files;
}

void fill(const fs::path& root, const SetOptions& options) {
    for (const auto& [name, content] : filesOfSet(options)) {
        const fs::path path = root / name;
        fs::create_directories(path.parent_path());
        std::ofstream file(path, std::ios::binary);
        file << content;
        file.close();
        if (!file) throw std::runtime_error("cannot write " + path.string());
    }
    fs::create_directories(root / "fs/data/vendor/zavo/hidlaudio");
    fs::create_directory(root / "run");
}

/** Meanwhile, new files and directories are accessible to this user alone: 0600 and 0700. */
class PrivateUmask {
  public:
    PrivateUmask() : mBefore(umask(S_IRWXG | S_IRWXO)) {}
    ~PrivateUmask() { umask(mBefore); }
    PrivateUmask(const PrivateUmask&) = delete;
    PrivateUmask& operator=(const PrivateUmask&) = delete;

  private:
    const mode_t mBefore;
};

/** A directory next to the set, in which the set is built; removed unless it has been renamed. */
class StagingDirectory {
  public:
    explicit StagingDirectory(const fs::path& parent) {
        fs::create_directories(parent);
        std::string name = parent / ".tvset-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(),
                                    "cannot make a directory in " + parent.string());
        }
        mPath = name;
    }
    ~StagingDirectory() {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }
    StagingDirectory(const StagingDirectory&) = delete;
    StagingDirectory& operator=(const StagingDirectory&) = delete;

    const fs::path& path() const { return mPath; }

  private:
    fs::path mPath;
};

}  // namespace

void createSet(const std::string& root, const SetOptions& options) {
    fs::path target = fs::absolute(root).lexically_normal();
    if (!target.has_filename()) target = target.parent_path();

    const PrivateUmask privately;
    const StagingDirectory staging(target.parent_path());
    fill(staging.path(), options);
    std::error_code error;
    fs::rename(staging.path(), target, error);  // replaces an empty directory, nothing else
    if (!error) return;
    if (fs::exists(fs::symlink_status(target))) {
        throw std::runtime_error(target.string() + " is there already; remove it first");
    }
    throw std::system_error(error, "cannot make " + target.string());
}

}  // namespace tvset
