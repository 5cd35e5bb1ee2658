#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>

/** A child process, for as long as the object lives. Exits with 1 if a check in it failed. */
class Process {
  public:
    explicit Process(const std::function<void()>& body) : mPid(fork()) {
        if (mPid != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        body();
        _exit(testing::Test::HasFailure());
    }
    ~Process() { end(); }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return mPid; }
    void stop() const {
        siginfo_t info;
        kill(mPid, SIGSTOP);
        waitid(P_PID, mPid, &info, WSTOPPED | WEXITED | WNOWAIT);  // an ended one stays to be seen
    }
    void resume() const { kill(mPid, SIGCONT); }
    /** Waits for the end. @return the exit status, or 128 and the signal that ended it. */
    int wait() {
        int status = 0;
        if (mPid > 0 && waitpid(mPid, &status, 0) == mPid) {
            mStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        mPid = 0;
        return mStatus;
    }
    int signalAndWait(int signal) {
        if (mPid > 0) kill(mPid, signal);
        return wait();
    }
    void end() { signalAndWait(SIGKILL); }
    bool hasEnded() const {
        siginfo_t info{};
        return waitid(P_PID, mPid, &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    }
    /** Processor time of its first thread. */
    std::chrono::nanoseconds workTime() const {
        int64_t time = -1;
        EXPECT_TRUE(std::ifstream("/proc/" + std::to_string(mPid) + "/schedstat") >> time);
        return std::chrono::nanoseconds(time);
    }

  private:
    pid_t mPid;
    int mStatus = -1;
};
