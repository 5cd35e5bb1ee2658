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

/** Releases a wake lock, even one that was not taken. Called on any thread; result as above. */
int release_wake_lock(const char* id);

}  // extern "C"
