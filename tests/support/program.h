#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

/** A program of the build, running in the environment of the test until this object ends. */
class Program {
  public:
    /** @param words name of the program in the build's folder, and its arguments. */
    explicit Program(std::vector<std::string> words) {
        std::string folder = std::filesystem::temp_directory_path() / "program-XXXXXX";
        if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no temporary directory");
        mFolder = folder;
        words[0] = std::string(BINARY_DIR) + "/" + words[0];
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        mPid = fork();
        if (mPid != 0) return;
        redirect("out", STDOUT_FILENO);
        redirect("err", STDERR_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    ~Program() {
        if (mStatus < 0) signalAndWait(SIGKILL);
        std::filesystem::remove_all(mFolder);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return mPid; }

    /** Waits for the end. @return the exit status, or 128 and the signal that ended it. */
    int wait() {
        if (mStatus >= 0) return mStatus;
        int status = 0;
        waitpid(mPid, &status, 0);
        mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return mStatus;
    }
    int signalAndWait(int signal) {
        kill(mPid, signal);
        return wait();
    }

    /** What it has written so far. */
    std::string out() const { return read("out"); }
    std::string err() const { return read("err"); }

    /** Waits until it has written a text to standard error; false after 10 seconds. */
    bool hasLogged(const std::string& text) const {
        return poll([&] { return err().find(text) != std::string::npos; });
    }

    /** Waits for a condition; false after 10 seconds. */
    template <typename Condition>
    static bool poll(Condition condition) {
        for (int i = 0; i < 1000; i++) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

  private:
    void redirect(const char* name, int to) const {
        dup2(open((mFolder + "/" + name).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), to);
    }
    std::string read(const char* name) const {
        std::ifstream file(mFolder + "/" + name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string mFolder;
    pid_t mPid = -1;
    int mStatus = -1;
};
