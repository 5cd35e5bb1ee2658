#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>

#include "host/tvset/tool/create.h"
#include "tests/support/text.h"

/** There once the middleware is ready. */
constexpr char kMarker[] = "fs/data/vendor/tmp/dtv_svc_is_ready";

inline std::string makeTempFolder() {
    std::string folder = std::filesystem::temp_directory_path() / "hidlaudio-test-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary directory");
    return folder;
}

/** A set in a directory of its own, the one that TVSET_ROOT names while the object lives. */
class TempSet {
  public:
    explicit TempSet(const tvset::SetOptions& options = {}) {
        tvset::createSet(mRoot, options);
        setenv("TVSET_ROOT", mRoot.c_str(), 1);
    }
    ~TempSet() {
        unsetenv("TVSET_ROOT");
        std::error_code ignored;
        std::filesystem::remove_all(mRoot, ignored);
    }
    TempSet(const TempSet&) = delete;

    const std::string& root() const { return mRoot; }
    std::string path(const std::string& name) const { return mRoot + "/" + name; }

    /** Whether a service, "INTERFACE/INSTANCE", has a socket. */
    bool hasService(std::string name) const {
        return has("run/" + name.replace(name.find('/'), 1, "%2F"));
    }

    bool has(const std::string& name) const { return std::filesystem::exists(path(name)); }

    /** The permission bits. */
    unsigned mode(const std::string& name) const {
        return static_cast<unsigned>(std::filesystem::status(path(name)).permissions());
    }

    std::string read(const std::string& name) const { return readFile(path(name)); }

    /** Replaces a file by a new one, so that even a change right after another is noticed. */
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(path(name + ".new"), std::ios::binary) << content;
        std::filesystem::rename(path(name + ".new"), path(name));
    }

    void remove(const std::string& name) const { std::filesystem::remove_all(path(name)); }

    /** The lines of the journal since the last call, which are then taken out of it. */
    Lines takeJournal() const {
        Lines lines = find(read("journal"), "(.*)\n");
        std::filesystem::resize_file(path("journal"), 0);
        return lines;
    }
    /** Compares what takeJournal() returns. @param line of the test, which a failure names. */
    void expectJournal(const Lines& expected, int line = __builtin_LINE()) const {
        EXPECT_EQ(expected, takeJournal()) << "at line " << line;
    }

  private:
    const std::string mRoot = makeTempFolder();
};
