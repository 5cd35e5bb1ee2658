#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>

/** Lines that pass from one process of a test to another, in order. */
class Lines {
  public:
    Lines() {
        if (pipe2(mEnds, O_CLOEXEC) != 0) abort();
    }

    void say(std::string line) const {
        line += '\n';
        if (write(mEnds[1], line.data(), line.size()) != ssize_t(line.size())) abort();
    }
    /** The next line, or "(nothing)" if none comes in time. */
    std::string next(std::chrono::milliseconds wait = std::chrono::seconds(10)) const {
        std::string line;
        pollfd readable{mEnds[0], POLLIN, 0};
        for (char c; poll(&readable, 1, int(wait.count())) == 1 && read(mEnds[0], &c, 1) == 1;) {
            if (c == '\n') return line;
            line += c;
        }
        return "(nothing)";
    }

  private:
    int mEnds[2];
};

inline Lines* gJournal;  // what servers and clients tell the test
inline Lines* gOrders;   // what the test tells a client

/** A process of its own, until the object ends. */
class Process {
  public:
    explicit Process(const std::function<void()>& body) : mPid(fork()) {
        if (mPid != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(0);
    }
    ~Process() { end(); }

    pid_t pid() const { return mPid; }
    void stop() const {
        kill(mPid, SIGSTOP);
        waitpid(mPid, nullptr, WUNTRACED);
    }
    void resume() const { kill(mPid, SIGCONT); }
    void end() {
        if (mPid <= 0) return;
        kill(mPid, SIGKILL);
        waitpid(mPid, nullptr, 0);
        mPid = 0;
    }
    /** A line of /proc/PID/status. */
    std::string status(const std::string& name) const {
        std::ifstream file("/proc/" + std::to_string(mPid) + "/status");
        for (std::string line; std::getline(file, line);) {
            if (line.rfind(name, 0) == 0) return line;
        }
        return "";
    }
    /** Processor time that it has used, in clock ticks. */
    long ticks() const {
        std::ifstream file("/proc/" + std::to_string(mPid) + "/stat");
        std::string word;
        for (int i = 0; i < 13; i++) file >> word;
        long user = 0, system = 0;
        file >> user >> system;
        return user + system;
    }

  private:
    pid_t mPid;
};
