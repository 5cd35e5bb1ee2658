#pragma once

#include <chrono>

/*
 * What audioctl needs of the machine that it runs on, beyond the HIDL runtime's own interface. Each
 * function is in home_workstation.cpp and in home_set.cpp. Called on the main thread.
 */
namespace audioctl::home {

/** Before anything else. Ends the process with status 2 if the machine is not fit. */
void prepare();

/** Ends the process with status 2 if there is no TV set to talk to. */
void requireTvSet();

/** Whether callbacks will be served on the main thread, in serve(), or on another thread. */
void configureCallbacks();

/**
 * Waits until callbacks may have been served or wake() is called, and `wait` at most; less than 0:
 * without limit. May return early.
 */
void serve(std::chrono::milliseconds wait);

/** Ends the next or the current serve(). May be called by a signal handler. */
void wake();

}  // namespace audioctl::home
