#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/process.h"
#include "tests/support/temp_set.h"

/** A text that a test expects, from tests/data. */
inline std::string expected(const std::string& name) {
    const std::string text = readFile(SOURCE_DIR "/tests/data/" + name);
    if (text.empty()) abort();
    return text;
}

/** How many threads a process has, but for that of an emulator. */
inline int threadCount(pid_t pid) {
    const std::filesystem::directory_iterator threads("/proc/" + std::to_string(pid) + "/task");
    return int(std::distance(begin(threads), end(threads))) - (*EMULATOR != '\0');
}

/** A program of the build, running in the environment of the test until this object ends. */
class Program : public Process {
  public:
    using Preparation = void (*)();

    /**
     * @param words name of the program in the build's folder, and its arguments.
     * @param prepare called in the new process, with its output redirected, before the program.
     */
    explicit Program(
            const Lines& words, Preparation prepare = [] {})
        : Program(words, prepare, makeTempFolder()) {}
    ~Program() {
        end();
        std::filesystem::remove_all(mFolder);
    }

    /** What it has written so far. */
    std::string out() const { return readFile(mFolder + "/out"); }
    std::string err() const { return readFile(mFolder + "/err"); }

    /** Waits until it has written a text to standard error; false after 30 seconds. */
    bool hasLogged(const std::string& text) const {
        return poll([&] { return err().find(text) != std::string::npos; });
    }

    /** Waits for a condition; false after 30 seconds. */
    template <typename Condition>
    static bool poll(Condition condition) {
        for (int i = 0; i < 3000; i++) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    static void redirect(const std::string& path, int to) {
        dup2(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), to);
    }

  private:
    Program(Lines words, Preparation prepare, const std::string& folder)
        : Process([&] {
              redirect(folder + "/out", STDOUT_FILENO);
              redirect(folder + "/err", STDERR_FILENO);
              prepare();
              words[0] = BINARY_DIR "/" + words[0];
              if (*EMULATOR != '\0') words.insert(words.begin(), EMULATOR);
              std::vector<char*> arguments;
              for (std::string& word : words) arguments.push_back(word.data());
              arguments.push_back(nullptr);
              execv(arguments[0], arguments.data());
              _exit(127);
          }),
          mFolder(folder) {}

    const std::string mFolder;
};

/** The service, once it answers calls. */
struct Service : public Program {
    Service() : Program({"hidlaudio"}) {
        EXPECT_TRUE(poll([] {  // until the last service is registered
            return Program({"audioctl", "call", "IHeadphoneVirtualizer", "getMaxAppendSize"})
                           .wait() == 0;
        })) << err();
    }
};

/** The set's primary audio HAL, in a process of its own. */
struct Hal : public Program {
    Hal() : Program({"tvset", "primary-hal"}) {
        EXPECT_TRUE(poll([this] { return out() == "primary audio HAL is ready\n"; })) << err();
    }
};
