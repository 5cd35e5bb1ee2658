#pragma once

/* The wake locks of the platform's power library (libpower), which ships without a header. */

extern "C" {

enum {
    PARTIAL_WAKE_LOCK = 1, /**< the processor keeps running, the screen may go off */
};

/**
 * Takes a wake lock. Called on any thread.
 *
 * @param lock  PARTIAL_WAKE_LOCK
 * @param id    name of the lock, unique in the system
 * @return 0 or more on success, below 0 on failure
 */
int acquire_wake_lock(int lock, const char* id);

/** Gives a wake lock back, also one that was not taken. Threads and result as for taking it. */
int release_wake_lock(const char* id);

}  // extern "C"
