#pragma once

#include <string>

/*
 * Where the virtual TV set is. A set is a directory; see tool/create.h for its contents. The
 * environment is read at every call, so that a program (mainly a test) can switch to another set
 * while it runs. Functions may be called on any thread unless they say otherwise.
 */
namespace tvset {

/** TVSET_ROOT, else `tvset` in XDG_RUNTIME_DIR, else /tmp/tvset-UID. Empty counts as unset. */
std::string rootPath();

/** The path of a file of the set, given its path relative to the root: `run`, `config/KEY`. */
std::string pathInSet(const std::string& relative);

/*
 * What a program does before it touches anything, in this order. On failure each function ends the
 * process with a message on standard error, which begins with the name of the program.
 */

/**
 * Opens /dev/null as those of descriptors 0, 1 and 2 that are closed: otherwise a file or socket
 * would get that number, and receive the program's output. Reading and writing them fails as
 * before. Exit status on failure: 2. Call it while there is one thread only.
 */
void fillStandardDescriptors(const char* program);

/**
 * Checks that nobody else has created, or can change, what is at the root: a directory of this user
 * that others cannot write, or nothing. If TVSET_ROOT names it, it may be a link, and the user is
 * responsible for a path that others cannot replace. Otherwise it must not be a link, and others
 * must not be able to replace it. Exit status on failure: 2.
 */
void requireSafeRoot(const char* program);

/** The same, and there must be a set, whose `run` is no link. Exit status on failure: 2. */
void requireSet(const char* program);

/**
 * Locks the set for a service, until its process ends. Exit status on failure: 1 if another process
 * holds the lock, 2 if the set cannot be locked.
 */
void lockSet(const char* program);

}  // namespace tvset
