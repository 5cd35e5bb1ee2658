#pragma once

#include <gtest/gtest.h>

#include "host/tvset/virtual_clock/virtual_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

/* Shared by the tests of the services. */

using namespace com::zavo::dtv::hardware::audio;
using namespace std::chrono_literals;
using namespace std::string_literals;
using android::sp;
using android::hardware::hidl_string;
using android::hardware::hidl_vec;
using android::hardware::Return;
using std::to_string;

/** The log of a wait for the middleware. @param begin of each line, up to its number. */
inline Lines waiting(const std::string& begin, int count) {
    Lines lines;
    for (int i = 0; i < count; i++) {
        lines.push_back(begin + " waiting dtv_svc>>>>> count:" + to_string(i));
    }
    return lines;
}

/** In place of a virtual clock, for tests that wait for other processes. */
struct RealTime {};

/** A set on which services start one after the other. */
template <typename Service, typename Clock = tvset::VirtualClock>
struct TvWith {
    explicit TvWith(const tvset::SetOptions& options = {}) : set(options) {}
    /** Starts the next service. @param faults those that it meets; later there are none. */
    void start(const std::string& faults = "") {
        set.write("faults", faults);
        service = new Service;
        set.write("faults", "");
    }
    /** Starts it, and discards its log and journal so far. */
    void startQuietly(const std::string& faults = "") {
        start(faults);
        log.take();
        set.takeJournal();
    }
    void pass(std::chrono::nanoseconds time) { clock.sleepFor(time); }

    TempSet set;
    LogCapture log;
    Clock clock;
    sp<Service> service;
};

/** One on which the first service has been started. */
template <typename Service>
struct Running : TvWith<Service> {
    explicit Running(const tvset::SetOptions& options = {}) : TvWith<Service>(options) {
        this->startQuietly();
    }
};
