#pragma once

#include <gtest/gtest.h>

#include "host/tvset/virtual_clock/virtual_clock.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_set.h"

/* What the tests of the services share. */

using namespace std::chrono_literals;
using namespace std::string_literals;
using android::sp;
using std::to_string;

/** The log of a wait for the middleware. @param begin of each line, up to its number. */
inline Lines waiting(const std::string& begin, int count) {
    Lines lines;
    for (int i = 0; i < count; i++) {
        lines.push_back(begin + " waiting dtv_svc>>>>> count:" + to_string(i));
    }
    return lines;
}

/** A set on which services start one after the other. */
template <typename Service>
struct Running {
    /** Starts the first service. @param faults those that it meets; later there are none. */
    explicit Running(const tvset::SetOptions& options = {}, const std::string& faults = "")
        : set(options) {
        set.write("faults", faults);
        start();
        set.write("faults", "");
    }
    void start() {
        service = new Service;
        startLog = log.take();
        startJournal = set.takeJournal();
    }

    TempSet set;
    LogCapture log;
    tvset::VirtualClock clock;
    sp<Service> service;
    Lines startLog, startJournal;
};
