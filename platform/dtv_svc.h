#pragma once

#include <cstdint>

#include <log/log.h>

#include "platform/debug_text.h"

/*
 * How the services wait for the TV middleware, and connect to it. Called on
 * the main thread while a service is built, and on the RPC thread afterwards.
 */
namespace com::zavo::dtv::hardware::audio::platform {

/** Whether the middleware has created its ready marker. */
bool isDtvSvcReady();

/** Sleeps; a signal may end it early. @param milliseconds 0 to 999. */
void sleepMs(int64_t milliseconds);

/** How one service waits for the middleware, and what it logs meanwhile. */
struct DtvSvcWait {
    /** Log tag; null for none. */
    const char* tag;
    /** Name in the progress and ready lines. */
    const char* waiter;
    /** Time between two checks of the ready marker, in milliseconds. */
    int64_t sleepMs;
    /** Limit of checks; the last one is followed by a sleep, too. */
    int limit;
    /** Line written when the marker has not been found, with its priority. */
    android_LogPriority timeoutPriority;
    const char* timeoutLine;
    /** Whether the end of a successful wait is logged. */
    bool logsReady;
};

/**
 * Waits until the middleware has created its ready marker.
 *
 * @return whether it has.
 */
bool waitDtvSvcBoot(const DtvSvcWait& wait);

/**
 * Connects the process to the middleware, and logs the result. After a failure, every later call
 * into the middleware fails as well.
 *
 * @param tag log tag; null for none.
 * @param service name of the service in the lines.
 * @return 0, or the abstraction layer's error code.
 */
int32_t connectToDtvSvc(const char* tag, const char* service);

/** State of the middleware when a service was built. For debug() only. */
struct DtvSvcStart {
    bool isReady = false;
    int32_t connectStatus = 0;
};

/** Adds whether the middleware is ready now, by its marker, and its state at start. */
void describeDtvSvc(DebugText* text);
void describeDtvSvc(const DtvSvcStart& start, DebugText* text);

}  // namespace com::zavo::dtv::hardware::audio::platform
