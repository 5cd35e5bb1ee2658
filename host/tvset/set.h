#pragma once

#include <string>

/*
 * Where the virtual TV set is. A set is a directory; see tool/create.h for what is in it. The
 * environment is read at every call, so that a program (a test, above all) may name another set
 * while it runs. Functions may be called on any thread unless they say otherwise.
 */
namespace tvset {

/** TVSET_ROOT, else `tvset` under XDG_RUNTIME_DIR, else /tmp/tvset-UID. An empty name is none. */
std::string rootPath();

/** The path of something in the set, given its path relative to the root: `run`, `config/KEY`. */
std::string pathInSet(const std::string& relative);

/*
 * What a program does before it touches anything, in this order. Each ends the process with a
 * message on standard error, which begins with the name of the program, if it cannot be done.
 */

/**
 * Opens /dev/null in place of descriptors 0, 1 and 2 that are closed: a socket or a file would get
 * their number, and what is written to it. Reading and writing them fails as before. Ends with
 * status 2. To be called while there is one thread.
 */
void fillStandardDescriptors(const char* program);

/**
 * Makes sure that nobody else has made, or can change, what is at the root: a directory of this
 * user that others cannot write, or nothing. One that TVSET_ROOT names may be a link, and it is for
 * the user to name none that others can move away; else it is no link, and others must not be able
 * to. Ends with status 2.
 */
void requireSafeRoot(const char* program);

/** The same, and there must be a set, whose `run` is no link. Ends with status 2. */
void requireSet(const char* program);

/**
 * Takes the lock of the set, for a service: until the process ends, in whatever way. Ends with
 * status 1 if another process has it, 2 if there can be no lock.
 */
void lockSet(const char* program);

}  // namespace tvset
